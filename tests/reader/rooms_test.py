#!/usr/bin/env python3
"""rooms_test.py SOURCE-FOLDER: the reader's rooms include only those below them.

The order is that of the table in docs/architecture.md, from the bottom up.
"""
import pathlib
import re
import sys

FACE = ["reader", "queries"]  # whose door is avi_reader.h


def rooms(document):
    table = document.partition("From the bottom up:")[2].partition("\nAnd around it:")[0]
    return re.findall(r"\| `(\w+)(?:\.cpp)?`", table)


def trouble(folder, order):
    doors = set(order) - set(FACE) | {"avi_reader"}
    files = sorted(path for path in folder.iterdir() if path.suffix in (".h", ".cpp"))
    if {path.stem for path in files} != doors | set(FACE):
        yield f"the table names {sorted(order)}, the folder holds {[path.name for path in files]}"
        return
    for path in files:
        here = order.index(path.stem if path.stem != "avi_reader" else FACE[0])
        for included in re.findall(r'#include "(?:\w+/)?(\w+)\.h"', path.read_text()):
            own = included == path.stem or (included == "avi_reader" and path.stem in FACE)
            below = included in order and order.index(included) < here
            if not own and not below:
                yield f"{path.name} includes {included}.h, which is not below it"


source = pathlib.Path(sys.argv[1])
order = rooms((source / "docs/architecture.md").read_text())
found = list(trouble(source / "avi_reader", order))
print("\n".join(found) or f"{len(order)} rooms, every arrow points down")
sys.exit(bool(found))
