#!/usr/bin/env python3
"""Holds the plug-in's shared object to what the platform's loader expects of it.

Each check lists something from the real file and fails with what it found, also when the listing
itself fails or lacks what every build has.
"""
import argparse
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

EXPORTS = {f"drm_svc_sorn_{verb}_file" for verb in ("open", "close", "read", "seek", "tell")}
SONAME = "libdrm-sorn.so.0"
HOST_PROVIDES = {"_debug_message"}
# Weak references of the start files of every toolchain; nobody has to provide them.
START_FILES = {"__gmon_start__", "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable",
               "__cxa_finalize"}
RUNTIME = re.compile(
    r"abort$|__assert|__cxa_(?!finalize$)|_Unwind_|__aeabi_unwind|__gxx_personality"
    r"|_ZSt|_ZNSt|_ZNKSt|_ZTV|_ZTI|_Zn[wa]|_Zd[la]|__gnu_Unwind|_ZN10__cxxabiv1")


class Wrong(Exception):
    """What a check found."""


def need(condition, message):
    if not condition:
        raise Wrong(message)


def output_of(*command):
    try:
        done = subprocess.run(command, capture_output=True, text=True, check=True,
                              env={**os.environ, "LC_ALL": "C"})
    except OSError as error:
        raise Wrong(f"cannot run {command[0]}: {error}") from error
    except subprocess.CalledProcessError as error:
        raise Wrong(f"{shlex.join(command)} failed: {error.stderr.strip()}") from error
    need(not re.search(r"(?i)\b(error|warning):", done.stderr), done.stderr)
    return done.stdout


class Binary:
    """An ELF file as the toolchain's own readelf and nm list it."""

    def __init__(self, path, tools):
        self.path, self.tools = path, tools

    def readelf(self, *options):
        return output_of(self.tools.readelf, "--wide", *options, self.path)

    def symbols(self, *options):
        """Names without their versions."""
        lines = output_of(self.tools.nm, *options, self.path).splitlines()
        return {line.split()[-1].split("@")[0] for line in lines if line.strip()}

    def dynamic(self, tag):
        """The values of one kind of entry of the dynamic section."""
        listing = self.readelf("--dynamic")
        need("(SYMTAB)" in listing, "no dynamic section is listed")
        return [line.split(")", 1)[1].strip() for line in listing.splitlines()
                if f"({tag})" in line]

    def segments(self, kind):
        """The flags of the segments of one kind."""
        listing = self.readelf("--segments")
        need(re.search(r"^  LOAD\s", listing, re.MULTILINE), "no segments are listed")
        lines = re.findall(rf"^  {kind}\s+((?:0x\w+\s+){{5}})([RWE ]+?)\s+0?x?\w+$", listing,
                           re.MULTILINE)
        return [flags.replace(" ", "") for _, flags in lines]

    def sections(self):
        """(name, size, flags) of each section that holds something."""
        rows = re.findall(
            r"^\s*\[\s*\d+\]\s+(\S+)\s+[A-Z_0-9]+\s+[0-9a-f]{8,}\s+[0-9a-f]+\s+([0-9a-f]+)"
            r"\s+[0-9a-f]+\s+([A-Zolxp]*)\s", self.readelf("--sections"), re.MULTILINE)
        found = [(name, int(size, 16), flags) for name, size, flags in rows if int(size, 16)]
        need(any(name.startswith(".text") for name, _, _ in found), f"no code in {self.path}")
        return found

    def pointer_size(self):
        header = self.readelf("--file-header")
        match = re.search(r"Class:\s+ELF(32|64)", header)
        need(match, "no class in the ELF header")
        return int(match[1]) // 8


def objects_of(options):
    need(options.objects, "no object files were named")
    return options.objects


CHECKS = {}


def check(function):
    CHECKS[function.__name__.replace("_", "-")] = function
    return function


@check
def exports(library, _options):
    """Exactly the five functions can be looked up."""
    found = library.symbols("--dynamic", "--defined-only")
    need(found == EXPORTS, f"exported: {sorted(found)}")


@check
def soname(library, _options):
    """The name under which programs load it is the one that the platform knows."""
    found = library.dynamic("SONAME")
    need(found == [f"Library soname: [{SONAME}]"], f"SONAME: {found}")


@check
def needed(library, _options):
    """Nothing but the C library is loaded with it, and the loader where the toolchain names it."""
    names = needed_libraries(library)
    others = [name for name in names if not re.fullmatch(r"libc\.so\.6|ld-linux[-\w]*\.so\.\d", name)]
    need("libc.so.6" in names, f"libc.so.6 is not among {names}")
    need(not others, f"also needs {others}")


def needed_libraries(library):
    return [re.search(r"\[(.+)\]", entry)[1] for entry in library.dynamic("NEEDED")]


@check
def undefined(library, options):
    """What the C library does not have, the loading program must: `_debug_message` alone."""
    wanted = library.symbols("--dynamic", "--undefined-only")
    need(HOST_PROVIDES <= wanted, "no reference to _debug_message is listed")
    provided = set()
    for name in needed_libraries(library):
        path = output_of(*options.compiler, f"-print-file-name={name}").strip()
        need(os.path.isabs(path), f"the toolchain has no {name}")
        provided |= Binary(path, options).symbols("--dynamic", "--defined-only")
    need({"malloc", "fread"} <= provided, "the C library's symbols are not listed")
    missing = wanted - provided - START_FILES
    need(missing == HOST_PROVIDES, f"provided by nobody: {sorted(missing)}")


