"""What the tests of lakes share: the program, small recordings, and a reader of Parquet."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
SOURCE = HERE.parent.parent
sys.path.insert(0, str(SOURCE / "tests/tools"))
import export_samples as samples  # noqa: E402

SKIPPED = 77
VMR = None


def main():
    """lakes.main(): the first argument is the program."""
    global VMR
    VMR = os.path.abspath(sys.argv.pop(1))
    if shutil.which("node") is None or not (SOURCE / "tools/lake/node_modules/@duckdb").is_dir():
        print("needs Node and its modules: scripts/setup --lake")
        sys.exit(SKIPPED)
    unittest.main(module="__main__")


def ask(*statements):
    """Rows of each statement."""
    done = subprocess.run(["node", HERE / "read_parquet.mjs"], input=json.dumps(statements),
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise AssertionError(done.stderr)
    return json.loads(done.stdout)


def serial(text):
    return samples.text(0x10, text)


class LakeTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.lake = self.folder / "lake"

    def put(self, name, *packets):
        path = self.folder / name
        path.write_bytes(samples.flat(*packets))
        return path

    def run_vmr(self, *arguments, env=None, **options):
        return subprocess.run([VMR, *map(str, arguments)], capture_output=True, check=False,
                              env={**os.environ, **(env or {})}, timeout=120, **options)

    def export(self, *arguments, exit_code=0, lake=None, env=None):
        done = self.run_vmr("export", "--layout", "lake", "--root", lake or self.lake, *arguments,
                            env=env)
        self.assertEqual(done.returncode, exit_code, done.stderr.decode())
        self.errors = done.stderr.decode()
        return [json.loads(line) for line in done.stdout.splitlines()]

    def files(self, lake=None):
        """By their names in the lake, without the lake's own."""
        root = lake or self.lake
        return {str(path.relative_to(root)): path.read_bytes()
                for path in sorted(root.rglob("*")) if path.is_file()
                and "_vmr" not in path.relative_to(root).parts}

    def stamps(self):
        return {str(path): (path.stat().st_mtime_ns, path.stat().st_ino)
                for path in self.lake.rglob("*.parquet")}

    def assert_no_scratch(self, lake=None):
        self.assertEqual(list(((lake or self.lake) / "_vmr/tmp").iterdir()), [])
