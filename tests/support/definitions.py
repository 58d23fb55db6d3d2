"""Finds definitions in sources by their names.

It is no parser: it relies on how clang-format lays these sources out. What stands in
a namespace begins at column 0, a member at column 2; a definition that does not end
with its first complete line ends with the next `}` at the column at which it began.
"""

import collections
import re

SUFFIXES = (".cc", ".h")

# `begin` and `end` are offsets into the text of `path`.
Definition = collections.namedtuple("Definition", "name path begin end")

TYPE = re.compile(r"(?:class|struct|union|enum(?: class)?) (\w+)")
VALUE = re.compile(r"([\w:]+)(?:\[[^\]]*\])*\s*(?:=|\{)")
FUNCTION = re.compile(r"(~?[\w:~]*\w|operator\S+?)\(")
NO_FUNCTION = {"alignas", "decltype", "__attribute__"}
NO_DEFINITION = re.compile(r"[#}/)]|namespace\b|extern \"C\"|using\b|typedef\b|static_assert\b")


def code_of(line):
    return re.sub(r"\s*//.*", "", line).rstrip()


def without_arguments(head):
    """The head of a definition without what stands in angle brackets."""
    shorter = re.sub(r"<[^<>]*>", "", head)
    return head if shorter == head else without_arguments(shorter)


def name_of(head):
    """The name that a definition gives, None for a declaration or anything else."""
    head = without_arguments(head)
    found = TYPE.search(head.split("(")[0])
    if found:
        return found[1] if "{" in head else None
    value = VALUE.search(head.split("(")[0])
    if value:
        return value[1]
    for function in FUNCTION.finditer(head):
        if function[1] not in NO_FUNCTION:
            return function[1] if "{" in head else None
    return None


def spans(lines, column):
    """(first, behind, head) of what begins at `column`: line numbers, and its text up
    to the first line that ends it or opens its body."""
    margin = " " * column
    number = 0
    while number < len(lines):
        first = number
        number += 1
        begins = lines[first].startswith(margin) and lines[first][column : column + 1].strip()
        if not begins or NO_DEFINITION.match(lines[first][column:]):
            continue
        head = code_of(lines[first])
        while not head.endswith(("{", "}", ";")) and number < len(lines):
            head += "\n" + code_of(lines[number])
            number += 1
        if head.endswith("{"):
            while number < len(lines) and not lines[number].startswith(margin + "}"):
                number += 1
            number += 1
        yield first, number, head


def definitions_in(path, text):
    """All that is defined in a namespace or in a class of the file, in its order."""
    lines = text.splitlines(keepends=True)
    offsets = [0]
    for line in lines:
        offsets.append(offsets[-1] + len(line))

    def collect(first, behind, column, scope):
        for begin, end, head in spans(lines[first:behind], column):
            begin, end = first + begin, min(first + end, behind)
            name = name_of(head)
            if not name:
                continue
            yield Definition(scope + name, path, offsets[begin], offsets[end])
            if TYPE.match(head.strip()) and end - begin > 1:
                yield from collect(begin + 1, end - 1, column + 2, scope + name + "::")

    return list(collect(0, len(lines), 0, ""))


class Sources:
    """The text of all sources below some folders, and what is defined there."""

    def __init__(self, root, folders):
        self.folders = folders
        self.texts = {}
        self.definitions = []
        for folder in folders:
            for path in sorted((root / folder).rglob("*")):
                if path.suffix in SUFFIXES:
                    name = path.relative_to(root).as_posix()
                    self.texts[name] = path.read_text()
                    self.definitions += definitions_in(name, self.texts[name])

    def named(self, name, path=None):
        return [d for d in self.definitions if d.name == name and path in (None, d.path)]

    def body(self, definition):
        return self.texts[definition.path][definition.begin : definition.end]

    def line_of(self, path, offset):
        return self.texts[path].count("\n", 0, offset) + 1
