// polars.mjs PEERS TASK: sorts with the packages under PEERS and prints the seconds it took. Starting Node and loading
// the library do not count. TASK is JSON: inputs, output, separator, quote, columns (name -> "text" or "number"), keys
// (start, length, numeric, descending; none: whole lines), unique.

import { createRequire } from "node:module";

const [peers, argument] = process.argv.slice(2);
const pl = createRequire(`${peers}/`)("nodejs-polars");
const task = JSON.parse(argument);
const names = Object.keys(task.columns);
const schema = {};
for (const name of names) {
    schema[name] = task.columns[name] === "number" ? pl.Int64 : pl.Utf8;
}

function key_expression(key) {
    if (names.length > 1) {
        return pl.col(names[key.start - 1]);
    }
    const part = pl.col("line").str.slice(key.start, key.length);
    return key.numeric ? part.str.strip().cast(pl.Int64) : part;
}

const begin = process.hrtime.bigint();
const read = { hasHeader: false, sep: task.separator, quoteChar: task.quote, schema };
const frames = task.inputs.map((path) => pl.scanCSV(path, read));
let frame = frames.length > 1 ? pl.concat(frames) : frames[0];
if (task.unique) {
    frame = frame.unique();
}
const by = task.keys.length > 0 ? task.keys.map(key_expression) : [pl.col("line")];
frame = frame.sort(by, task.keys.length > 0 ? task.keys.map((key) => key.descending) : [false]);
const quoteStyle = task.quote === '"' ? "necessary" : "never";
frame.sinkCSV(task.output, { includeHeader: false, separator: task.separator, quoteStyle }).collectSync();
console.log(Number(process.hrtime.bigint() - begin) / 1e9);
