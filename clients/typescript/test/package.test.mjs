// What is published, what it is made from, and what it needs.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, readdirSync, rmSync } from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const root = fileURLToPath(new URL('..', import.meta.url));
const read = (name) => readFileSync(path.join(root, name), 'utf8');

test('the types are what the schemas give', () => {
  const folder = mkdtempSync(path.join(os.tmpdir(), 'vdipc-types-'));
  try {
    const fresh = path.join(folder, 'messages.ts');
    execFileSync(process.execPath, [path.join(root, 'scripts/generate.mjs'), fresh]);
    assert.equal(read('src/messages.ts'), readFileSync(fresh, 'utf8'), 'npm run generate brings them up to date');
  } finally {
    rmSync(folder, { recursive: true });
  }
});

test('the package holds README, types and sources, and nothing else', () => {
  const [{ files }] = JSON.parse(
    execFileSync('npm', ['pack', '--dry-run', '--json', '--ignore-scripts'], { cwd: root, encoding: 'utf8' }),
  );
  const units = ['client', 'frame', 'index', 'messages', 'wire'];
  assert.deepEqual(
    new Set(files.map((file) => file.path)),
    new Set([
      'README.md',
      'package.json',
      'src/validate.d.ts',
      'dist/validate.js',
      'dist/validate.d.ts',
      ...units.flatMap((unit) => [`src/${unit}.ts`, `dist/${unit}.js`, `dist/${unit}.d.ts`]),
    ]),
  );
});

test('nothing but Node is needed to run it', () => {
  const { dependencies, peerDependencies, optionalDependencies } = JSON.parse(read('package.json'));
  assert.deepEqual([dependencies, peerDependencies, optionalDependencies], [undefined, undefined, undefined]);
  for (const file of readdirSync(path.join(root, 'dist')).filter((name) => name.endsWith('.js'))) {
    for (const [, name] of read(`dist/${file}`).matchAll(/(?:from|import|require)\s*\(?\s*['"]([^'"]+)['"]/g)) {
      assert.match(name, /^(node:|\.\/)/, file);
    }
  }
});

test('the versions are pinned, and nobody’s host is named', () => {
  const lock = JSON.parse(read('package-lock.json'));
  const named = Object.entries(lock.packages).filter(([name]) => name !== '');
  assert.ok(named.length > 10);
  for (const [name, one] of named) {
    assert.match(one.integrity, /^sha512-/, name);
    assert.equal(one.resolved, undefined, name);
  }
  for (const version of Object.values(JSON.parse(read('package.json')).devDependencies)) {
    assert.match(version, /^\d+\.\d+\.\d+$/);
  }
});
