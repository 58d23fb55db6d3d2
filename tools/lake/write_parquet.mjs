// Turns rows into Parquet files, by DuckDB: the writer that `vmr export --layout lake` starts.
// README.md beside it has the protocol: a line of JSON in, a line of JSON out.
//
// Recorded text comes in the files of rows alone. What goes into a statement are names of
// columns, checked against a pattern, types from a list, plain names of files, and labels as quoted text.
import { createInterface } from "node:readline";
import process from "node:process";

// By the name of a type in the protocol: how DuckDB reads the cell, and what it writes. A
// timestamp's cell has microseconds since 1970, so that no calendar stands between.
const types = {
  boolean: { cell: "BOOLEAN" },
  integer: { cell: "INTEGER" },
  long: { cell: "BIGINT" },
  degrees: { cell: "DECIMAL(10,7)" },
  text: { cell: "VARCHAR" },
  word: { cell: "VARCHAR" },
  timestamp: { cell: "BIGINT", column: (name) => `make_timestamp(${name}) AS ${name}` },
};

const settings = {
  threads: "1",
  memory_limit: "512MB",
  autoinstall_known_extensions: "false",
  autoload_known_extensions: "false",
  preserve_insertion_order: "true",
};

function text(value) {
  if (typeof value !== "string" || value.includes("\0")) throw new Error("no text");
  return `'${value.replaceAll("'", "''")}'`;
}

function columnName(name) {
  if (!/^[a-z][a-z0-9_]*$/.test(name)) throw new Error(`no name of a column: ${name}`);
  return `"${name}"`;
}

function typeOf(column) {
  if (!Object.hasOwn(types, column.type)) throw new Error(`no type: ${column.type}`);
  return types[column.type];
}

// Relative to the folder that this runs in: DuckDB takes some characters for a pattern, which
// the names of folders above may have.
function path(name) {
  if (!/^[a-z0-9][a-z0-9._-]*$/.test(name)) throw new Error(`no plain name of a file: ${name}`);
  return text(name);
}

function metadataList(metadata) {
  return Object.keys(metadata)
    .map((name) => `${columnName(name)}: ${text(String(metadata[name]))}`)
    .join(", ");
}

function constant(name, value) {
  if (!/^[A-Za-z0-9._~-]+$/.test(value)) throw new Error(`no fit value: ${value}`);
  return `${text(value)} AS ${columnName(name)}`;
}

function statement({ rows, parquet, constants, columns, metadata }) {
  const cells = columns.map((c) => `${text(c.name)}: ${text(typeOf(c).cell)}`);
  const wanted = columns.map((c) => {
    const name = columnName(c.name);
    return typeOf(c).column?.(name) ?? name;
  });
  wanted.unshift(...Object.keys(constants).map((name) => constant(name, constants[name])));
  return `COPY (SELECT ${wanted.join(", ")} FROM read_csv(${path(rows)},
      columns = {${cells.join(", ")}}, header = false, auto_detect = false, parallel = false,
      delim = ',', quote = '"', escape = '"', nullstr = '', allow_quoted_nulls = false,
      strict_mode = true, max_line_size = 1048576))
    TO ${path(parquet)} (FORMAT parquet, COMPRESSION zstd, ROW_GROUP_SIZE 122880,
      KV_METADATA {${metadataList(metadata)}})`;
}

function answer(object) {
  process.stdout.write(`${JSON.stringify(object)}\n`);
}

async function connect() {
  const { DuckDBInstance } = await import("@duckdb/node-api");
  const instance = await DuckDBInstance.create(":memory:", settings);
  return instance.connect();
}

// Whoever started this ends it by closing its input.
for (const signal of ["SIGINT", "SIGTERM", "SIGHUP"]) process.on(signal, () => {});

let connection;
try {
  connection = await connect();
} catch (error) {
  answer({ ready: false, error: String(error.message ?? error) });
  process.exit(1);
}
answer({ ready: true, protocol: 1 });

for await (const line of createInterface({ input: process.stdin })) {
  try {
    const result = await connection.run(statement(JSON.parse(line)));
    answer({ ok: true, rows: Number(result.rowsChanged) });
  } catch (error) {
    answer({ ok: false, error: String(error.message ?? error) });
  }
}
process.exit(0);
