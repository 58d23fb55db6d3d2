// Runs queries over a lake of recordings and prints what they give.
//
//   node query.mjs LAKE QUERY.sql... [--format table|csv|json] [--set NAME=VALUE]...
//
// Knows no kind and no column itself: the views come from docs/lake/ddl/duckdb.sql, which is
// written from the program's own tables. Exit codes: 0 every query ran, 1 something could not be
// read or run, 2 wrong usage.
import {existsSync, readdirSync, readFileSync, statSync} from 'node:fs';
import path from 'node:path';
import {fileURLToPath} from 'node:url';
import {parseArgs} from 'node:util';

// From a checkout's tools/lake, and from where it is installed, share/vmr/lake.
const VIEWS = ['../../docs', '../../doc/vmr']
  .map((docs) => path.resolve(path.dirname(fileURLToPath(import.meta.url)), docs,
                              'lake/ddl/duckdb.sql'))
  .find((file, i, files) => existsSync(file) || i === files.length - 1);

const HELP = `Runs queries over a lake that \`vmr export --layout lake\` wrote.
Usage: node query.mjs LAKE QUERY.sql... [OPTIONS]

  --format FORMAT   table (the default), csv (of one query), json (a line a query)
  --set NAME=VALUE  A variable that a query reads by getvariable('NAME'); repeatable
  --help            Print this help message and exit

A query is a file of DuckDB's SQL; what its last statement gives is printed. The
views are named as the kinds of records (position, speed, input, ...), and
recordings, gaps and records (rows of all kinds). A line "-- needs FILE.sql" in a
query's comments has that file, named from the query's folder, run in front of it.
Times are in UTC.

Exit codes: 0 every query ran, 1 something could not be read or run, 2 wrong usage.
`;

class Refused extends Error {}   // what the user is told, with exit code 1
class Misused extends Refused {} // with exit code 2

function commandLine(words) {
  const options = {format: {type: 'string', default: 'table'}, help: {type: 'boolean'},
                   set: {type: 'string', multiple: true, default: []}};
  let parsed;
  try {
    parsed = parseArgs({args: words, options, allowPositionals: true});
  } catch (error) {
    throw new Misused(error.message.split('. ')[0]);
  }
  const {values, positionals: [lake, ...queries]} = parsed;
  if (values.help) return {help: true};
  if (queries.length === 0) throw new Misused('a LAKE and at least one QUERY.sql are needed');
  if (!['table', 'csv', 'json'].includes(values.format))
    throw new Misused(`--format ${values.format}: it is table, csv or json`);
  if (values.format === 'csv' && queries.length > 1)
    throw new Misused('--format csv takes one query: tables of several would run into one another');
  return {lake, queries, format: values.format, variables: values.set.map(variable)};
}

function variable(text) {
  const [, name, value] = /^([A-Za-z_]\w*)=(.*)$/s.exec(text) ?? [];
  if (name === undefined) throw new Misused(`--set ${text}: it is NAME=VALUE`);
  return {name, value};
}

function checkLake(lake) {
  if (!existsSync(lake)) throw new Refused(`${lake}: no such folder`);
  if (!statSync(lake).isDirectory()) throw new Refused(`${lake}: is no folder`);
  const is_part = (name) => /^(kind=.+|recordings|gaps|_vmr)$/.test(name);
  if (!readdirSync(lake).some(is_part))
    throw new Refused(`${lake}: holds no lake (no recordings, gaps or kind=...); make one with ` +
                      '`vmr export --layout lake --root ' + lake + ' PATH...`');
}

function textOf(file) {
  try {
    return readFileSync(file, 'utf8');
  } catch (error) {
    const reason = {ENOENT: 'no such file', EISDIR: 'is a folder', EACCES: 'may not be read'};
    throw new Refused(`${file}: ${reason[error.code] ?? error.message}`);
  }
}

async function engine() {
  try {
    return (await import('@duckdb/node-api')).DuckDBInstance;
  } catch (error) {
    if (error.code !== 'ERR_MODULE_NOT_FOUND') throw error;
    throw new Refused('DuckDB for Node is not installed; run scripts/setup --lake');
  }
}

