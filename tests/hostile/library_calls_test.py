#!/usr/bin/env python3
"""library_calls_test.py SOURCE LIBRARY_CALLS SERVICE_TEST: holds the list of system calls that the
library makes against what it makes, and the documents against the list.

Jailed with the calls of the list, the library reads every file of the repository and passes its own
tests; with one of them less it dies, and so it does with another call beside them. Under EMULATOR,
which can jail nothing, the calls that it traces are held against the list.
"""

import os
import re
import signal
import subprocess
import sys
from pathlib import Path

# write, stat, mremap, getpid, socket, clone, execve, unlink, io_uring_setup, openat2
OTHERS = (1, 4, 25, 39, 41, 56, 59, 87, 425, 437)


def run(*command, **environment):
    return subprocess.run(command, env={**os.environ, **environment}, capture_output=True, text=True,
                          timeout=300)


def require(condition, message):
    if not condition:
        sys.exit(message)


def killed(done):
    return done.returncode == -signal.SIGSYS


def check_jail(program, calls, files):
    """Returns what the program says of the list as it is."""
    whole = run(program, *files)
    require(whole.returncode == 0, f"the calls of the list are not enough:\n{whole}")
    for call in calls:
        require(killed(run(program, "--without", call, *files)),
                f"{call} is on the list, and is not needed")
    for number in OTHERS:
        require(killed(run(program, "--beside", str(number), *files)),
                f"the jail lets call {number} through")
    return whole.stdout.strip()


def check_service(service_test):
    done = run(service_test, DRM_SORN_JAIL="1")
    require(done.returncode == 0, f"in the jail its own tests do not pass:\n{done}")
    return re.search(r"\[  PASSED  \] (\d+ tests)", done.stdout)[1]


def traced(emulator, program, files):
    """The names of the calls between the first mark and the second."""
    done = run(*emulator, "-strace", program, "--marked", *files)
    require(done.returncode == 0, f"the program fails under the emulator:\n{done.stderr[-2000:]}")
    names = re.findall(r"(?m)^\d+ (\w+)\(", done.stderr)
    first, last = (index for index, name in enumerate(names) if name == "getppid")
    return set(names[first + 1:last])


def check_trace(emulator, program, calls, files):
    made = traced(emulator, program, files)
    # A trace does not tell the threads apart, so no two share a lock.
    require(made | {"futex"} == set(calls) | {"futex"},
            f"traced: {' '.join(sorted(made))}\nthe list: {' '.join(sorted(calls))}")
    return f"{len(calls)} system calls are on the list, and {len(made)} of them traced"


def documented(text, machine):
    """The calls in the document's table, in the column of this kind of machine."""
    rows = [[cell.strip(" `") for cell in (line[1:-1] if line.endswith("|") else line).split("|")]
            for line in text.splitlines() if "|" in line]
    head = next((index for index, row in enumerate(rows) if machine in row), None)
    if head is None:
        return []
    column = rows[head].index(machine)
    calls = []
    for row in rows[head + 1:]:
        if len(row) != len(rows[head]):
            break
        if re.fullmatch(r"[a-z_]\w*", row[column]):
            calls.append(row[column])
    return calls


def check_documents(source, calls, machine):
    for document in "docs/embedding.md", "docs/man/drm-sorn.3":
        listed = documented((source / document).read_text(), machine)
        require(listed == calls, f"{document} lists for {machine}: {' '.join(listed)}\n"
                f"instead of: {' '.join(calls)}")


def main():
    source, program, service_test = Path(sys.argv[1]), sys.argv[2], sys.argv[3]
    emulator = os.environ.get("EMULATOR", "").split()
    files = [source / "samples", source / "fuzz/corpus", source / "fuzz/regressions"]
    calls = run(*emulator, program, "--list").stdout.split()
    check_documents(source, calls, "32-bit ARM" if emulator else "x86-64")
    if emulator:
        print("jail:", check_trace(emulator, program, calls, files))
    else:
        print(check_jail(program, calls, files))
        print("jail:", check_service(service_test), "of the service pass in it")


if __name__ == "__main__":
    main()
