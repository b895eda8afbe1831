#!/usr/bin/env python3
"""completions_test.py TOOL FOLDER: zsh and fish, asked with the scripts in FOLDER, offer each
command of the tool and each option that the command's --help names. Exit status 77: neither shell
is on this machine."""

import re
import shutil
import subprocess
import sys
from pathlib import Path

TOOL, FOLDER = sys.argv[1:]


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=60, check=True).stdout


def fish(line):
    return output_of("fish", "--no-config", "-c", f"source {FOLDER}/sorn-tool.fish; complete -C '{line}'")


def zsh(line):
    shown = output_of("zsh", "-f", str(Path(__file__).with_name("zsh_completions")), FOLDER, line)
    return re.sub(r"\x1b\[[0-9;?]*[A-Za-z]", " ", shown)  # without what moves the cursor


def offered_options(shown):
    return set(re.findall(r"(?<![\w-])--[\w-]+", shown))


def options_of(command):
    """Those that have a line of their own in the command's --help: its text may speak of others'."""
    return set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", output_of(TOOL, command, "--help"), re.MULTILINE))


def main():
    shells = [shell for shell in (fish, zsh) if shutil.which(shell.__name__)]
    if not shells:
        print("skipped: neither zsh nor fish is installed")
        sys.exit(77)
    commands = re.findall(r"^  ([a-z]\w*)  ", output_of(TOOL, "--help"), re.MULTILINE)
    missing = [] if len(commands) > 3 else [f"commands in --help, found only {commands}"]
    for shell in shells:
        offered = shell("sorn-tool ")
        missing += [f"{shell.__name__}: {c}" for c in commands if not re.search(rf"\b{c}\b", offered)]
        for command in commands:
            absent = options_of(command) - offered_options(shell(f"sorn-tool {command} --"))
            missing += [f"{shell.__name__}: {command} {option}" for option in sorted(absent)]
    for what in missing:
        print(f"not offered by {what}", file=sys.stderr)
    print(f"{len(commands)} commands in {' and '.join(s.__name__ for s in shells)}")
    sys.exit(1 if missing else 0)


if __name__ == "__main__":
    main()
