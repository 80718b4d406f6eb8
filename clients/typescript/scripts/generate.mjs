// Makes src/messages.ts out of the schemas: generate.mjs [FILE]
import { readFileSync, readdirSync, writeFileSync } from 'node:fs';
import { fileURLToPath } from 'node:url';
import { compile } from 'json-schema-to-typescript';

const schemas = new URL('../../../schema/', import.meta.url);
const target = process.argv[2] ?? fileURLToPath(new URL('../src/messages.ts', import.meta.url));

/** What the generator would leave out of the types, said in the way that it understands. */
function prepared(schema) {
  if (Array.isArray(schema)) {
    return schema.map(prepared);
  }
  if (typeof schema !== 'object' || schema === null) {
    return schema;
  }
  const result = Object.fromEntries(Object.entries(schema).map(([key, value]) => [key, prepared(value)]));
  if (Object.keys(result).join() === 'description') {
    result.tsType = 'unknown';
  }
  if (result.type === 'object') {
    // An object of which nothing is known may hold anything; all others hold what is named.
    result.additionalProperties ??= result.properties === undefined;
    if (result.anyOf) {
      // Each alternative has the keys of the whole.
      const { properties, required, anyOf, additionalProperties } = result;
      return {
        anyOf: anyOf.map((one) => ({
          type: 'object',
          additionalProperties,
          properties: Object.fromEntries(
            Object.entries({ ...properties, ...one.properties }).map(([key, value]) => {
              const { tsType, ...known } = properties[key] ?? {};
              const named = Object.keys(value).some((word) => word !== 'description' && word !== 'tsType');
              return [key, { ...(named ? known : properties[key]), ...value }];
            }),
          ),
          required: [...new Set([...required, ...(one.required ?? [])])],
        })),
      };
    }
  }
  return result;
}

const all = Object.fromEntries(
  readdirSync(schemas)
    .filter((name) => name.endsWith('.schema.json'))
    .map((name) => [name, prepared(JSON.parse(readFileSync(new URL(name, schemas), 'utf8')))]),
);
let text = '// Made from the schemas by "npm run generate". Not to be edited.\n\n';
for (const name of ['commands.schema.json', 'events.schema.json']) {
  text += await compile(all[name], name, {
    bannerComment: '',
    style: { printWidth: 110, singleQuote: true },
    $refOptions: {
      resolve: {
        ours: {
          order: 1,
          canRead: (file) => /\.schema\.json$/.test(file.url),
          read: (file) => JSON.stringify(all[file.url.split('/').pop()]),
        },
      },
    },
  });
}
writeFileSync(target, text);
