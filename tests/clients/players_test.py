#!/usr/bin/python3
"""Plays files in real players, through libdrm-sorn and by the players' own file sources, and compares
what their demuxers hand on. Prints a table, and exits with 1 when something was not as it has to be.

    players_test.py BUILD [PLAYER...]
"""

import os
import re
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.dont_write_bytecode = True
import long_film  # noqa: E402

SOURCE = Path(__file__).resolve().parents[2]
HERE = Path(__file__).resolve().parent
LONGEST = 120  # seconds: what takes longer hangs
MOST_READS_AFTER_AN_INTERRUPT = 4
MIDDLE, NEAR_THE_END = 1.0, 1.9  # seconds in files of 2 and 3
PLAYABLE = ["audio-only.avi", "mjpeg-pcm-titles.avi", "mpeg4-mp3.avi"]
FILLER = "extensions.avi"  # its payloads decode to nothing; some players do not open it at all
LIKE_THE_FILM = "mjpeg-pcm-titles.avi"


def take_interrupts():
    """What a shell starts in the background would go on ignoring them."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)


class Played:
    """What a run of a player left: its exit status, the bytes or the digest of each stream, and what
    it said."""

    def __init__(self, status, streams, said):
        self.status = status
        self.streams = streams
        self.said = said

    def __eq__(self, other):
        return (self.status, self.streams) == (other.status, other.streams)

    def __str__(self):
        return f"exit status {self.status}, {len(self.streams)} streams\n{self.said}"


def digests(text):
    """From lines that begin "stream NAME:"."""
    return dict(line.split(": ", 1) for line in text.splitlines() if line.startswith("stream "))


def decoded(text):
    """The lines of each kind of stream in what ffmpeg's "framehash" writes, whose order is chance."""
    kinds = dict(re.findall(r"^#media_type (\d+): (\w+)", text, re.MULTILINE))
    return {kind: re.findall(rf"^{number},(.*)", text, re.MULTILINE)
            for number, kind in kinds.items()}


class Player:
    """Runs in a folder of its own, which it finds empty."""

    after_an_interrupt = 130
    can_be_preloaded = True

    def __init__(self, build, folder):
        self.build = build
        self.folder = folder

    def environment(self, **extra):
        return {**os.environ, "GST_PLUGIN_PATH": str(self.build / "lib/gstreamer-1.0"),
                "GST_REGISTRY": str(self.build / "gstreamer-registry.bin"), "HOME": str(self.folder),
                "LC_ALL": "C.UTF-8", **extra}

    def start(self, file, *options, **environment):
        for left in self.folder.iterdir():
            left.unlink()
        return subprocess.Popen([*self.command(file, options)], cwd=self.folder, text=True,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, env=self.environment(**environment),
                                preexec_fn=take_interrupts)

    def finish(self, process):
        try:
            said = process.communicate(timeout=LONGEST)[0]
        except subprocess.TimeoutExpired:
            process.kill()
            said = "hung\n" + process.communicate()[0]
        return process.returncode, said

    def run(self, file, *options, **environment):
        return self.finish(self.start(file, *options, **environment))

    def command(self, file, options):
        return [self.build / "bin" / self.program, *options, file]

    def play(self, file, start=None, direct=False, **environment):
        """With a start, in a way in which places in the file can be compared."""
        options = (["--direct"] if direct else []) + ([f"--start={start}"] if start else [])
        status, said = self.run(file, *options, **environment)
        return Played(status, digests(said), said)

    def went_to_the_same_place(self, through, direct, whole):
        """Both were told to start in the middle; `whole` is a run that was told to start at 0."""
        return through == direct and through.streams != whole.streams


class Avformat(Player):
    name, program, code = "libavformat", "sorn-avformat", "avformat/sorn-avformat.c"
    after_an_interrupt = -signal.SIGINT
    says_of_an_error = "Input/output error"


class GStreamer(Player):
    name, code = "GStreamer", "gstreamer/gstsornsrc.c"
    says_of_an_error = "Could not read from"

    def command(self, file, options):
        return [HERE / "gstreamer_player.py", *options, file]


