#!/usr/bin/env python3
"""Holds the documents against the project: what they say to run runs, what they name is there.

  * A command in a ```sh fence runs and succeeds, in a folder that looks like the repository after
    a release build and also holds film.avi, a sample, and broken.avi, the same as a recorder leaves
    it that lost power; or documented_commands.txt names what runs it in CI.
  * A ```console fence shows commands ("$ ...") with exactly the output that they have.
  * C in a fence compiles against the public header, Python compiles.
  * Programs of the build that it names are made by CMake.
  * Every relative link leads somewhere, and every file that is named `like/this` exists.
  * CONTRIBUTING.md names every script, and CI comes by it.
  * README.md tells the licence that LICENSE tells.
  * Manual pages format without a warning, one for each exported function, with its prototype.

All that is wrong is printed; the exit status is 1 if anything is.
"""

import argparse
import fnmatch
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

FENCE = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
CODE = re.compile(r"`([^`\n]+)`")
FILE_ENDINGS = (".c", ".cpp", ".h", ".py", ".md", ".txt", ".cmake", ".json", ".map", ".in", ".3")


def read(path):
    return path.read_text(encoding="utf-8")


class Project:
    """The files of the source tree, without what is built or belongs to git."""

    def __init__(self, root):
        self.root = root
        self.files = []
        for folder, folders, files in os.walk(root):
            folders[:] = sorted(f for f in folders if f not in ("build", "__pycache__", ".git"))
            self.files += [Path(folder, f).relative_to(root) for f in files]
        self.names = {f.name for f in self.files}
        self.top = {f.parts[0] for f in self.files}

    def documents(self):
        inside = sorted(f for f in self.files if f.parts[0] == "docs" and f.suffix == ".md")
        outside = sorted(f for f in self.files if len(f.parts) == 1 and f.suffix == ".md")
        return outside + inside + [Path("samples/README.md")]

    def manual_pages(self):
        return sorted(f for f in self.files
                      if f.parts[0] == "docs" and re.fullmatch(r"\.[1-9]", f.suffix))

    def has(self, name):
        """Whether it is a file, a pattern of files, or a folder with something in it."""
        name = name.rstrip("/")
        return any(fnmatch.fnmatch(str(f), name) or str(f).startswith(name + "/")
                   for f in self.files)

    def run_in_ci(self):
        """Files that a run of CI comes by: those in .ci/, what they name, and so on."""
        reached, new = set(), {f for f in self.files if f.parts[0] == ".ci"}
        new.add(Path("tests/CMakeLists.txt"))
        while new:
            reached |= new
            words = {w for f in new for w in re.findall(r"[\w./-]+", read(self.root / f))}
            new = {Path(w) for w in words if Path(w) in self.files} - reached
            new = {f for f in new if f.parts[0] in (".ci", "scripts", "tests")}
        return reached


# To be run by hand before what they are about changes.
TOO_LONG_FOR_CI = ("scripts/damage-films",)


def listed(path):
    return [line.strip() for line in read(path).splitlines()
            if line.strip() and not line.startswith("#")]


def starts_with(command, prefix):
    return (command + " ").startswith(prefix + " ")


