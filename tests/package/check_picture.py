#!/usr/bin/env python3
"""check_picture.py SOURCE TOOL: README.md's picture is what the tool draws and says now, and XML that a
browser reads."""

import subprocess
import sys
import tempfile
import xml.etree.ElementTree
from pathlib import Path

source, tool = map(Path, sys.argv[1:])
with tempfile.TemporaryDirectory() as folder:
    drawn = Path(folder, "picture.svg")
    subprocess.run([sys.executable, "-B", source / "scripts/first_screen.py", tool,
                    source / "samples/mpeg4-mp3.avi", drawn], check=True)
    xml.etree.ElementTree.parse(drawn)
    if drawn.read_bytes() != (source / "docs/first-screen.svg").read_bytes():
        sys.exit("docs/first-screen.svg is another picture: run scripts/picture")
