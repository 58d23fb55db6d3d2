// Reads Parquet files by two readers that share no code with the one that wrote them, nor with each
// other: node readers.mjs FILE...
// Prints a line of JSON for each file and reader: its columns, and its rows with cells as text, all
// written alike: times as microseconds since 1970, decimals with their digits.
import {readFileSync} from 'node:fs';

import {DataType, tableFromIPC} from 'apache-arrow';
import {parquetMetadata, parquetReadObjects} from 'hyparquet';
import {compressors} from 'hyparquet-compressors';
import {readParquet} from 'parquet-wasm';

const DEGREES = 7; // digits behind the point

function text(value, is_decimal) {
  if (value === null || value === undefined) return null;
  if (value instanceof Date) return String(BigInt(value.getTime()) * 1000n);
  return is_decimal ? value.toFixed(DEGREES) : String(value);
}

async function byHyparquet(bytes) {
  const file = bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.byteLength);
  const columns = parquetMetadata(file).schema.slice(1).map(
    ({name, converted_type}) => ({name, is_decimal: converted_type === 'DECIMAL'}));
  const rows = await parquetReadObjects({file, compressors});
  return {columns: columns.map(({name}) => name),
          rows: rows.map((row) => columns.map((c) => text(row[c.name], c.is_decimal)))};
}

// Four words, least significant first, of a number in two's complement.
function decimalText(words, scale) {
  const whole = BigInt.asIntN(128, [...words].reduceRight((sum, w) => (sum << 32n) | BigInt(w), 0n));
  const digits = String(whole < 0n ? -whole : whole).padStart(scale + 1, '0');
  return `${whole < 0n ? '-' : ''}${digits.slice(0, -scale)}.${digits.slice(-scale)}`;
}

function arrowText(value, type) {
  if (value === null) return null;
  if (DataType.isDecimal(type)) return decimalText(value, type.scale);
  if (DataType.isTimestamp(type)) return String(BigInt(value) * 1000n);
  return String(value);
}

function byParquetWasm(bytes) {
  const table = tableFromIPC(readParquet(bytes).intoIPCStream());
  const columns = table.schema.fields.map(({name}) => name);
  const rows = Array.from({length: table.numRows}, (_, i) => table.schema.fields.map(
    ({type}, j) => arrowText(table.getChildAt(j).get(i), type)));
  return {columns, rows};
}

for (const file of process.argv.slice(2)) {
  const bytes = readFileSync(file);
  console.log(JSON.stringify({file, reader: 'hyparquet', ...await byHyparquet(bytes)}));
  console.log(JSON.stringify({file, reader: 'parquet-wasm', ...byParquetWasm(bytes)}));
}
