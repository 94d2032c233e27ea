// SPDX-License-Identifier: Apache-2.0
// node columns.mjs PACKAGES CSV DATABASE: copies the file into a table of a new database on one
// thread and prints the processor time of COPY and CHECKPOINT in seconds, and the number of rows.
import { createRequire } from 'node:module';

const [packages, csv, database] = process.argv.slice(2);
const { DuckDBInstance } = createRequire(`${packages}/`)('@duckdb/node-api');
const instance = await DuckDBInstance.create(database, {
  threads: '1',
  autoinstall_known_extensions: 'false',
  autoload_known_extensions: 'false',
});
const connection = await instance.connect();
await connection.run(
    'CREATE TABLE measurement(part VARCHAR, process VARCHAR, test VARCHAR, subgroup BIGINT, ' +
    'time TIMESTAMP, value DOUBLE)');
const before = process.cpuUsage();
await connection.run(`COPY measurement FROM '${csv.replaceAll("'", "''")}' (HEADER)`);
await connection.run('CHECKPOINT');
const used = process.cpuUsage(before);
const counted = await connection.runAndReadAll('SELECT count(*) FROM measurement');
console.log((used.user + used.system) / 1e6, String(counted.getRows()[0][0]));
connection.closeSync();
