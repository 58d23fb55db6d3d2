"""A seeded defect: what its file says, and where it goes in the sources."""

import collections
import difflib
import re

HEADER = re.compile(r"^(Defect|Cost|Seen by): (.*(?:\n  .*)*)", re.MULTILINE)
PLACE = re.compile(r"In: (?:(\S+)#)?(\S.*)")

# What to put for what, in the definition `name`; `path` is None where the name alone
# tells the file.
Change = collections.namedtuple("Change", "path name old new")
# The same, found: `old` stands in `path` from `begin` to `end`.
Edit = collections.namedtuple("Edit", "path begin end new")


class Malformed(Exception):
    """The file of a mutant does not say what it has to."""


class Misplaced(Exception):
    """The sources do not have the place that a mutant names, or have it twice."""


def changes_in(text):
    """The changes below the `In:` lines. Lines of `-` and of `+` make one change; the
    next `-` behind a `+`, or an empty line, begins another one."""
    changes, place, old, new = [], None, [], []

    def finish():
        if new and not old:
            raise Malformed("'+' without a '-' above it: nothing says where it goes")
        if old:
            changes.append(Change(*place, "\n".join(old), "\n".join(new)))
        old.clear()
        new.clear()

    for line in text.splitlines():
        found = PLACE.fullmatch(line)
        if found:
            finish()
            place = found.groups()
        elif place is None:
            continue  # still the header
        elif line.startswith("-"):
            if new:
                finish()
            old.append(line[1:])
        elif line.startswith("+"):
            new.append(line[1:])
        elif line.strip():
            raise Malformed(f"neither '-', '+' nor 'In: NAME': {line}")
        else:
            finish()
    finish()
    return changes


class Mutant:
    """One file of defects/: what it breaks, where, and which test has to see it."""

    def __init__(self, path):
        text = path.read_text()
        header = {key: " ".join(value.split()) for key, value in HEADER.findall(text)}
        self.name = path.stem
        self.changes = changes_in(text)
        missing = {"Defect", "Cost", "Seen by"} - set(header)
        if missing or not self.changes:
            raise Malformed(f"no line '{', '.join(sorted(missing)) or 'In'}:'")
        self.defect = header["Defect"]
        self.program, *self.arguments = header["Seen by"].split()
        if self.program not in ("crash", "gtest") or not self.arguments:
            raise Malformed("'Seen by:' wants 'crash KIND [OPTION...]' or 'gtest SUITE.TEST'")

    def seen_by(self):
        return " ".join([self.program, *self.arguments])


def pattern_of(text):
    """Matches `text` however its lines are broken and indented."""
    tokens = re.findall(r"\w+|[^\w\s]", text)
    pattern = ""
    for before, token in zip([""] + tokens, tokens):
        if before:
            pattern += r"\s+" if re.match(r"\w", before[-1]) and re.match(r"\w", token) else r"\s*"
        pattern += re.escape(token)
    start = r"(?<!\w)" if re.match(r"\w", tokens[0]) else ""
    end = r"(?!\w)" if re.match(r"\w", tokens[-1]) else ""
    return re.compile(start + pattern + end)


def quoted(text):
    return "`" + " ".join(text.split()) + "`"


def where_else(sources, old):
    """The innermost definitions of all sources in which `old` stands, for a message."""
    pattern = pattern_of(old)
    found = {}
    for definition in sources.definitions:
        for match in pattern.finditer(sources.body(definition)):
            found[definition.path, definition.begin + match.start()] = definition.name
    return sorted({f"{name} ({path})" for (path, _), name in found.items()})


def hint(sources, change):
    elsewhere = where_else(sources, change.old)
    if elsewhere:
        return f"\n    {quoted(change.old)} stands in {', '.join(elsewhere[:4])}."
    return ""


def definitions_of(sources, change):
    """The definitions of that name, all of one file."""
    found = sources.named(change.name, change.path)
    if not found:
        names = sorted({definition.name for definition in sources.definitions})
        near = difflib.get_close_matches(change.name, names, n=3, cutoff=0.75)
        within = change.path or ", ".join(folder + "/" for folder in sources.folders)
        raise Misplaced(
            f"nothing named {change.name} is defined in {within}."
            + (f" Similar: {', '.join(near)}." if near else "")
            + hint(sources, change)
        )
    paths = sorted({definition.path for definition in found})
    if len(paths) > 1:
        raise Misplaced(
            f"{change.name} is defined in {' and '.join(paths)}: "
            f"say which, as 'In: {paths[0]}#{change.name}'"
        )
    return found


def nearest_line(sources, found, old):
    first = old.split("\n")[0].strip()
    lines = [line.strip() for d in found for line in sources.body(d).splitlines()]
    near = difflib.get_close_matches(first, lines, n=1, cutoff=0.5)
    return f"\n    Nearest there: {quoted(near[0])}." if near else ""


def edit_for(sources, change):
    """Where the old text stands. Raises Misplaced unless that is one place."""
    found = definitions_of(sources, change)
    path = found[0].path
    pattern = pattern_of(change.old)
    matches = sorted(
        {
            (d.begin + match.start(), d.begin + match.end())
            for d in found
            for match in pattern.finditer(sources.body(d))
        }
    )
    place = f"{change.name} ({path}:{sources.line_of(path, found[0].begin)})"
    if not matches:
        raise Misplaced(
            f"{place} has no {quoted(change.old)}."
            + (hint(sources, change) or nearest_line(sources, found, change.old))
        )
    if len(matches) > 1:
        lines = ", ".join(str(sources.line_of(path, begin)) for begin, _ in matches)
        raise Misplaced(
            f"{place} has {quoted(change.old)} {len(matches)} times, in lines {lines}: "
            "give more of the text around it"
        )
    begin, end = matches[0]
    text = sources.texts[path]
    line = text[text.rfind("\n", 0, begin) + 1 : begin]
    margin = " " * (len(line) - len(line.lstrip()))
    return Edit(path, begin, end, change.new.replace("\n", "\n" + margin))


def paths_named(sources, mutant):
    """The files that have something of the names that the mutant gives."""
    found = [d for c in mutant.changes for d in sources.named(c.name, c.path)]
    return sorted({definition.path for definition in found})


def place(sources, mutant):
    """{path: text} of the files that the defect changes. Raises Misplaced."""
    texts = {}
    edits = sorted(edit_for(sources, change) for change in mutant.changes)
    for edit, following in zip(edits, edits[1:]):
        if edit.path == following.path and edit.end > following.begin:
            line = sources.line_of(edit.path, following.begin)
            raise Misplaced(f"two of its changes overlap in {edit.path}:{line}")
    for edit in reversed(edits):
        text = texts.get(edit.path, sources.texts[edit.path])
        texts[edit.path] = text[: edit.begin] + edit.new + text[edit.end :]
    return texts