class Check:
    def __init__(self, options):
        self.options = options
        self.project = Project(options.source)
        self.failures = []
        self.counts = {}
        self.cmake = "".join(read(options.source / f) for f in self.project.files
                             if f.name == "CMakeLists.txt" or f.suffix == ".cmake")
        self.elsewhere = {}
        for line in listed(Path(__file__).with_name("documented_commands.txt")):
            command, _, runner = line.partition("=>")
            file, _, text = runner.partition(":")
            self.elsewhere[command.strip()] = (Path(file.strip()), text.strip() or command.strip())

    def fail(self, where, what):
        self.failures.append(f"{where}: {what}")

    def count(self, what):
        self.counts[what] = self.counts.get(what, 0) + 1

    # ---- commands

    def runner_of(self, command):
        """The entry of documented_commands.txt that covers the command, if one does."""
        found = [entry for entry in self.elsewhere if starts_with(command, entry)]
        return max(found, key=len, default=None)

    def check_program(self, document, command):
        program = next((word for word in command.split() if "=" not in word), "")
        if "/" in program and not program.startswith(("build/", "./", "/", "$")):
            path = self.options.source / program
            if not os.access(path, os.X_OK):
                self.fail(document, f"`{command}`: there is no program {program}")

    def check_runners(self):
        reached = self.project.run_in_ci()
        for command, (file, text) in self.elsewhere.items():
            if file not in reached:
                self.fail("documented_commands.txt", f"{file}, said to run `{command}`, is not "
                          "reached from .ci/")
            elif text not in read(self.options.source / file):
                self.fail("documented_commands.txt", f"{file} does not run `{text}`")

    def commands(self, document, block):
        """The block's commands that are to be run here."""
        for command in block.replace("\\\n", " ").splitlines():
            command = re.sub(r"\s+#.*|^#.*", "", command).strip()
            if not command:
                continue
            self.check_program(document, command)
            if self.runner_of(command):
                if "&&" in command or ";" in command:
                    self.fail(document, f"`{command}`: give each command a line of its own")
                self.count("commands run elsewhere in CI")
                continue
            yield command

    def run(self, script):
        environment = {**os.environ, "PATH": f"{self.options.build}/bin:{os.environ['PATH']}",
                       "LC_ALL": "C.UTF-8"}
        try:
            return subprocess.run(["bash", "-euo", "pipefail", "-c", script], cwd=self.folder,
                                  env=environment, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                  timeout=120)
        except subprocess.TimeoutExpired as error:
            return subprocess.CompletedProcess(script, 124, (error.stdout or b"").decode() +
                                               "\ntoo slow: name what runs it in CI")

    def check_sh(self, document, block):
        script = list(self.commands(document, block))
        if not script or self.options.no_commands:
            return
        done = self.run("\n".join(script))
        for _ in script:
            self.count("commands run")
        if done.returncode != 0:
            self.fail(document, "exit status {}:\n{}\n{}".format(done.returncode,
                                                               "\n".join(script), done.stdout))

    def check_console(self, document, block):
        for entry in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            command, _, expected = entry.partition("\n")
            if self.options.no_commands:
                continue
            self.count("commands run")
            output = self.run(command).stdout
            if output != expected:
                self.fail(document, f"`{command}` prints\n{output}instead of\n{expected}")

    # ---- code

    def compile_c(self, code):
        command = [self.options.cc, "-std=c99", "-Wall", "-Wextra", "-Werror", "-Wno-unused",
                   "-fsyntax-only", f"-I{self.options.source}/service", "-x", "c", "-"]
        header = '#include "drm-service-sorn.h"\n'
        return subprocess.run(command, input=header + code, capture_output=True, text=True)

    def check_c(self, document, block):
        """What is no whole file may be the inside of a function."""
        self.count("pieces of code compiled")
        done = self.compile_c(block)
        if done.returncode != 0 and self.compile_c(f"void f(void) {{\n{block}}}").returncode != 0:
            self.fail(document, done.stderr)

    def check_python(self, document, block):
        self.count("pieces of code compiled")
        try:
            compile(block, str(document), "exec")
        except SyntaxError as error:
            self.fail(document, error)

    def check_cmake(self, document, block):
        """The names of this project in it exist."""
        for name in re.findall(r"\bDRM_SORN_\w+|\bdrm-sorn::[\w-]+", block):
            if name not in self.cmake:
                self.fail(document, f"CMake knows no {name}")

    def check_text(self, document, block):
        pass

    # ---- names and links

    def check_names(self, document, text):
        for name in CODE.findall(text):
            if re.fullmatch(r"DRM_SORN_\w+", name) and name not in self.cmake:
                self.fail(document, f"`{name}` is no option of the build")
            if not re.fullmatch(r"[\w.+*-]+(/[\w.+*-]+)*/?", name) or name.startswith("build/"):
                continue
            is_path = "/" in name and (name.endswith("/") or name.split("/")[0] in self.project.top
                                       or name.startswith("scripts/"))
            if not is_path and not name.endswith(FILE_ENDINGS):
                continue
            self.count("names looked up")
            if self.project.has(name) or self.project.has(str(document.parent / name)):
                continue
            if "/" not in name and name in self.project.names:
                continue
            self.fail(document, f"`{name}` does not exist")

    def check_links(self, document, text):
        for target in LINK.findall(text):
            if re.match(r"\w+:", target):
                continue
            path, _, anchor = target.partition("#")
            file = Path(os.path.normpath(document.parent / path)) if path else document
            self.count("links followed")
            if not (self.options.source / file).exists():
                self.fail(document, f"the link to {target} leads nowhere")
            elif anchor and anchor not in headings(read(self.options.source / file)):
                self.fail(document, f"{file} has no heading #{anchor}")

    def check_programs_built(self, document, text):
        for built in re.findall(r"--target (\w+)|build/\w+/bin/(\w+_test)", text):
            if f"add_executable({''.join(built)}" not in self.cmake:
                self.fail(document, f"nothing builds {''.join(built)}")

    def check_document(self, document):
        text = read(self.options.source / document)
        for language, block in FENCE.findall(text):
            check = getattr(self, f"check_{language or 'text'}", None)
            if check is None:
                self.fail(document, f"nothing checks a fence of {language}")
            else:
                check(document, block)
        prose = FENCE.sub("", text)
        if "```" in prose:
            self.fail(document, "a fence is not closed")
        self.check_programs_built(document, text)
        self.check_names(document, prose)
        self.check_links(document, prose)

    # ---- manual pages

    def check_manual_pages(self):
        pages = {page.name: page for page in self.project.manual_pages()}
        rendered = ""
        for page in pages.values():
            text = read(self.options.source / page)
            link = re.fullmatch(r"\.so (\S+)\n", text)
            if link:
                if Path(link[1]).name not in pages:
                    self.fail(page, f"{link[1]} does not exist")
            elif shutil.which("groff"):
                done = subprocess.run(["groff", "-t", "-man", "-ww", "-Tascii", "-P-c",
                                       self.options.source / page], capture_output=True, text=True)
                self.count("manual pages formatted")
                rendered += done.stdout
                if done.returncode != 0 or done.stderr:
                    self.fail(page, done.stderr)
        self.check_prototypes(pages, rendered)

    def check_prototypes(self, pages, rendered):
        service = self.options.source / "service"
        rendered = re.sub(r"\s|.\x08", "", rendered)
        header = re.sub(r"/\*.*?\*/", "", read(service / "drm-service-sorn.h"), flags=re.DOTALL)
        exports = read(service / "exports.map")
        for function in re.findall(r"^ +(drm_svc_\w+);", exports, re.MULTILINE):
            if f"{function}.3" not in pages:
                self.fail("docs", f"{function} has no manual page")
            prototype = re.search(rf"DRM_SVC_SORN_EXPORT ([^;]*\b{function}\([^;]*;)", header)[1]
            if rendered and re.sub(r"\s", "", prototype) not in rendered:
                self.fail("docs", f"no manual page has the prototype {prototype}")

    # ---- everything

    def check_scripts(self):
        table = read(self.options.source / "CONTRIBUTING.md")
        reached = self.project.run_in_ci()
        for script in self.project.files:
            if script.parts[0] != "scripts" or script.suffix:
                continue
            if f"`{script}`" not in table:
                self.fail("CONTRIBUTING.md", f"does not name {script}")
            if script not in reached and str(script) not in TOO_LONG_FOR_CI:
                self.fail(script, "nothing in CI runs it")

    def check_licence(self):
        """What LICENSE says first is what README.md says."""
        first = read(self.options.source / "LICENSE").partition("\n")[0]
        if first not in read(self.options.source / "README.md"):
            self.fail("README.md", f"does not say «{first}», as LICENSE does")

    def make_folder(self):
        """Looks like the repository after a release build. Commands may write here."""
        for entry in self.options.source.iterdir():
            if entry.name not in ("build", ".git"):
                (self.folder / entry.name).symlink_to(entry)
        (self.folder / "build").mkdir()
        (self.folder / "build/release").symlink_to(self.options.build)
        film = (self.options.source / "samples/mpeg4-mp3.avi").read_bytes()
        (self.folder / "film.avi").write_bytes(film)
        before, movi, media = film.partition(b"movi")
        (self.folder / "broken.avi").write_bytes(before[:-4] + bytes(4) + movi + media)

    def everything(self):
        with tempfile.TemporaryDirectory() as folder:
            self.folder = Path(folder)
            self.make_folder()
            for document in self.project.documents():
                self.check_document(document)
        self.check_runners()
        self.check_manual_pages()
        self.check_scripts()
        self.check_licence()


def headings(text):
    """The anchors of a document's headings."""
    titles = re.findall(r"^#+ (.*)$", FENCE.sub("", text), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles}


def existing(path):
    return Path(path).resolve(strict=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--source", type=existing, required=True)
    parser.add_argument("--build", type=existing, required=True)
    parser.add_argument("--cc", default="cc")
    parser.add_argument("--no-commands", action="store_true",
                        help="only look: for builds that other programs cannot link against")
    check = Check(parser.parse_args())
    check.everything()
    for what, number in sorted(check.counts.items()):
        print(f"{number} {what}")
    for failure in check.failures:
        print(failure, file=sys.stderr)
    sys.exit(1 if check.failures else 0)


if __name__ == "__main__":
    main()
