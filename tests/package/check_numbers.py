#!/usr/bin/env python3
"""check_numbers.py SOURCE: holds the numbers in documents against the code, as
documented_numbers.txt says."""

import re
import sys
from pathlib import Path

CONSTANT = re.compile(r"\bconstexpr [\w:]+ (k\w+) = (\d[\d']*);")
SIZE = re.compile(r"static_assert\(sizeof\((\w+)\) == (\d+)\)")


def squeezed(text):
    return re.sub(r"\s+", " ", text)


def constants(source):
    """Those of the reader and the service, wherever they are: a name to its value."""
    found = {}
    for folder in "avi_reader", "service":
        for file in sorted((source / folder).glob("*.[hc]*")):
            text = file.read_text()
            found.update((name, int(value.replace("'", ""))) for name, value in CONSTANT.findall(text))
            found.update((name, int(value)) for name, value in SIZE.findall(text))
    return found


def ordinal(number):
    ending = "th" if number % 100 in (11, 12, 13) else {1: "st", 2: "nd", 3: "rd"}.get(number % 10, "th")
    return f"{number}{ending}"


def filled(words, values, used):
    """The words with the code's numbers in the place of the braces."""
    def number(braces):
        grouped, name, sign, other, suffix = re.fullmatch(r"(,?)(\w+)(?:([+-])(\d+))?( th)?", braces[1]).groups()
        used.add(name)
        value = values[name] + int((sign or "+") + (other or "0"))
        return ordinal(value) if suffix else f"{value:,}" if grouped else str(value)
    return re.sub(r"\{([^}]*)\}", number, words)


def main():
    source = Path(sys.argv[1])
    values, used, failures = constants(source), set(), []
    documents, held = {}, 0
    for line in Path(__file__).with_name("documented_numbers.txt").read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        file, _, words = (part.strip() for part in line.partition("|"))
        text = documents.setdefault(file, squeezed((source / file).read_text()))
        try:
            expected = filled(words, values, used)
        except KeyError as name:
            failures.append(f"{file}: the code has no constant or type {name}, of which «{words}» speaks")
            continue
        if expected not in text:
            failures.append(f"{file}: nowhere says «{expected}»")
        held += "{" in words
        documents[file] = text.replace(expected, " ") if expected else text
    for file, text in documents.items():
        for name in sorted(used):
            for number in {str(values[name]), f"{values[name]:,}"}:
                for at in re.finditer(rf"(?<![\w,.x]){number}(?![\w,]*\d)(?!\.\d)", text):
                    around = text[max(0, at.start() - 30) : at.end() + 30]
                    failures.append(f"{file}: «{around}» has {name}'s number, and documented_numbers.txt does not know it")
    print(f"{held} sentences with numbers of the code in {len(documents)} documents")
    for failure in failures:
        print(failure, file=sys.stderr)
    sys.exit(1 if failures or not held else 0)


if __name__ == "__main__":
    main()