@check
def text_relocations(library, _options):
    """The code is shared between processes as it is in the file, and never writable."""
    need("TEXTREL" not in library.readelf("--dynamic"), "there are text relocations")
    loads = library.segments("LOAD")
    need(any("E" in flags for flags in loads), f"no code among the segments {loads}")
    need(not any("W" in flags and "E" in flags for flags in loads), f"segments: {loads}")


@check
def relocation_protection(library, _options):
    """All is bound when it is loaded, and what was relocated is read-only from then on."""
    need(library.segments("GNU_RELRO") == ["R"], "no GNU_RELRO segment")
    bound = any("BIND_NOW" in flags for flags in library.dynamic("FLAGS"))
    need(bound or library.dynamic("BIND_NOW"), "not marked BIND_NOW")
    need(any("NOW" in flags for flags in library.dynamic("FLAGS_1")), "not marked NOW")


@check
def stack(library, _options):
    """Loading it does not make the process's stacks executable."""
    flags = library.segments("GNU_STACK")
    need(flags == ["RW"], f"GNU_STACK: {flags}")


@check
def stack_protector(library, _options):
    """Functions with arrays look after their return address."""
    wanted = library.symbols("--dynamic", "--undefined-only")
    need(any(name.startswith("__stack_chk_fail") for name in wanted), "no use of __stack_chk_fail")


@check
def fortified(_library, options):
    """Every source is compiled with the C library's checked calls.

    The compiler proves today's bounds and drops each run-time check, so that none is left in the
    file to look for; what can be seen is that the headers had them switched on.
    """
    try:
        commands = json.loads(pathlib.Path(options.compile_commands).read_text())
    except (OSError, ValueError) as error:
        raise Wrong(f"cannot read the compile commands: {error}") from error
    sources = [entry for entry in commands
               if re.search(r" -o (avi_reader|service)/", entry["command"])]
    need(len(sources) >= 2, "the library's sources are not among the compile commands")
    for entry in sources:
        command = shlex.split(entry["command"])
        command[command.index("-o") + 1] = "-"
        os.chdir(entry["directory"])
        macros = output_of(*(word for word in command if word != "-c"), "-E", "-dM", "-include",
                           "stdio.h")
        need("#define __USE_FORTIFY_LEVEL 2" in macros, f"not fortified: {entry['file']}")


@check
def constructors(library, options):
    """Loading it runs no code of ours: the one entry is the toolchain's."""
    arrays = [(name, size) for name, size, _ in library.sections()
              if re.match(r"\.(preinit_array|init_array|ctors)", name)]
    need(all(size <= library.pointer_size() for _, size in arrays), f"run at load: {arrays}")
    for binary in objects_of(options):
        ours = [name for name, _, _ in binary.sections()
                if re.match(r"\.((pre)?init_array|fini_array|ctors|dtors)", name)]
        need(not ours, f"{binary.path} has {ours}")
        atexit = binary.symbols() & {"__cxa_atexit", "__aeabi_atexit", "atexit"}
        need(not atexit, f"{binary.path} uses {atexit}")


@check
def writable_data(library, options):
    """Nothing is writable but what the loader fills in, which is read-only once it has."""
    filled_in = r"\.(init_array|fini_array|dynamic|got(\.plt)?|data\.rel\.ro)"
    start_files = r"\.(data|bss)"  # the library's own identity and a flag, a word each
    for name, size, flags in library.sections():
        allowed = "W" not in flags or re.fullmatch(filled_in, name) or (
            re.fullmatch(start_files, name) and size <= library.pointer_size())
        need(allowed, f"{size} writable bytes in {name}")
    for binary in objects_of(options):
        ours = [(name, size) for name, size, flags in binary.sections()
                if "W" in flags and not name.startswith(".data.rel.ro")]
        need(not ours, f"{binary.path} has {ours}")


@check
def aligned_access(_library, options):
    """The compiler was told not to make a misaligned load or store, which ARM's objects record."""
    for binary in objects_of(options):
        attributes = binary.readelf("--arch-specific")
        need("Tag_CPU_arch:" in attributes, f"no attributes in {binary.path}")
        need("Tag_CPU_unaligned_access" not in attributes, f"{binary.path} may access unaligned")


@check
def language_runtime(library, options):
    """No way to abort, no exceptions and nothing else of the C++ run-time library."""
    linked = library.symbols()
    need(EXPORTS <= linked, "the linked symbols are not listed")
    found = {name for name in linked if re.match(r"(__GI_)?abort$|__cxa_(?!finalize)|_Unwind_", name)}
    for binary in [library, *objects_of(options)]:
        found |= {name for name in binary.symbols("--undefined-only") if RUNTIME.match(name)}
    need(not found, f"refers to {sorted(found)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("check", choices=sorted(CHECKS))
    parser.add_argument("library")
    parser.add_argument("--readelf", default="readelf")
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--compiler", default="cc", type=shlex.split, help="with its flags")
    parser.add_argument("--compile-commands", default="compile_commands.json")
    parser.add_argument("--objects", nargs="+", default=[], help="what the library is linked from")
    options = parser.parse_args()
    options.objects = [Binary(path, options) for path in options.objects]
    try:
        CHECKS[options.check](Binary(options.library, options), options)
    except Wrong as problem:
        sys.exit(f"{options.check}: {problem}")


main()
