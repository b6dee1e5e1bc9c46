// Runs files of SQL in a folder with DuckDB, and prints the rows of the last statement of each as a line of JSON.
// Arguments: where the npm package @duckdb/node-api is installed, the folder, the files.
import fs from "node:fs";
import {createRequire} from "node:module";

const [place, folder, ...files] = process.argv.slice(2);
const {DuckDBInstance} = createRequire(place + "/")("@duckdb/node-api");
process.chdir(folder);
const connection = await (await DuckDBInstance.create(":memory:")).connect();
for (const file of files) {
  const statements = await connection.extractStatements(fs.readFileSync(file, "utf8"));
  let rows = [];
  for (let i = 0; i < statements.count; ++i) {
    const prepared = await statements.prepare(i);
    rows = await (await prepared.runAndReadAll()).getRowObjectsJson();
  }
  console.log(JSON.stringify(rows));
}
