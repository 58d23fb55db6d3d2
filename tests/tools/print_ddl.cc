#include "tests/tools/print_ddl.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string>
#include <vector>

#include "tools/read/columns.h"
#include "tools/read/json_line.h"

namespace vmr::test {
namespace {

using tool::Column;
using tool::ColumnType;

// Of ColumnType, in its order.
using TypeNames = std::array<const char*, 7>;

constexpr const char* kWrittenBy =
    "-- Written by `vmr_schema --ddl docs/lake/ddl`. The lake's tables, schema version ";

// How the SQL of an engine differs from that of others.
struct Engine {
  const char* file;
  const char* head;  // comment lines behind those that every file has
  TypeNames types;
  char quote;                 // around names
  const char* quote_in_text;  // for a ' within '...'
  const char* remark;         // of a column, {} being the text
  std::string (*table)(const Engine&, const std::string& table);
};

std::string Named(const Engine& engine, const std::string& name) {
  return engine.quote + name + engine.quote;
}

const char* TypeOf(const Engine& engine, ColumnType type) {
  return engine.types[static_cast<std::size_t>(type)];
}

std::string Explained(const Column& column) {
  return column.unit + (column.unit.empty() || column.what.empty() ? "" : ": ") + column.what;
}

std::string InText(const Engine& engine, const std::string& text) {
  std::string quoted;
  for (const char letter : text)
    quoted += letter == '\'' ? std::string(engine.quote_in_text) : std::string(1, letter);
  return quoted;
}

// "  name TYPE remark" each, with commas between.
std::string Listed(const Engine& engine, const std::string& table, bool with_date) {
  std::vector<std::string> lines;
  for (const Column& column : tool::LakeColumns(table)) {
    const std::string what = Explained(column);
    lines.push_back("  " + Named(engine, column.name) + ' ' + TypeOf(engine, column.type));
    if (!what.empty())
      lines.back() += ' ' + fmt::format(fmt::runtime(engine.remark), InText(engine, what));
  }
  if (with_date) lines.push_back("  " + Named(engine, "date") + " DATE");
  return fmt::format("{}", fmt::join(lines, ",\n"));
}

std::string FolderOf(const std::string& table) {
  return (tool::IsPartitioned(table) ? "kind=" : "") + table;
}

// "-- position: where the vehicle is"
std::string Told(const std::string& table) {
  return "\n-- " + table + ": " + tool::WhatOf(table) + '\n';
}

std::string DuckDbColumns(const Engine& engine, const std::string& table) {
  std::vector<std::string> lines;
  for (const Column& column : tool::LakeColumns(table))
    lines.push_back(
        fmt::format("NULL::{} AS {}", TypeOf(engine, column.type), Named(engine, column.name)));
  if (tool::IsPartitioned(table))
    lines.insert(lines.end(), {"NULL::VARCHAR AS \"kind\"", "NULL::DATE AS \"date\""});
  return fmt::format("{}", fmt::join(lines, ",\n        "));
}

// A folder's files, as one table that has its columns even where there is no file.
std::string DuckDbRows(const Engine& engine, const std::string& table) {
  return fmt::format(R"((SELECT {1}
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_{0}')))",
                     table, DuckDbColumns(engine, table));
}

// What the recordings are is taken down before the files of any kind are listed: what an export
// puts in place later has no row there.
std::string DuckDbRecordings(const Engine& engine) {
  const std::string table = tool::kRecordingsTable;
  return fmt::format(
      R"(SET VARIABLE lake_{0} = lake_rows('/{0}/*.parquet', '');
CREATE OR REPLACE TEMP TABLE "{0}" AS
FROM {1};
SET VARIABLE lake_by_name = (SELECT count(DISTINCT schema_version) > 1 FROM {0});
)",
      table, DuckDbRows(engine, table));
}

std::string DuckDbTable(const Engine& engine, const std::string& table) {
  if (table == tool::kRecordingsTable) return DuckDbRecordings(engine);
  const bool is_partitioned = tool::IsPartitioned(table);
  return fmt::format(
      R"(SET VARIABLE lake_{0} = lake_rows('/{1}/*.parquet', '{2}');
CREATE OR REPLACE TEMP VIEW "{0}" AS
FROM (FROM {3}) SEMI JOIN recordings USING (unit, recording);
)",
      table, FolderOf(table) + (is_partitioned ? "/*" : ""),
      is_partitioned ? ", hive_types = {kind: VARCHAR, date: DATE}" : "",
      DuckDbRows(engine, table));
}

std::string SparkTable(const Engine& engine, const std::string& table) {
  const bool is_partitioned = tool::IsPartitioned(table);
  std::string made = fmt::format(
      "CREATE TABLE IF NOT EXISTS vmr.`{}` (\n{}\n) USING parquet\n{}LOCATION "
      "'s3a://BUCKET/lake/{}';\n",
      table, Listed(engine, table, is_partitioned),
      is_partitioned ? "PARTITIONED BY (`date`)\n" : "", FolderOf(table));
  if (is_partitioned) made += fmt::format("MSCK REPAIR TABLE vmr.`{}`;\n", table);
  return made;
}

