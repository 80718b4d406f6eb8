// Makes dist/validate.js out of the schemas of the commands: code that needs no library when it runs.
import { copyFileSync, readFileSync, readdirSync, writeFileSync } from 'node:fs';
import Ajv from 'ajv-draft-04';
import standalone from 'ajv/dist/standalone/index.js';

const schemas = new URL('../../../schema/', import.meta.url);
const ajv = new Ajv({ code: { source: true, esm: true }, allErrors: true, strict: false });
const names = {};
for (const file of readdirSync(schemas)) {
  const name = /^command-(.*)\.schema\.json$/.exec(file)?.[1];
  if (name) {
    ajv.addSchema(JSON.parse(readFileSync(new URL(file, schemas), 'utf8')), name);
    names[`validate_${name}`] = name;
  }
}
const code = standalone.default(ajv, names);
if (/\brequire\(|\bimport\b/.test(code)) {
  throw new Error('the code needs a library');
}
const table = Object.entries(names).map(([name, command]) => `${JSON.stringify(command)}: ${name}`);
writeFileSync(
  new URL('../dist/validate.js', import.meta.url),
  `// Made from the schemas. Not to be edited.\n${code}\nexport const validators = {${table.join(', ')}};\n`,
);
copyFileSync(new URL('../src/validate.d.ts', import.meta.url), new URL('../dist/validate.d.ts', import.meta.url));
