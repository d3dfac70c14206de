#!/usr/bin/env python3
"""Every settings key the code uses is declared in src/core/settings_keys.{h,cpp}, and
docs/SETTINGS.md is made from that declaration.

Fails (exit 1) when a call of the settings routines (readIni, readIniInt, readIniValue, writeIni,
removeIni) names its section or key by a literal text instead of a declared name, and when a name
declared in settings_keys.h is missing from the table in settings_keys.cpp (so docs/SETTINGS.md,
made from that table, would not list it), and when docs/SETTINGS.md is not what the table makes.
With --write-doc it writes docs/SETTINGS.md instead of comparing.
"""
import pathlib
import re
import sys

ROUTINES = r"\b(readIni|readIniInt|readIniValue|writeIni|removeIni|readIniFile|writeIniFile)\s*\("
LITERAL = re.compile(r'^\s*(?:QStringLiteral\s*\(\s*)?(?:u8)?"')


def call_arguments(text: str, start: int) -> list[str]:
    """The top-level arguments of the call whose '(' is at text[start - 1]."""
    depth, args, current, i, quote = 1, [], "", start, None
    while i < len(text) and depth:
        c = text[i]
        if quote:
            current += c
            if c == "\\":
                current += text[i + 1]
                i += 1
            elif c == quote:
                quote = None
        elif c in "\"'":
            quote = c
            current += c
        elif c in "([{":
            depth += 1
            current += c
        elif c in ")]}":
            depth -= 1
            if depth:
                current += c
        elif c == "," and depth == 1:
            args.append(current)
            current = ""
        else:
            current += c
        i += 1
    args.append(current)
    return args


def c_strings(text: str) -> str:
    """The value of adjacent C string literals, with the escapes the table uses."""
    parts = re.findall(r'"((?:[^"\\]|\\.)*)"', text)
    return "".join(p.replace('\\"', '"').replace("\\\\", "\\") for p in parts)


def settings_doc(header: str, table: str) -> str:
    names = dict(re.findall(r'inline constexpr const char\* (k\w+) = "([^"]*)";', header))
    body = table[table.index("constexpr std::array kSettings{"):]
    body = body[: body.index("};")]
    text = (
        "# The settings file\n\n"
        "`MSCON.DLL` in the program directory: INI text, GBK with CR LF line ends (UTF-8 when it begins\n"
        "with a byte order mark). Sections and keys are found without regard to case. A key in angle\n"
        "brackets is a family of keys named by their values. This file is made from the table in\n"
        "`src/core/settings_keys.cpp` by `./dev settings-doc`; `./dev test` fails when they differ.\n"
    )
    section = None
    for entry in re.findall(r"Setting\{(.*?)\}", body, flags=re.S):
        first, second, rest = entry.split(",", 2)
        fallback_text, meaning_text = re.match(r'\s*("(?:[^"\\]|\\.)*")\s*,(.*)$', rest, flags=re.S).groups()
        sec, key = names[first.strip()], names[second.strip()]
        if sec != section:
            section = sec
            text += f"\n## {sec}\n\n| Key | Default | Meaning |\n|---|---|---|\n"
        fallback = c_strings(fallback_text) or "(none)"
        text += f"| `{key}` | {fallback} | {c_strings(meaning_text)} |\n"
    return text


def main() -> int:
    args = [a for a in sys.argv[1:] if not a.startswith("--")]
    root = pathlib.Path(args[0] if args else ".").resolve()
    header = (root / "src/core/settings_keys.h").read_text(encoding="utf-8")
    table = (root / "src/core/settings_keys.cpp").read_text(encoding="utf-8")
    sections = set(re.findall(r'inline constexpr const char\* k\w+ = "([^"]*)";\n(?=(?:.|\n)*// ---- Keys)', header))
    section_names = re.findall(r'inline constexpr const char\* (k\w+) = "[^"]*";\n(?=(?:.|\n)*// ---- Keys)', header)
    problems = []
    for path in sorted(list(root.glob("src/**/*")) + list(root.glob("tools/**/*"))):
        if path.suffix not in {".cpp", ".h"} or path.name.startswith("settings"):
            continue
        text = path.read_text(encoding="utf-8", errors="replace")
        # A section named by a literal anywhere in the code (a helper that wraps the routines
        # too), comment lines aside.
        for number, code in enumerate(text.splitlines(), 1):
            if code.lstrip().startswith("//"):
                continue
            for literal in re.findall(r'"([^"\\]*)"', code):
                if literal in sections:
                    problems.append(f"{path.relative_to(root)}:{number}: section by a literal: \"{literal}\"")
        # A key by a literal right after a section's name, whatever the call (a document's set or
        # value too).
        for m in re.finditer(rf'\b(?:keys::(?:{"|".join(section_names)})|k\w*Section)\s*,\s*(?:QStringLiteral\s*\(\s*)?"([^"]*)"', text):
            line = text.count("\n", 0, m.start()) + 1
            problems.append(f"{path.relative_to(root)}:{line}: settings key by a literal: \"{m.group(1)}\"")
        for m in re.finditer(ROUTINES, text):
            line = text.count("\n", 0, m.start()) + 1
            routine, args = m.group(1), call_arguments(text, m.end())
            # readIniValue takes the document first. The *IniFile routines serve any file of the
            # form (a parameter file too): they count only when they name a settings section.
            names = args[1:3] if routine == "readIniValue" else args[:2]
            if routine.endswith("IniFile"):
                section = re.sub(r'^\s*(?:QStringLiteral\s*\(\s*)?"|"\s*\)?\s*$', "", args[0])
                if not (LITERAL.match(args[0]) and section in sections):
                    continue
            for a in names:
                if LITERAL.match(a):
                    problems.append(f"{path.relative_to(root)}:{line}: settings name by a literal: {a.strip()}")
    for name in re.findall(r"inline constexpr const char\* (k\w+) =", header):
        if not re.search(rf"\b{name}\b", table):
            problems.append(f"src/core/settings_keys.h: {name} is declared but not in the table of settings_keys.cpp")
    doc_path = root / "docs/SETTINGS.md"
    doc = settings_doc(header, table)
    if "--write-doc" in sys.argv:
        doc_path.write_text(doc, encoding="utf-8")
    elif not doc_path.exists() or doc_path.read_text(encoding="utf-8") != doc:
        problems.append("docs/SETTINGS.md differs from src/core/settings_keys.cpp: run ./dev settings-doc")
    for p in problems:
        print(p, file=sys.stderr)
    print(f"settings names: {len(problems)} problem(s)")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