class Python(Player):
    name, code = "Python", "python/sorn.py"
    can_be_preloaded = False  # it looks the functions up by itself

    def command(self, file, options):
        return [sys.executable, HERE / "python_player.py", self.build / "lib/libdrm-sorn.so.0",
                self.build / "lib/libdebug_message.so", *options, file]


class Mpv(Player):
    """It records what it demuxes, but only from a file's start: after a seek, what it decodes is
    compared instead."""

    name, program, code = "mpv", "sorn-mpv", "mpv/sorn-mpv.c"
    says_of_an_error = "unrecognized file format"
    quiet = ["--vo=null", "--ao=null", "--ao-null-untimed=yes", "--untimed=yes"]

    def command(self, file, options):
        return super().command(file, [*options, *([] if "--o=record" in options else self.quiet)])

    def play(self, file, start=None, direct=False, **environment):
        options = ["--direct"] if direct else []
        record = self.folder / "record"
        if start is not None:
            options += [f"--start={start}", "--o=record", "--of=framehash", "--ofopts=hash=md5",
                        "--ovc=rawvideo", "--oac=pcm_s16le"]
            status, said = self.run(file, *options, **environment)
            return Played(status, decoded(record.read_text()) if record.exists() else {}, said)
        record = self.folder / "record.nut"
        status, said = self.run(file, *options, "--stream-record=record.nut", **environment)
        if not record.exists():
            return Played(status, {}, said)
        hashed = subprocess.run(["ffmpeg", "-v", "error", "-i", record, "-map", "0", "-c", "copy",
                                 "-f", "streamhash", "-hash", "md5", "-"],
                                stdout=subprocess.PIPE, text=True, check=True).stdout
        return Played(status, dict(line.split("=") for line in hashed.split()), said)


class Vlc(Player):
    """It writes each elementary stream to a file."""

    name, program, code = "VLC", "sorn-vlc", "vlc/sorn-vlc.c"
    says_of_an_error = "read error"
    quiet = ["--vout=dummy", "--aout=dummy"]
    outputs = ("video", "audio")

    def command(self, file, options):
        direct = [option for option in options if option == "--direct"]
        rest = [option for option in options if option != "--direct"]
        return super().command(file, direct + self.quiet + rest)

    def play(self, file, start=None, direct=False, **environment):
        chain = ",".join(f"access-{kind}=file,mux-{kind}=dummy,dst-{kind}={kind}.bin"
                         for kind in self.outputs)
        options = [":sout=#es{" + chain + "}"]
        if start is not None:  # packetizers change a few bytes where they begin, copying loses the last chunk
            options = ["--packetizer=copy", *options, f":start-time={start}"]
        status, said = self.run(file, *(["--direct"] if direct else []), *options, **environment)
        streams = {path.stem: path.read_bytes() for path in sorted(self.folder.glob("*.bin"))}
        return Played(status, streams, said)

    def went_to_the_same_place(self, through, direct, whole):
        """VLC may hand on some of the file's start before it goes where it was told to."""
        if through.status != 0 or through.streams.keys() != direct.streams.keys():
            return False
        for stream, all_of_it in whole.streams.items():
            low, high = zip(*[rest_after_seek(run.streams.get(stream, b""), all_of_it)
                              for run in (through, direct)])
            if not 0 < max(low) <= min(high) < len(all_of_it):
                return False
        return True


def common_start(a, b):
    """How many bytes of two runs are the same, from the start."""
    length = min(len(a), len(b))
    if a[:length] == b[:length]:
        return length
    return next(i for i in range(length) if a[i] != b[i])


def rest_after_seek(played, whole):
    """Where `played` is some of the start of `whole` and then the rest from some place on: the least
    and the most that this rest can be. (1, 0) where it is not."""
    head = common_start(played, whole)
    rest = common_start(played[::-1], whole[::-1])
    return (len(played) - head, rest) if head + rest >= len(played) > 0 else (1, 0)


PLAYERS = [GStreamer, Mpv, Vlc, Avformat, Python]


