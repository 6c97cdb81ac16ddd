// queries.mjs PAGE FOLDER: runs the SQL of the page in the folder, and holds the first query against what
// `tessary summary --json` says of each drive (drives/NAME.summary.json).
import {readFileSync} from 'node:fs';
import {createRequire} from 'node:module';

const [page, folder] = process.argv.slice(2);
const {DuckDBInstance} = createRequire(`${folder}/`)('@duckdb/node-api');
const queries = [...readFileSync(page, 'utf8').matchAll(/^```sql\n(.*?)^```$/gms)].map(match => match[1]);
process.chdir(folder);
const connection = await (await DuckDBInstance.create()).connect();

let first;
for (const query of queries) {
  console.log(query.trimEnd());
  const rows = (await connection.runAndReadAll(query)).getRowObjectsJson();
  if (rows.length === 0) throw new Error('no rows');
  console.table(rows);
  first ??= rows;
}

for (const {drive, samples, measured, mean, p95} of first) {
  const summary = JSON.parse(readFileSync(`drives/${drive.replace('.jsonl.gz', '')}.summary.json`));
  const load = summary.figures.find(figure => figure.figure === 'cpu.load_percent');
  const near = (one, other) => Math.abs(one - other) < 0.01;
  if (Number(samples) !== summary.samples || Number(measured) !== load.samples || !near(mean, load.mean) ||
      !near(p95, load.p95)) {
    throw new Error(`${drive}: ${samples} ${measured} ${mean} ${p95}, not ${JSON.stringify(load)}`);
  }
}
console.log(`${queries.length} queries; the load of ${first.length} drives is what tessary summary says`);
