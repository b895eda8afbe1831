#!/usr/bin/env python3
"""Copies the worked example out of a header's first comment: header_example.py HEADER OUTPUT."""
import pathlib
import sys


def example(header):
    comment = header[: header.index("*/")].splitlines()
    start = next(i for i, line in enumerate(comment) if line.startswith(" *     #include"))
    end = next(i for i, line in enumerate(comment) if i > start and line == " *     }")
    return "\n".join(line[7:] for line in comment[start : end + 1]) + "\n"


header, output = sys.argv[1:]
pathlib.Path(output).write_text(example(pathlib.Path(header).read_text()))
