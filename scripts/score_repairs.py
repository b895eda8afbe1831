#!/usr/bin/env python3
"""score_repairs.py TOOL FOLDER SOUND: repairs the damaged films in FOLDER, which damage_films.py wrote
from the films in the folder SOUND, and prints by kind of damage how many of those that the reader
refused, and whose media are whole, play again: `play --verify` succeeds, and libavformat finds in
each stream what it found in the sound film.

Of every new film, also where nothing was refused, it is held that
  * no rule is broken that it was said to be mended of,
  * the payload of every media chunk that the damaged film still held is there, in its order,
  * repairing it again changes nothing.

The exit status is 1 when fewer than 80 of 100 play again, or one of those does not hold.
"""

import json
import subprocess
import sys
from pathlib import Path

from damage_films import Film

ENOUGH = 0.80


def run(*command):
    return subprocess.run([str(word) for word in command], capture_output=True, timeout=600,
                          stdin=subprocess.DEVNULL)


def payloads(film):
    return [film.data[chunk.body : chunk.end] for chunk in film.media]


def held(data, payloads):
    """Those of the payloads that are in the data, one behind the other."""
    found, at = [], 0
    for payload in payloads:
        place = data.find(payload, at)
        if place < 0:
            continue
        found.append(payload)
        at = place + len(payload)
    return found


def stream_hashes(film):
    """What libavformat finds in each stream, or None."""
    done = run("ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-i", film, "-map", "0", "-c",
               "copy", "-f", "streamhash", "-")
    return done.stdout if done.returncode == 0 and done.stdout else None


class Repaired:
    """What became of a damaged film."""

    def __init__(self, tool, path, sound, hashes):
        data, wanted = path.read_bytes(), payloads(sound)
        still = held(data, wanted)
        self.whole = len(still) == len(wanted)
        self.refused = run(*tool, "info", path).returncode != 0
        self.new = path.with_name("mended.avi")
        self.new.unlink(missing_ok=True)
        done = run(*tool, "repair", "--json", path, "-o", self.new)
        self.verdict = json.loads(done.stdout)
        self.mended = done.returncode == 0
        self.broken = []  # what should hold and does not
        self.plays = self.mended and self.holds(tool, still, done.returncode)
        self.same = self.mended and hashes is not None and stream_hashes(self.new) == hashes
        self.was_same = hashes is not None and stream_hashes(path) == hashes

    def holds(self, tool, still, status):
        again = self.new.with_name("again.avi")
        second = json.loads(run(*tool, "repair", "--json", self.new, "-o", again).stdout)
        data = self.new.read_bytes()
        if second["changes"] or second["outcome"] == "mended":
            self.broken.append("a second repair changes it")
        elif second["outcome"] == "sound" and again.read_bytes() != data:
            self.broken.append("a copy differs")
        if held(data, still) != still:
            self.broken.append("media bytes differ")
        rules = {finding["rule"] for finding in
                 json.loads(run(*tool, "check", "--json", self.new).stdout)["findings"]}
        if rules & set(self.verdict["mended"]):
            self.broken.append(f"is still there: {rules & set(self.verdict['mended'])}")
        again.unlink(missing_ok=True)
        return run(*tool, "play", "--quiet", "--verify", self.new).returncode in (0, 5)


def scores(tool, folder, sound):
    """(entry, what became of it) of each damaged film."""
    films = {}
    for entry in json.loads((folder / "manifest.json").read_text()):
        film = entry["film"]
        if film not in films:
            films[film] = Film(sound / film), stream_hashes(sound / film)
        yield entry, Repaired(tool, folder / entry["file"], *films[film])


def table(results):
    kinds = {}
    for entry, repaired in results:
        kinds.setdefault(entry["kind"], []).append(repaired)
    print("| damage | films | refused, media whole | of them play again, all streams the same | of all films, "
          "streams the same before | and after |")
    print("|---|--:|--:|--:|--:|--:|")

    def row(name, some):
        whole = [r for r in some if r.refused and r.whole]
        again = [r for r in whole if r.plays and r.same]
        print(f"| {name} | {len(some)} | {len(whole)} | {len(again)} | {sum(r.was_same for r in some)} "
              f"| {sum(r.same for r in some)} |")
        return len(whole), len(again)

    for kind, some in kinds.items():
        row(kind, some)
    return row("**all**", [r for some in kinds.values() for r in some])


def main():
    tool, folder, sound = [sys.argv[1]], Path(sys.argv[2]), Path(sys.argv[3])
    results = list(scores(tool, folder, sound))
    whole, again = table(results)
    (folder / "mended.avi").unlink(missing_ok=True)
    broken = [(entry["file"], what) for entry, repaired in results for what in repaired.broken]
    for file, what in broken:
        print(f"{file}: {what}")
    for entry, r in results:
        if r.refused and r.whole and not (r.plays and r.same):
            print(f"{entry['file']}: {r.verdict['sentence']}")
    print(f"{again} of {whole} films that were refused, and whose media are whole, play again: "
          f"{again / whole:.1%}.")
    sys.exit(0 if again / whole >= ENOUGH and not broken else 1)


if __name__ == "__main__":
    main()
