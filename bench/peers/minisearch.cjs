// usage: node --expose-gc minisearch.cjs PACKAGE FOLDER ERRORS
//
// MiniSearch over the lines of FOLDER/records: each field of a query in its own field, with as many errors a word, or
// with that part of its letters wrong when less than 1. Queries that come after a minute are left out.
const fs = require('fs');
const readline = require('readline');
const path = require('path');

const BEST = 10;
const SECONDS = 60;
const [packageFolder, folder, errors] = process.argv.slice(2);
const MiniSearch = require(path.join(path.resolve(packageFolder), 'dist/cjs/index.cjs'));

async function forEachLine(name, use) {
  const lines = readline.createInterface({input: fs.createReadStream(path.join(folder, name))});
  for await (const line of lines) use(line.split('\t'));
}

async function main() {
  let index = null;
  let fields = [];
  let count = 0;
  const start = performance.now();
  await forEachLine('records', values => {
    if (index === null) {
      fields = values.map((_, i) => 'f' + i);
      index = new MiniSearch({fields});
    }
    const record = {id: ++count};
    values.forEach((value, i) => record[fields[i]] = value);
    index.add(record);
  });
  const built = (performance.now() - start) / 1000;

  const times = [];
  let found = 0;
  const end = performance.now() + 1000 * SECONDS;
  await forEachLine('queries', ([record, ...values]) => {
    const begin = performance.now();
    if (begin > end) return;
    const queries = values.map((value, i) => ({queries: [value], fields: [fields[i]], fuzzy: Number(errors)}));
    const best = index.search({combineWith: 'OR', queries}).slice(0, BEST);
    times.push(1000 * (performance.now() - begin));
    if (best.some(hit => hit.id === Number(record))) ++found;
  });
  times.sort((a, b) => a - b);
  global.gc();
  const memory = process.memoryUsage();
  const megabytes = (memory.heapUsed + memory.external) / 1e6;
  console.log(`median ${times[times.length >> 1]} us, 99 % ${times[Math.floor(times.length * 0.99)]} us, ` +
    `memory ${megabytes} MB, found ${found} of ${times.length}, built in ${built} s`);
}

main();
