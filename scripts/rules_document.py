#!/usr/bin/env python3
"""Reads `sorn-tool check --rules --json` from standard input and writes docs/rules.md to standard
output. A test holds the document against the tool that was built."""

import json
import sys

HEAD = """# What `sorn-tool check` finds

Made by `scripts/rules_document.py` from `sorn-tool check --rules --json`; `sorn-tool check --explain RULE`
prints one entry. An id never changes, and never comes to mean something else.

| severity | |
|---|---|
| refusal | the plug-in does not open the file |
| error | players lose something |
| warning | some players lose something, or the file is not what its writer meant |
| note | worth knowing |

Whether `sorn-tool repair` mends a file of what is found in it, `check` says of that file.
"""

REPAIR = " [`repair`](sorn-tool.1) does it for many files."


def main():
    rules = [json.loads(line) for line in sys.stdin]
    print(HEAD)
    for severity, title in (("refusal", "Refusals"), ("error", "Errors"), ("warning", "Warnings"),
                            ("note", "Notes")):
        print(f"## {title}\n")
        for rule in rules:
            if rule["severity"] == severity:
                print(f"### `{rule['rule']}`\n\n{rule['meaning']}\n\n- **When playing**: {rule['effect']}\n"
                      f"- **Remedy**: {rule['remedy']}{REPAIR if rule['repair'] else ''}\n")


if __name__ == "__main__":
    main()
