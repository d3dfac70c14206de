#!/usr/bin/env python3
"""Test lines per 100 lines of code, both counted without blank and comment lines.

Test code is the C++ under tests/; code is every other C++ file of the repository (src/, tools/,
fuzz/). Prints the two counts and the ratio, and a line when the ratio is above the aim (0.36, or
--aim); exits 1 when it is above the limit given with --fail-above (./dev test gives 0.40).
"""
import argparse
import pathlib
import re
import sys

SUFFIXES = {".cpp", ".h", ".hpp", ".cc"}
SKIP_DIRS = {".git", ".cache"}


def code_lines(text: str) -> int:
    # Strip block comments first (keeping line breaks out of the count), then count the lines
    # that still hold something other than a line comment.
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    count = 0
    for line in text.splitlines():
        s = line.strip()
        if s and not s.startswith("//"):
            count += 1
    return count


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("root", nargs="?", default=".")
    parser.add_argument("--fail-above", type=float, default=None)
    parser.add_argument("--aim", type=float, default=0.36)
    args = parser.parse_args()
    root = pathlib.Path(args.root).resolve()
    tests = code = 0
    for path in root.rglob("*"):
        rel = path.relative_to(root)
        if not path.is_file() or path.suffix not in SUFFIXES:
            continue
        if rel.parts[0] in SKIP_DIRS or rel.parts[0].startswith("build"):
            continue
        n = code_lines(path.read_text(encoding="utf-8", errors="replace"))
        if rel.parts[0] == "tests":
            tests += n
        else:
            code += n
    ratio = tests / code if code else 0.0
    print(f"test lines: {tests}, code lines: {code}, test lines per line of code: {ratio:.3f}")
    if ratio > args.aim:
        print(f"above the aim of {args.aim:.2f}: fold or drop tests before adding more")
    if args.fail_above is not None and ratio > args.fail_above:
        print(f"test ratio {ratio:.2f} is above {args.fail_above:.2f}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