std::string TrinoTable(const Engine& engine, const std::string& table) {
  const bool is_partitioned = tool::IsPartitioned(table);
  std::string made = fmt::format(
      "CREATE TABLE IF NOT EXISTS hive.vmr.\"{}\" (\n{}\n) WITH (\n  format = 'PARQUET',\n{}"
      "  external_location = 's3://BUCKET/lake/{}'\n);\n",
      table, Listed(engine, table, is_partitioned),
      is_partitioned ? "  partitioned_by = ARRAY['date'],\n" : "", FolderOf(table));
  if (is_partitioned)
    made += fmt::format("CALL hive.system.sync_partition_metadata('vmr', '{}', 'FULL');\n", table);
  return made;
}

std::string AthenaTable(const Engine& engine, const std::string& table) {
  const bool is_partitioned = tool::IsPartitioned(table);
  std::string made = fmt::format(
      "CREATE EXTERNAL TABLE IF NOT EXISTS vmr.`{}` (\n{}\n)\n{}STORED AS PARQUET\nLOCATION "
      "'s3://BUCKET/lake/{}/';\n",
      table, Listed(engine, table, false), is_partitioned ? "PARTITIONED BY (`date` DATE)\n" : "",
      FolderOf(table));
  if (is_partitioned) made += fmt::format("MSCK REPAIR TABLE vmr.`{}`;\n", table);
  return made;
}

std::string BigQueryTable(const Engine& engine, const std::string& table) {
  const std::string folder = "gs://BUCKET/lake/" + FolderOf(table);
  const bool is_partitioned = tool::IsPartitioned(table);
  return fmt::format(
      "CREATE OR REPLACE EXTERNAL TABLE vmr.`{}` (\n{}\n)\n{}OPTIONS (\n  format = 'PARQUET',\n"
      "{}  uris = ['{}/*.parquet']\n);\n",
      table, Listed(engine, table, false),
      is_partitioned ? "WITH PARTITION COLUMNS (`date` DATE)\n" : "",
      is_partitioned ? "  hive_partition_uri_prefix = '" + folder + "',\n" : "", folder);
}

const Engine kEngines[] = {
    {"duckdb.sql",
     R"(-- Views over the lake in the folder that the variable `lake` names; 'lake' if it is not set:
--   SET VARIABLE lake = '/data/lake';
-- They are of this session. Its first table, the recordings, is taken down as it is now, and the
-- views show rows of these recordings alone: each whole, and none that an export is still at. Run
-- it again in the next session, and when the lake has grown. A kind without a file has its columns
-- and no rows.

SET VARIABLE lake = coalesce(getvariable('lake'), 'lake');

-- What reads the files of a folder, as text; no file is an error to read_parquet. By itself that
-- goes by the columns of the first file and opens no other that a query does not need. Where files
-- were written with different schema versions it has to look into all of them first (by_name), else
-- columns that came later would be missing.
SET VARIABLE lake_by_name = true;
CREATE OR REPLACE TEMP MACRO lake_rows(place, options) AS (
  SELECT CASE WHEN count(*) = 0 THEN 'SELECT NULL::VARCHAR AS unit WHERE false'
              ELSE 'FROM read_parquet(''' || replace(getvariable('lake') || place, '''', '''''')
                   || ''', union_by_name = ' || getvariable('lake_by_name') || options || ')' END
  FROM (FROM glob(getvariable('lake') || place) LIMIT 1)
);
)",
     {"BOOLEAN", "INTEGER", "BIGINT", "DECIMAL(10,7)", "VARCHAR", "VARCHAR", "TIMESTAMP"},
     '"',
     "''",
     "",
     DuckDbTable},
    {"spark.sql",
     R"(-- For Spark 3.4 or later. Put the lake's place for s3a://BUCKET/lake. MSCK REPAIR TABLE makes new
-- days known: run it when the lake has grown. Checked by a parser of Spark's SQL, and run on none.

CREATE DATABASE IF NOT EXISTS vmr;
)",
     {"BOOLEAN", "INT", "BIGINT", "DECIMAL(10,7)", "STRING", "STRING", "TIMESTAMP_NTZ"},
     '`',
     "\\'",
     "COMMENT '{}'",
     SparkTable},
    {"trino.sql",
     R"(-- For Trino's Hive connector, as the catalog `hive`. Put the lake's place for s3://BUCKET/lake.
-- sync_partition_metadata makes new days known: call it when the lake has grown. Checked by a
-- parser of Trino's SQL, and run on none.

CREATE SCHEMA IF NOT EXISTS hive.vmr;
)",
     {"BOOLEAN", "INTEGER", "BIGINT", "DECIMAL(10,7)", "VARCHAR", "VARCHAR", "TIMESTAMP(3)"},
     '"',
     "''",
     "COMMENT '{}'",
     TrinoTable},
    {"athena.sql",
     R"(-- For Athena, one statement at a time. Put the lake's place for s3://BUCKET/lake. MSCK REPAIR TABLE
-- makes new days known: run it when the lake has grown. Checked by a parser of Hive's SQL, and
-- run on none.

CREATE DATABASE IF NOT EXISTS vmr;
)",
     {"BOOLEAN", "INT", "BIGINT", "DECIMAL(10,7)", "STRING", "STRING", "TIMESTAMP"},
     '`',
     "\\'",
     "COMMENT '{}'",
     AthenaTable},
    {"bigquery.sql",
     R"(-- For BigQuery: external tables. Put the lake's place for gs://BUCKET/lake. A kind without a file
-- cannot be queried. Checked by a parser of BigQuery's SQL, and run on none.

CREATE SCHEMA IF NOT EXISTS vmr;
)",
     {"BOOL", "INT64", "INT64", "NUMERIC(10,7)", "STRING", "STRING", "DATETIME"},
     '`',
     "\\'",
     "OPTIONS (description = '{}')",
     BigQueryTable},
};