class Row:
    """What of a player's checks went well. Each is told right away when it did not."""

    def __init__(self, player):
        self.player = player
        self.passed = {}
        self.made = {}

    def check(self, column, good, what):
        self.made[column] = self.made.get(column, 0) + 1
        self.passed[column] = self.passed.get(column, 0) + bool(good)
        if not good:
            print(f"FAILED: {self.player.name}, {column}: {what}", file=sys.stderr)

    def cell(self, column):
        if column not in self.made:
            return "-"
        return f"{self.passed[column]} of {self.made[column]}"


def check_whole(row, column, path):
    """Both ways to the end, handing on the same."""
    through, direct = (row.player.play(path, direct=direct) for direct in (False, True))
    same = through == direct
    if path.name != FILLER:
        same = same and through.status == 0 and all(through.streams.values()) and through.streams
    row.check(column, same, f"{path.name}\nthrough libdrm-sorn: {through}\ndirectly: {direct}")


def check_seeks(row, path):
    whole = row.player.play(path, 0.0)
    for start in (MIDDLE, NEAR_THE_END):
        through, direct = (row.player.play(path, start, direct) for direct in (False, True))
        good = (through.status == 0 and through.streams
                and row.player.went_to_the_same_place(through, direct, whole))
        row.check("seeks", good, f"{path.name} from {start} s\nthrough libdrm-sorn: {through}\n"
                  f"directly: {direct}")


def check_refused(row, files):
    for path, reason in files.items():
        played = row.player.play(path)
        row.check("refused files", played.status == 1 and reason in played.said,
                  f"{path.name}: wanted 1 and {reason!r}, got {played}")


def check_cancel(row, path, shim):
    """An interrupt while a read lasts. Few may follow it; to play on would take many."""
    mark = path.parent / "mark"
    mark.write_bytes(b"")
    process = row.player.start(path, LD_PRELOAD=str(shim), READ_MARK=str(mark), READ_SPARED="3",
                               READ_DELAY_MS="1000")
    deadline = time.monotonic() + LONGEST
    while mark.stat().st_size == 0 and process.poll() is None and time.monotonic() < deadline:
        time.sleep(0.01)
    before = mark.stat().st_size
    process.send_signal(signal.SIGINT)
    status, said = row.player.finish(process)
    after = mark.stat().st_size - before
    row.check("cancel", before > 0 and after <= MOST_READS_AFTER_AN_INTERRUPT
              and status == row.player.after_an_interrupt,
              f"exit status {status}, {before} reads before and {after} after it\n{said}")


def check_errors(row, path, shim):
    """Reads fail from the sixth on, while the headers are read."""
    played = row.player.play(path, LD_PRELOAD=str(shim), READ_SPARED="5", READ_FAILS="1")
    row.check("read errors", played.status == 1 and row.player.says_of_an_error in played.said,
              f"a read that fails: {played}")


def media_chunks(path):
    """(fourcc, position of the payload, its size) of what is in the lists of media of a file."""
    with open(path, "rb") as file:
        end = os.path.getsize(path)
        pos = 0
        while pos + 8 <= end:
            file.seek(pos)
            header = file.read(12)
            fourcc, size = header[:4], int.from_bytes(header[4:8], "little")
            if fourcc == b"RIFF" or fourcc == b"LIST" and header[8:12] in (b"movi", b"rec "):
                pos += 12
                continue
            if fourcc[:2].isdigit():
                yield fourcc, pos + 8, size
            pos += 8 + size + size % 2


def check_recognised(row, paths):
    """What the plug-in said of GStreamer's reads."""
    found = []
    for path in paths:
        status, said = row.player.run(path, GST_DEBUG="sornsrc:6", GST_DEBUG_NO_COLOR="1")
        counts = []
        for kind, code in (("VIDEO", b"dc"), ("AUDIO", b"wb")):
            there = sum(fourcc[2:] == code and size > 0 and pos < 1 << 31
                        for fourcc, pos, size in media_chunks(path))
            heard = said.count(f"CHUNK_TYPE_{kind} STARTS")
            counted = f"{kind.lower()}-chunks=(guint64){heard}" in said
            row.check("recognised", status == 0 and counted and heard == there,
                      f"{path.name}: {heard} of {there}\n{said[-300:]}")
            counts.append(f"{heard} of {there} ##{code.decode()}")
        found.append(f"{path.name}: {', '.join(counts)}")
    return found


