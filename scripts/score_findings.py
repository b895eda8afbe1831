#!/usr/bin/env python3
"""score_findings.py TOOL FOLDER [SOUND...]: shows the damaged films in FOLDER, which damage_films.py
wrote, to `TOOL check`, and prints in how many of them one finding names the cause and lies at the
damage; those that miss are listed. SOUND films must have no error and no warning. The exit status
is 1 when fewer than 95 of 100 are found, or a sound film has a finding.
"""

import json
import subprocess
import sys
from pathlib import Path

ENOUGH = 0.95


def findings(tool, films):
    """Of each film its findings."""
    done = subprocess.run([*tool, "check", "--json", "--no-progress", *films], capture_output=True,
                          stdin=subprocess.DEVNULL, timeout=600)
    return [json.loads(line)["findings"] for line in done.stdout.splitlines()]


def points_at(finding, entry):
    sentence = finding["sentence"].lower()
    return (finding["offset"] is not None and entry["from"] <= finding["offset"] <= entry["to"]
            and any(word.lower() in sentence for word in entry["words"]))


def missed(tool, folder):
    """(entry, findings) of each film whose damage no finding points at, and how many films there are."""
    manifest = json.loads((folder / "manifest.json").read_text())
    answers = findings(tool, [folder / entry["file"] for entry in manifest])
    assert len(answers) == len(manifest)
    return [(entry, answer) for entry, answer in zip(manifest, answers)
            if not any(points_at(finding, entry) for finding in answer)], len(manifest)


def flawed(tool, films):
    """(film, findings) of each film that has an error or a warning, or is refused."""
    answers = ((film, [f for f in answer if f["severity"] != "note"])
               for film, answer in zip(films, findings(tool, films)))
    return [(film, answer) for film, answer in answers if answer]


def told(answer):
    return "".join(f"    {f['offset']} {f['rule']}: {f['sentence']}\n" for f in answer)


def main():
    tool, folder, sound = [sys.argv[1]], Path(sys.argv[2]), sys.argv[3:]
    misses, count = missed(tool, folder)
    for entry, answer in misses:
        print(f"{entry['file']}: {entry['damage']} ({entry['from']} to {entry['to']})\n{told(answer)}", end="")
    share = 1 - len(misses) / count
    print(f"The damage is found in {count - len(misses)} of {count} films, {share:.1%}.")
    marred = flawed(tool, sound) if sound else []
    for film, answer in marred:
        print(f"{film}\n{told(answer)}", end="")
    print(f"{len(marred)} of {len(sound)} sound films have a refusal, an error or a warning.")
    sys.exit(0 if share >= ENOUGH and not marred else 1)


if __name__ == "__main__":
    main()
