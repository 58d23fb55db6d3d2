#!/usr/bin/env python3
"""Marks in copies of the library's sources where they make calls on a recording's
files, and lists these places.

usage: mark_calls.py OUT_FOLDER SOURCE...

A place is a call on FileOps, or a call of a function of file_io.cc that leads to one
and has a result. It becomes `vmr::crash::At(NUMBER, [&] { return CALL; })`, which tells the files of the
crash tests where a call came from. OUT_FOLDER gets a copy of each source and
call_sites_table.cc, the list.
"""

import pathlib
import re
import sys

sys.dont_write_bytecode = True
sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "support"))
import definitions

WRAPPERS = "file_io.cc"  # the file of the functions that stand for a call
DIRECT = re.compile(r"FileOps::Current\(\)\s*\.(\w+)\(")


def without_comments(text):
    """The text with blanks in place of its comments and literals."""
    parts = r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\])*\"|'(?:\\.|[^'\\])'"
    return re.sub(parts, lambda part: re.sub(r"[^\n]", " ", part[0]), text, flags=re.DOTALL)


def end_of_call(code, opening):
    """Behind the parenthesis that closes the one at `opening`."""
    depth = 0
    for at in range(opening, len(code)):
        depth += {"(": 1, ")": -1}.get(code[at], 0)
        if depth == 0:
            return at + 1
    sys.exit("mark_calls.py: a parenthesis is never closed")


def wrappers_of(path, text):
    """The functions of the file that make a call on FileOps, if only by another one.
    Those without a result are left out: what called them need not know."""
    code = without_comments(text)
    bodies = {d.name: code[d.begin : d.end] for d in definitions.definitions_in(path, text)}
    found = {name for name, body in bodies.items() if DIRECT.search(body)}
    while True:
        more = {name for name, body in bodies.items()
                if any(re.search(rf"\b{other}\(", body) for other in found)}
        if more <= found:
            return {name for name in found if not bodies[name].startswith("void ")}
        found |= more


def calls_in(path, text, wrappers):
    """(begin, end, function, operation) of each place, in their order."""
    code = without_comments(text)
    wrapped = re.compile(rf"(?<![\w:.>])({'|'.join(sorted(wrappers))})\(")
    functions = definitions.definitions_in(path, text)
    calls = []
    for match in sorted([*DIRECT.finditer(code), *wrapped.finditer(code)], key=re.Match.start):
        within = [d.name for d in functions if d.begin < match.start() < d.end]
        at_start_of_line = code.rfind("\n", 0, match.start()) + 1
        if code[at_start_of_line] not in " ":
            continue  # the definition itself
        calls.append((match.start(), end_of_call(code, match.end() - 1), within[-1], match[1]))
    if len(DIRECT.findall(code)) != code.count("FileOps::Current()"):
        sys.exit(f"{path}: FileOps::Current() is kept instead of called at once")
    return calls


def marked(text, calls, first):
    """The text with its calls marked by numbers from `first` on."""
    for number, (begin, end, _, _) in reversed(list(enumerate(calls, first))):
        text = text[:begin] + f"::vmr::crash::At({number}, [&] {{ return " + \
            text[begin:end] + "; })" + text[end:]
    return text


def table(sites):
    rows = "".join(f'    {{"{name}", "{place}"}},\n' for name, place in sites)
    return ('#include "tests/crash/call_sites.h"\n\nnamespace vmr::crash {\n\n'
            "// Not const: seen from other files.\n"
            "extern const bool kSitesAreMarked;\n"
            f"const bool kSitesAreMarked = UseCallSites({{\n{rows}}});\n\n"
            "}  // namespace vmr::crash\n")


def main():
    folder, *paths = map(pathlib.Path, sys.argv[1:])
    texts = {path: path.read_text() for path in paths}
    wrappers = set()
    for path in paths:
        if path.name == WRAPPERS:
            wrappers = wrappers_of(path, texts[path])
    if not wrappers:
        sys.exit(f"mark_calls.py: no source {WRAPPERS} with calls on FileOps")
    sites, uses = [], {}
    for path in paths:
        calls = calls_in(path, texts[path], wrappers)
        copy = f'#line 1 "{path}"\n' + marked(texts[path], calls, len(sites))
        if calls:
            copy = '#include "tests/crash/call_sites.h"\n' + copy
        (folder / path.name).write_text(copy)
        for begin, _, function, operation in calls:
            name = f"{function}.{operation}"
            uses[name] = uses.get(name, 0) + 1
            number = f".{uses[name]}" if uses[name] > 1 else ""
            line = texts[path].count("\n", 0, begin) + 1
            sites.append((name + number, f"{path.parent.name}/{path.name}:{line}"))
    (folder / "call_sites_table.cc").write_text(table(sites))


if __name__ == "__main__":
    main()