def check_gstreamer(row, folder):
    """What only GStreamer has: URIs, and a whole file pushed."""
    sample = SOURCE / "samples" / LIKE_THE_FILM
    odd = folder / "A film, 100% \u00fc#?.avi"
    odd.write_bytes(sample.read_bytes())
    copy = folder / "copy.avi"
    environment = row.player.environment()
    subprocess.run(["gst-launch-1.0", "-q", "sornsrc", f"location={sample}", "!", "filesink",
                    f"location={copy}"], env=environment, timeout=LONGEST)
    row.check("GStreamer's own", copy.exists() and copy.read_bytes() == sample.read_bytes(),
              "a file that is pushed whole")
    uris = subprocess.run([HERE / "gstreamer_uris.py", odd], env=environment, text=True,
                          timeout=LONGEST, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    row.check("GStreamer's own", uris.returncode == 0, uris.stdout)
    inspected = subprocess.run(["gst-inspect-1.0", "sornsrc"], env=environment, text=True,
                               timeout=LONGEST, stdout=subprocess.PIPE).stdout
    row.check("GStreamer's own", all(word in inspected for word in (
        "Sorn AVI file source", "Source/File", "Path of the AVI file", "What was asked of the plug-in",
        "Supported URI protocols:\n    sorn\n")), inspected)


def refused_files(folder):
    files = {}
    for name, data in (("broken.avi", (SOURCE / "samples" / LIKE_THE_FILM).read_bytes()[:1000]),
                       ("empty.avi", b""), ("text.avi", b"This is no film.\n" * 100)):
        (folder / name).write_bytes(data)
        files[folder / name] = "efused"
    files[folder / "none.avi"] = "No such file or directory"
    return files


def lines_of(player):
    return sum(1 for _ in open(SOURCE / "clients" / player.code))


def print_table(rows):
    columns = ["samples", "5 GiB film", "seeks", "refused files", "cancel", "read errors",
               "recognised", "GStreamer's own"]
    print("| player | lines | " + " | ".join(columns) + " |")
    print("|---|--:|" + "--:|" * len(columns))
    for row in rows:
        cells = [row.cell(column) for column in columns]
        print(f"| {row.player.name} | {lines_of(row.player)} | " + " | ".join(cells) + " |")


def try_player(player, folder):
    row = Row(player)
    shim = player.build / "lib/libread_faults.so"
    film = folder / "film.avi"
    samples = [SOURCE / "samples" / name for name in PLAYABLE]
    for path in [*samples, SOURCE / "samples" / FILLER]:
        check_whole(row, "samples", path)
    check_whole(row, "5 GiB film", film)
    for path in [*samples, film]:
        check_seeks(row, path)
    check_refused(row, refused_files(folder))
    if player.can_be_preloaded:
        check_cancel(row, film, shim)
        check_errors(row, film, shim)
    if isinstance(player, GStreamer):
        print("\n".join(check_recognised(row, [*samples, film])), flush=True)
        check_gstreamer(row, folder)
    return row


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    build = Path(sys.argv[1]).resolve()
    names = sys.argv[2:]
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        long_film.write_long_film(SOURCE / "samples" / LIKE_THE_FILM, folder / "film.avi")
        (folder / "work").mkdir()
        rows = [try_player(player(build, folder / "work"), folder) for player in PLAYERS
                if not names or player.name in names]
    print_table(rows)
    made = sum(sum(row.made.values()) for row in rows)
    passed = sum(sum(row.passed.values()) for row in rows)
    print(f"{passed} passed, {made - passed} failed")
    sys.exit(0 if passed == made > 0 else 1)


if __name__ == "__main__":
    main()
