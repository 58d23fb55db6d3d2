// Has DDL parsed by parsers that others wrote: node parse_ddl.mjs ENGINE FILE. Prints the number of
// statements, or what is wrong and ends with 1.
import {readFileSync} from 'node:fs';
import {register} from 'node:module';

register('./resolve_folders.mjs', import.meta.url);

const [engine, file] = process.argv.slice(2);
const text = readFileSync(file, 'utf8');

async function withGrammar(name) {
  const parser = new (await import('dt-sql-parser'))[name]();
  const errors = parser.validate(text);
  if (errors.length > 0) throw new Error(errors.map((e) => `${e.startLine}: ${e.message}`).join('\n'));
  return parser.splitSQLByStatement(text).length;
}

async function asBigQuery() {
  const {parse} = await import('sql-parser-cst');
  return parse(text, {dialect: 'bigquery'}).statements.filter(({type}) => type !== 'empty').length;
}

const parsers = {
  spark: () => withGrammar('SparkSQL'),
  trino: () => withGrammar('TrinoSQL'),
  athena: () => withGrammar('HiveSQL'),
  bigquery: asBigQuery,
};

try {
  console.log(await parsers[engine]());
} catch (error) {
  console.error(error.message);
  process.exitCode = 1;
}
