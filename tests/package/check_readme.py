#!/usr/bin/env python3
"""Compares the C and C++ code blocks of README.md with the files that examples/ builds.

    check_readme.py ROOT
"""

import pathlib
import re
import sys

FILES = {"c": "examples/hello/hello.c", "cpp": "examples/hello/hello.cpp"}


def main():
    root = pathlib.Path(sys.argv[1])
    readme = (root / "README.md").read_text(encoding="utf-8")
    failures = 0
    for language, name in FILES.items():
        blocks = re.findall(rf"^```{language}\n(.*?)^```$", readme, re.MULTILINE | re.DOTALL)
        source = (root / name).read_text(encoding="utf-8")
        if source not in blocks:
            print(f"README.md: no {language} block is the text of {name} ({len(blocks)} blocks of that language)")
            failures += 1
    print(f"{len(FILES)} examples compared, {failures} differ")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
