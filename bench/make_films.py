#!/usr/bin/env python3
"""Makes the films that are measured, with ffmpeg: mpeg4 with mp3 beside it, the same bytes again
and again in the long ones.

    make_films.py FOLDER

film-1MB lasts 10 s; film-200MB and film-1200MB have chunks of 28 KB on average; the last has two
forms. Films that are there are kept.
"""
import pathlib
import struct
import subprocess
import sys

SOUND = ["-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100"]
CODECS = ["-c:v", "mpeg4", "-c:a", "libmp3lame", "-b:a", "128k"]


def ffmpeg(path, *arguments):
    part = path.with_suffix(".part")
    subprocess.run(["ffmpeg", "-hide_banner", "-loglevel", "error", "-nostdin", "-y", *arguments,
                    "-f", "avi", part], check=True)
    part.rename(path)


def encode(path, picture, *quality):
    ffmpeg(path, "-f", "lavfi", "-i", picture, *SOUND, "-t", "10", *CODECS, *quality)


def repeat(path, film, times):
    """ffmpeg puts the codec's headers behind a format that it copies, but not into the format's
    own size; a reader may hold the two against each other."""
    ffmpeg(path, "-stream_loop", str(times - 1), "-i", film, "-c", "copy")
    with path.open("r+b") as file:
        head = file.read(4096)
        format_size = head.index(b"strf") + 4
        file.seek(format_size + 4)
        file.write(struct.pack("<I", struct.unpack_from("<I", head, format_size)[0]))


def main(folder):
    folder.mkdir(parents=True, exist_ok=True)
    film, short = folder / "film-1MB", folder / "film-18MB"
    films = {film: lambda: encode(film, "testsrc2=size=320x240:rate=25", "-b:v", "700k"),
             short: lambda: encode(short, "testsrc2=size=640x480:rate=25,noise=alls=60:allf=t",
                                   "-b:v", "14M", "-maxrate", "15M", "-bufsize", "4M"),
             folder / "film-200MB": lambda: repeat(folder / "film-200MB", short, 11),
             folder / "film-1200MB": lambda: repeat(folder / "film-1200MB", short, 68)}
    for path, make in films.items():
        if not path.exists():
            make()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(pathlib.Path(sys.argv[1]))
