// duckdb.mjs PEERS THREADS [SETTING...] QUERY: runs the statements with the packages under PEERS and prints the seconds
// the last one took. Starting Node and loading the library do not count.

import { createRequire } from "node:module";

const [peers, threads, ...statements] = process.argv.slice(2);
const { DuckDBInstance } = createRequire(`${peers}/`)("@duckdb/node-api");
const instance = await DuckDBInstance.create(":memory:", { threads });
const connection = await instance.connect();
const query = statements.pop();
for (const setting of statements) {
    await connection.run(setting);
}
const begin = process.hrtime.bigint();
await connection.run(query);
console.log(Number(process.hrtime.bigint() - begin) / 1e9);
process.exit(0); // without taking memory apart
