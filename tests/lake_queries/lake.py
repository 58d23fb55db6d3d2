"""What the tests of a lake share: where things are, and how Node's part is run."""

import json
import pathlib
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
SOURCE = HERE.parent.parent
QUERY = SOURCE / "tools/lake/query.mjs"
QUERIES = SOURCE / "docs/queries"
DDL = SOURCE / "docs/lake/ddl"
SKIPPED = 77

# What scripts/setup --lake installs.
NEEDED = [SOURCE / "tools/lake/node_modules/@duckdb/node-api", HERE / "node_modules/hyparquet"]


def what_is_missing():
    if shutil.which("node") is None:
        return "Node"
    absent = [str(path.relative_to(SOURCE)) for path in NEEDED if not path.exists()]
    return absent[0] if absent else None


def skip_if_it_cannot_run():
    missing = what_is_missing()
    if missing is not None:
        print(f"{missing} is not there; run scripts/setup --lake")
        sys.exit(SKIPPED)


def node(script, *words):
    return subprocess.run(["node", script, *words], capture_output=True, text=True)


def query(lake, *words):
    return node(QUERY, lake, *words)


def rows(lake, sql_file, *words):
    """What a query gives, a dictionary a row."""
    done = query(lake, sql_file, "--format", "json", *words)
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)["rows"]


def asked(lake, folder, *sql, **parsing):
    """The same of queries that a test writes itself, all in one process: a list for each."""
    files = [pathlib.Path(folder) / f"asked-{i}.sql" for i in range(len(sql))]
    for file, text in zip(files, sql):
        file.write_text(text)
    done = query(lake, *files, "--format", "json")
    assert done.returncode == 0, done.stderr
    return [json.loads(line, **parsing)["rows"] for line in done.stdout.splitlines()]
