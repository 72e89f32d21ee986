#!/usr/bin/env python3
"""Checks what a built libquorvel.so exports: the C functions and the namespace quorvel, nothing else.

Usage: check_exports.py LIBRARY
"""
import re
import subprocess
import sys

ABI_KINDS = r"(?:vtable for |VTT for |typeinfo for |typeinfo name for |non-virtual thunk to |virtual thunk to )?"
PUBLIC = re.compile(r"quorvel_\w+$|" + ABI_KINDS + r"quorvel::")
VERSION_NODE = re.compile(r"QUORVEL_\d+$")


def exported_names(library):
    text = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library],
                          check=True, capture_output=True, text=True).stdout
    names = (line.split(maxsplit=2)[2] for line in text.splitlines())
    return [re.sub(r"@@?QUORVEL_\d+$", "", name) for name in names]


def main():
    names = [name for name in exported_names(sys.argv[1]) if not VERSION_NODE.match(name)]
    leaks = [name for name in names if not PUBLIC.match(name)]
    for name in leaks:
        print(f"exported, but not public: {name}")
    if not any(name.startswith("quorvel_") for name in names):
        leaks.append("")
        print("no C function is exported")
    if not any("quorvel::" in name for name in names):
        leaks.append("")
        print("nothing of namespace quorvel is exported")
    print(f"{len(names)} exported names, {len(leaks)} faults")
    return 1 if leaks else 0


if __name__ == "__main__":
    sys.exit(main())