// Extensions that DuckDB would fetch from elsewhere stay away: what is needed is built in.
async function connect() {
  const instance = await (await engine()).create(
    ':memory:', {autoinstall_known_extensions: 'false', autoload_known_extensions: 'false'});
  return instance.connect();
}

const quoted = (text) => `'${text.replaceAll("'", "''")}'`;
// The lake's name stands in patterns: what a pattern takes for its own is put in brackets.
const inPattern = (name) => name.replace(/[*?[]/g, '[$&]');

// Statements that are comments only are an error to DuckDB that does not say so.
const isBlank = (sql) => /^(\s|;|--.*(\n|$))*$/.test(sql);

// Errors of these kinds are the query's own. The others may come of a damaged file, which they
// do not always name.
const OF_QUERIES = /^(Binder|Catalog|Conversion|Invalid Input|Out of Range|Parser|Syntax) Error/;
const DAMAGED = '\nif a file of the lake is damaged: exporting the recordings once more replaces it';

async function run(connection, file) {
  const text = textOf(file);
  if (isBlank(text)) throw new Refused(`${file}: has no statement`);
  try {
    const statements = await connection.extractStatements(text);
    let last;
    for (let i = 0; i < statements.count; ++i)
      last = await (await statements.prepare(i)).runAndReadAll();
    return last;
  } catch (error) {
    const message = error.message.trim();
    const is_of_query = OF_QUERIES.test(message) && !message.includes('.parquet');
    throw new Refused(`${file}: ${message}${is_of_query ? '' : DAMAGED}`);
  }
}

// Control characters, and those that turn text around, never reach a terminal.
const HIDDEN = /[\p{Cc}\p{Zl}\p{Zp}\u061c\u200b-\u200f\u202a-\u202e\u2060-\u2069\ufeff]/gu;
const shown = (text) => text.replace(
  HIDDEN, (character) => '\\u' + character.codePointAt(0).toString(16).padStart(4, '0'));

const NUMBERS = /^(U?(TINYINT|SMALLINT|INTEGER|BIGINT|HUGEINT)|DECIMAL.*|FLOAT|DOUBLE)$/;

function tableOf(result) {
  const columns = result.columnNames().map((name, i) => (
    {name, is_number: NUMBERS.test(result.columnTypes()[i].toString())}));
  return {columns, rows: result.getRowsJson()};
}

function plain(value) {
  if (value === null) return 'NULL';
  return shown(typeof value === 'object' ? JSON.stringify(value) : String(value));
}

function asTable({columns, rows}) {
  const cells = [columns.map(({name}) => shown(name)), ...rows.map((row) => row.map(plain))];
  const length = (text) => [...text].length;
  const widths = columns.map(
    (_, i) => cells.reduce((most, row) => Math.max(most, length(row[i])), 0));
  const line = (row) => row.map((text, i) => {
    const padding = ' '.repeat(widths[i] - length(text));
    return columns[i].is_number ? padding + text : text + padding;
  }).join('  ').trimEnd() + '\n';
  const rule = widths.map((width) => '-'.repeat(width)).join('  ') + '\n';
  const count = rows.length === 1 ? '(1 row)' : `(${rows.length} rows)`;
  return line(cells[0]) + rule + cells.slice(1).map(line).join('') + count + '\n';
}

// NULL is an empty cell, an empty text "". What a spreadsheet would take for a formula has an
// apostrophe in front, as in the tables of `vmr export --format csv`.
function csvCell(value, is_number) {
  if (value === null) return '';
  let text = typeof value === 'object' ? JSON.stringify(value) : String(value);
  if (is_number) return text;
  if (/^[=+\-@\t\r\n]/.test(text)) text = `'${text}`;
  return text === '' || /[",\r\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text;
}

function asCsv({columns, rows}) {
  const lines = [columns.map(({name}) => csvCell(name, false)),
                 ...rows.map((row) => row.map((cell, i) => csvCell(cell, columns[i].is_number)))];
  return lines.map((cells) => cells.join(',') + '\r\n').join('');
}

// Whole numbers and decimals stand with all their digits, whatever a reader makes of them.
function asJson({columns, rows}, name) {
  const text = (cell, i) => (
    typeof cell === 'string' && columns[i].is_number && /^-?\d+(\.\d+)?$/.test(cell)
      ? cell : JSON.stringify(cell));
  const objects = rows.map((row) => (
    `{${row.map((cell, i) => `${JSON.stringify(columns[i].name)}:${text(cell, i)}`).join(',')}}`));
  return `{"query":${JSON.stringify(name)},"rows":[${objects.join(',')}]}\n`;
}

function print(result, name, format, is_first) {
  const table = tableOf(result);
  if (format === 'json') return asJson(table, name);
  if (format === 'csv') return asCsv(table);
  return `${is_first ? '' : '\n'}== ${shown(name)}\n${asTable(table)}`;
}

function complain(error) {
  process.stderr.write(`query: ${error.message.split('\n').map(shown).join('\n')}\n`);
}

const NEEDS = /^-- needs (\S+\.sql)\s*$/gm;

// What a query needs is run once, however many need it.
async function prepare(connection, file, done) {
  for (const [, needed] of textOf(file).matchAll(NEEDS)) {
    const found = path.resolve(path.dirname(file), needed);
    if (done.has(found)) continue;
    await run(connection, found);
    done.add(found);
  }
}

// One bad query does not stop the others.
async function answer(connection, {queries, format}) {
  let failed = false;
  const done = new Set();
  for (const [i, file] of queries.entries()) {
    try {
      await prepare(connection, file, done);
      const result = await run(connection, file);
      process.stdout.write(print(result, path.basename(file, '.sql'), format, i === 0));
    } catch (error) {
      if (!(error instanceof Refused)) throw error;
      complain(error);
      failed = true;
    }
  }
  return failed ? 1 : 0;
}

// Those that are there: the files that queries need, too.
function withNeeded(files) {
  const all = new Set();
  for (const file of files) {
    all.add(file);
    if (!existsSync(file) || statSync(file).isDirectory()) continue;
    for (const [, needed] of textOf(file).matchAll(NEEDS))
      all.add(path.resolve(path.dirname(file), needed));
  }
  return [...all].filter((file) => existsSync(file) && !statSync(file).isDirectory());
}

// A variable that no query reads is a mistyped one, and would change nothing.
function checkVariables({queries, variables}) {
  const read = withNeeded(queries).flatMap(
    (file) => [...textOf(file).matchAll(/getvariable\(\s*'(\w+)'\s*\)/g)].map(([, name]) => name));
  const unread = variables.find(({name}) => !read.includes(name));
  if (unread === undefined) return;
  const known = [...new Set(read)].sort().join(', ');
  throw new Misused(`--set ${unread.name}: no query given reads it; ` +
                    (known === '' ? 'they read none' : `they read ${known}`));
}

async function main(words) {
  const order = commandLine(words);
  if (order.help) {
    process.stdout.write(HELP);
    return 0;
  }
  checkVariables(order);
  checkLake(order.lake);
  const connection = await connect();
  await connection.run(`SET VARIABLE lake = ${quoted(inPattern(order.lake))}`);
  for (const {name, value} of order.variables)
    await connection.run(`SET VARIABLE ${name} = ${quoted(value)}`);
  await run(connection, VIEWS);
  return answer(connection, order);
}

// A reader that has seen enough, such as `head`, is no error.
process.stdout.on('error', (error) => process.exit(error.code === 'EPIPE' ? 0 : 1));

main(process.argv.slice(2)).then((code) => { process.exitCode = code; }, (error) => {
  if (!(error instanceof Refused)) throw error;
  complain(error);
  if (error instanceof Misused) process.stderr.write('query: `node query.mjs --help` tells more\n');
  process.exitCode = error instanceof Misused ? 2 : 1;
});