// Rows of every kind side by side: the columns that all have.
std::string AllRecords() {
  std::vector<std::string> parts;
  for (const records::KindRow& kind : records::Kinds())
    parts.push_back(
        fmt::format("SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, "
                    "run, date FROM "
                    "\"{}\"",
                    kind.name));
  return fmt::format(
      "\n-- records: rows of every kind, by what they have in common\n"
      "CREATE OR REPLACE TEMP VIEW \"records\" AS\n{};\n",
      fmt::join(parts, "\nUNION ALL "));
}

constexpr const char* kCompaction =
    R"(-- Writes a lake anew with one file for each kind and day, for DuckDB; run it behind duckdb.sql:
--   mkdir compacted
--   node tools/lake/query.mjs lake docs/lake/ddl/compact.sql --set compacted=compacted
-- The folder that the variable names has to be there and to be empty. The new lake is for reading:
-- `vmr export` goes on writing to the one that it knows.

SELECT CASE WHEN coalesce(getvariable('compacted'), '') = ''
            THEN error('say where to write: --set compacted=FOLDER (or SET VARIABLE compacted = '
                       || '''FOLDER'';), a folder that is there and is empty') END;
)";

// What is there now; `folder` is kind=position, gaps and the like.
constexpr const char* kWritten =
    R"(
SELECT split_part(substr(file, length(getvariable('compacted')) + 2), '/', 1) AS folder,
       count(*) AS files
FROM glob(getvariable('compacted') || '/**/*.parquet')
GROUP BY folder
ORDER BY folder;
)";

std::string Compaction(const std::string& table) {
  const bool is_partitioned = tool::IsPartitioned(table);
  const bool is_of_records = is_partitioned && table != tool::kClockStepKind;
  return fmt::format(
      R"(COPY (SELECT *{} FROM "{}" ORDER BY unit, recording{})
TO (getvariable('compacted') || '/{}') (FORMAT parquet, COMPRESSION zstd, {});
)",
      is_partitioned ? " EXCLUDE (kind)" : "", table,
      is_of_records                     ? ", run, tick, cluster, \"offset\""
      : table == tool::kRecordingsTable ? ""
                                        : ", cluster, \"offset\"",
      FolderOf(table), is_partitioned ? "PARTITION_BY (date)" : "FILE_SIZE_BYTES '1GB'");
}

// The recordings come first: they say which versions the files of others have.
std::vector<std::string> InOrder() {
  std::vector<std::string> tables = tool::LakeTables();
  const auto recordings = std::find(tables.begin(), tables.end(), tool::kRecordingsTable);
  std::rotate(tables.begin(), recordings, recordings + 1);
  return tables;
}

bool PrintCompaction(const std::filesystem::path& folder) {
  std::ofstream file(folder / "compact.sql");
  file << kWrittenBy << tool::kSchemaVersion << ".\n" << kCompaction;
  for (const std::string& table : InOrder()) file << '\n' << Compaction(table);
  file << kWritten;
  file.flush();
  return file.good();
}

bool Print(const std::filesystem::path& folder, const Engine& engine) {
  std::ofstream file(folder / engine.file);
  file << kWrittenBy << tool::kSchemaVersion << ".\n" << engine.head;
  for (const std::string& table : InOrder()) file << Told(table) << engine.table(engine, table);
  if (engine.table == DuckDbTable) file << AllRecords();
  file.flush();
  return file.good();
}

}  // namespace

bool PrintDdl(const std::filesystem::path& folder) {
  bool printed = PrintCompaction(folder);
  for (const Engine& engine : kEngines) printed = Print(folder, engine) && printed;
  return printed;
}

}  // namespace vmr::test
