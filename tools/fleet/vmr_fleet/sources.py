"""Which recordings the sources on the command line are.

A recording is a store, of whose two files the common beginning of their names is what `vmr`
is given, or a flat file. Names are bytes of any kind: texts here carry them as Python does,
os.fsencode gives them back.
"""
import codecs
import glob
import os
import stat
import sys

STORE_ENDINGS = ("_1.mtd", "_2.mtd")
SET_ASIDE = ".CORRUPT"
FLAT_ENDING = ".vmd"
FLAT_BEGINNING = bytes([0x66, 0x5D, 0x53, 0x31])  # as docs/format.md has it


class Sources:
    """Collects recordings, each once, and what could not be read.

    found    absolute paths, in the order of their names when all were added
    errors   texts, each of a source that cannot be read

    The folder `lake` is not looked into: it has tables, and many.
    """

    def __init__(self, lake):
        self._lake = os.path.realpath(lake)
        self._found, self._keys, self.errors = [], set(), []
        self._seen = 0  # recordings, those that were known already, too

    def found(self):
        return sorted(self._found, key=os.fsencode)

    def add(self, source):
        """A source of the command line."""
        if source == "-":
            self._add_list("standard input", sys.stdin.buffer.read)
        elif source.startswith("@"):
            self.add_list(source[1:])
        else:
            self._add_path_or_pattern(source)

    def add_list(self, path):
        """A file of paths."""
        def read():
            with open(path, "rb") as file:
                return file.read()
        self._add_list(shown(path), read)

    def _add_list(self, name, read):
        try:
            held = read()
        except OSError as error:
            self.errors.append(f"{name}: {error.strerror}")
            return
        for part in paths_in(held):
            self._add_path_or_pattern(os.fsdecode(part), patterns=False)

    def _add_path_or_pattern(self, source, patterns=True):
        if source and os.path.isdir(source):
            self._add_folder(source)
        elif base := ring_at(source):
            self._keep(base)
        elif os.path.lexists(source):
            self._keep(source)
        elif patterns and glob.has_magic(source):
            self._add_matches(source)
        else:
            self.errors.append(f"{shown(source)}: neither a file or folder nor a store "
                               f"({shown(source)}_1.mtd and _2.mtd)")

    def _add_matches(self, pattern):
        before = self._seen
        for match in sorted(glob.glob(pattern, recursive=True), key=os.fsencode):
            if not os.path.isdir(match):
                self._add_file(match)
            elif "**" not in pattern:  # what is in it matches, too
                self._look_into(match)
        if self._seen == before:
            self.errors.append(f"{shown(pattern)}: no store or flat file matches")

    def _add_folder(self, folder):
        before = self._seen + len(self.errors)
        self._look_into(folder)
        if self._seen + len(self.errors) == before:
            self.errors.append(f"{shown(folder)}: neither stores nor flat files in it")

    def _look_into(self, folder):
        """And into the folders in it, less hidden ones."""
        def cannot(error):
            self.errors.append(f"{shown(error.filename)}: {error.strerror}")

        for place, folders, files in os.walk(folder, onerror=cannot):
            folders[:] = [name for name in folders if not name.startswith(".")
                          and os.path.realpath(os.path.join(place, name)) != self._lake]
            for name in files:
                if not name.startswith("."):
                    self._add_file(os.path.join(place, name))

    def _add_file(self, path):
        """A file that nobody named: only if it is of a recording."""
        if base := store_of(path):
            self._keep(base)
        elif looks_flat(path):
            self._keep(path)

    def _keep(self, path):
        self._seen += 1
        path = os.path.abspath(path)
        key = os.path.join(os.path.realpath(os.path.dirname(path)), os.path.basename(path))
        if key not in self._keys:
            self._keys.add(key)
            self._found.append(path)


def paths_in(held):
    """Of a list: lines, or as find -print0 writes it, for names with a line's end in them. An
    editor's mark of UTF-8 and its CR LF are no part of a name, unless there is one with it."""
    if b"\0" in held:
        return [part for part in held.split(b"\0") if part]
    lines = held.split(b"\n")
    if not is_there(lines[0]) and not is_there(lines[0].removesuffix(b"\r")):
        lines[0] = lines[0].removeprefix(codecs.BOM_UTF8)
    lines = [line if is_there(line) else line.removesuffix(b"\r") for line in lines]
    return [line for line in lines if line]


def is_there(path):
    return os.path.lexists(path) or ring_at(os.fsdecode(path)) is not None


def store_of(path):
    """The store that a file is of, by its name; also of one that a recorder set aside."""
    name = path.removesuffix(SET_ASIDE)
    for ending in STORE_ENDINGS:
        if name.endswith(ending) and len(os.path.basename(name)) > len(ending):
            return name.removesuffix(ending)
    return None


def ring_at(path):
    """The store that a path names: what its files' names begin with, or one of them."""
    for base in (path, store_of(path)):
        if base and any(os.path.lexists(base + ending) for ending in STORE_ENDINGS):
            return base
    return None


def looks_flat(path):
    """By its name or its first bytes. What cannot be opened may be one; `vmr` tells."""
    try:
        if not stat.S_ISREG(os.stat(path).st_mode):
            return False
        if path.endswith(FLAT_ENDING):
            return True
        with open(path, "rb") as file:
            return file.read(len(FLAT_BEGINNING)) == FLAT_BEGINNING
    except FileNotFoundError:
        return False  # a link that leads nowhere
    except OSError:
        return True


def shown(path):
    """For people: what does not print, or is no UTF-8, is escaped."""
    text = path if isinstance(path, str) else os.fsdecode(path)
    text = os.fsencode(text).decode("utf-8", "backslashreplace")
    return "".join(char if char.isprintable() else char.encode("unicode_escape").decode("ascii")
                   for char in text)
