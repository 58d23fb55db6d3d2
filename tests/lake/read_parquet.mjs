// Answers statements about Parquet files: a JSON list of them on standard input, a JSON list
// of lists of rows on standard output, values as DuckDB shows them.
import { createRequire } from "node:module";
import { readFileSync } from "node:fs";
import { pathToFileURL } from "node:url";

const lake = createRequire(new URL("../../tools/lake/package.json", import.meta.url));
const { DuckDBInstance } = await import(pathToFileURL(lake.resolve("@duckdb/node-api")));
const instance = await DuckDBInstance.create(":memory:", {
  threads: "1",
  autoinstall_known_extensions: "false",
  autoload_known_extensions: "false",
});
const connection = await instance.connect();
const answers = [];
for (const statement of JSON.parse(readFileSync(0, "utf8")))
  answers.push((await connection.runAndReadAll(statement)).getRowsJson());
process.stdout.write(JSON.stringify(answers));
