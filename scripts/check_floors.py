#!/usr/bin/env python3
"""Checks that the folders under src/ and include/ keep to their floors.

    - An #include reaches the same folder or a lower floor, never a higher one; so no two folders include each
      other.
    - Only src/platform includes headers of the system or of other libraries. Everyone else includes the C++
      standard library; src/mime and src/mailman may also use the compiler's <immintrin.h>.
    - The public headers include each other and the standard library only, and each one compiles alone.
    - The command-line tool sees the public headers, never src/.

Usage: check_floors.py [ROOT]     prints one line per fault; exits with 1 when there is one.
"""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

# The floors from the ground up.
FLOORS = ["platform", "core", "mime", "cert", "email", "net", "mailman", "api"]

# Folders that may include more than the standard library, and what.
EXTRA = {"mime": {"immintrin.h"}, "mailman": {"immintrin.h"}}

CXX_HEADERS = set("""
    algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts
    condition_variable coroutine deque exception execution filesystem format forward_list fstream functional
    future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map memory
    memory_resource mutex new numbers numeric optional ostream queue random ranges ratio regex
    scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept stop_token
    streambuf string string_view syncstream system_error thread tuple type_traits typeindex typeinfo
    unordered_map unordered_set utility valarray variant vector version
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef cstdint
    cstdio cstdlib cstring ctime cuchar cwchar cwctype
    """.split())
C_HEADERS = {"stddef.h", "stdint.h"}  # for public headers that C reads too

INCLUDE = re.compile(r"^\s*#\s*include(?:_next)?\s*(<[^>]*>|\"[^\"]*\"|\S+)")


def includes(path):
    """(line number, delimiter, name) of each #include outside block comments."""
    text = path.read_text(encoding="utf-8", errors="replace")
    text = re.sub(r"/\*.*?\*/", lambda found: "\n" * found.group().count("\n"), text, flags=re.S)
    for number, line in enumerate(text.splitlines(), 1):
        found = INCLUDE.match(line)
        if found:
            yield number, found.group(1)[0], found.group(1).strip('<>"')


def fault_of_room(room, delimiter, name):
    """What is wrong with an #include in src/<room>; None when nothing is."""
    if name.startswith("quorvel/"):
        return None if room == "api" else "only src/api includes the public headers"
    if delimiter == "<":
        if room == "platform" or name in CXX_HEADERS or name in EXTRA.get(room, ()):
            return None
        return "a system or library header; only src/platform may include it"
    if delimiter != '"':
        return "an include by macro"
    target = name.split("/")[0]
    if "/" not in name or target not in FLOORS:
        return "not written from src/ as \"<folder>/<file>\""
    if FLOORS.index(target) > FLOORS.index(room):
        return f"goes up a floor, from {room} to {target}"
    return None


def fault_of_public(delimiter, name):
    if name.startswith("quorvel/"):
        return None
    if delimiter == "<" and (name in CXX_HEADERS or name in C_HEADERS):
        return None
    return "a public header includes public headers and the standard library only"


def fault_of_tool(name):
    return "the tool includes src/, but is a host like any other" if name.split("/")[0] in FLOORS else None


def source_files(folder):
    return sorted(path for path in folder.rglob("*") if path.suffix in (".h", ".cc", ".cpp", ".inc", ".c"))


def include_faults(root):
    faults = []

    def look(path, fault_of):
        for number, delimiter, name in includes(path):
            fault = fault_of(delimiter, name)
            if fault:
                faults.append(f"{path.relative_to(root)}:{number}: {name}: {fault}")

    for folder in sorted(path for path in (root / "src").iterdir() if path.is_dir()):
        if folder.name not in FLOORS:
            faults += [f"{path.relative_to(root)}:1: its folder stands on no floor" for path in source_files(folder)]
            continue
        for path in source_files(folder):
            look(path, lambda delimiter, name, room=folder.name: fault_of_room(room, delimiter, name))
    for path in source_files(root / "include"):
        look(path, fault_of_public)
    for path in source_files(root / "tools" / "quorvel"):
        look(path, lambda _, name: fault_of_tool(name))
    return faults


def compile_faults(root, compiler):
    """Each public header by itself; those for C by a C compiler too."""
    faults = []
    for path in source_files(root / "include"):
        languages = [("c++", "-std=c++20")]
        if path.name.endswith("_c.h"):
            languages.append(("c", "-std=c99"))
        for language, standard in languages:
            with tempfile.NamedTemporaryFile("w", suffix=".cc" if language == "c++" else ".c") as source:
                source.write(f"#include <{path.relative_to(root / 'include')}>\n")
                source.flush()
                command = [compiler, "-x", language, standard, "-Wall", "-Wextra", "-Wpedantic", "-Werror",
                           "-fsyntax-only", "-I", str(root / "include"), source.name]
                result = subprocess.run(command, capture_output=True, text=True)
            if result.returncode:
                why = next((line for line in result.stderr.splitlines() if "error" in line), "")
                faults.append(f"{path.relative_to(root)}:1: does not compile alone as {language}: {why}")
    return faults


def main():
    root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).parent.parent).resolve()
    faults = include_faults(root) or compile_faults(root, os.environ.get("CXX", "g++"))
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
