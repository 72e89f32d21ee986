"""run_unittest.py FILE: runs the unittest cases of one file for ctest.

Exits with 1 also when there is no case at all, and with 77 when every case was skipped.
"""
import importlib.util
import os
import sys
import unittest


def main():
    path = os.path.abspath(sys.argv[1])
    sys.path.insert(0, os.path.dirname(path))
    spec = importlib.util.spec_from_file_location(os.path.splitext(os.path.basename(path))[0], path)
    module = importlib.util.module_from_spec(spec)
    sys.modules[spec.name] = module
    spec.loader.exec_module(module)

    suite = unittest.defaultTestLoader.loadTestsFromModule(module)
    count = suite.countTestCases()
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    if not count or not result.wasSuccessful():
        return 1
    return 77 if len(result.skipped) >= count else 0


if __name__ == "__main__":
    sys.exit(main())
