#!/usr/bin/env python3
"""check_python.py FILE...: whether each file is the Python that the package promises to run on."""
import ast
import sys

OLDEST = (3, 9)


def main():
    faults = 0
    for name in sys.argv[1:]:
        with open(name, encoding="utf-8") as file:
            try:
                ast.parse(file.read(), name, feature_version=OLDEST)
            except SyntaxError as error:
                print(f"{name}:{error.lineno}: {error.msg}")
                faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
