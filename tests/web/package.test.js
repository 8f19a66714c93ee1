// What is delivered, and what it costs. Times are printed; they decide nothing.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { randomBytes } from 'node:crypto';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { gzipSync } from 'node:zlib';

import { build, launch, openPage, serve } from './support.js';

const folder = join(build, 'wasm-release/web/package');
const MOST_BYTES = 700e3;
const MOST_COMPRESSED = 250e3;

const isSmall = (bytes) => bytes.length <= MOST_BYTES && gzipSync(bytes, { level: 9 }).length <= MOST_COMPRESSED;

test('the module is small', (t) => {
    for (const name of ['kalmarble.wasm', 'kalmarble-scene.wasm']) {
        const bytes = readFileSync(join(folder, name));
        t.diagnostic(`${name}: ${bytes.length} bytes, ${gzipSync(bytes, { level: 9 }).length} compressed`);
    }
    const module = readFileSync(join(folder, 'kalmarble.wasm'));
    assert.ok(isSmall(module));
    assert.ok(!isSmall(randomBytes(255e3)), 'what does not compress is refused');
    assert.ok(!isSmall(Buffer.alloc(701e3)), 'what is too long is refused');
});

test('the package holds all that its files ask for', () => {
    const [{ files }] = JSON.parse(
        execFileSync('npm', ['pack', '--json', '--dry-run'], { cwd: folder, encoding: 'utf8' }),
    );
    const names = files.map(({ path }) => path);
    for (const name of names.filter((path) => /\.(js|json|d\.ts)$/.test(path))) {
        const text = readFileSync(join(folder, name), 'utf8');
        const asked = text.matchAll(
            /(?:from |import\(|: |MODULE = |Module\(|URL\()['"](?:\.\/)?([\w-]+\.(?:js|wasm|d\.ts))['"]/g,
        );
        for (const [, file] of asked)
            assert.ok(names.includes(file) || names.includes(file.replace('.js', '.d.ts')), `${name} asks for ${file}`);
    }
    for (const name of ['LICENSE', 'NOTICE', 'README.md', 'index.d.ts', 'scene.d.ts'])
        assert.ok(names.includes(name), name);
});

test('what a quantum costs', async (t) => {
    const server = await serve();
    const browser = await launch();
    try {
        const page = await openPage(browser, server);
        for (const voices of [0, 1, 64, 256]) {
            const micros = await page.evaluate(async (count) => (await import('/tests/cost.js')).cost(count), voices);
            t.diagnostic(`${voices} moving voices with sends: ${micros.toFixed(0)} us of a quantum's 2667`);
        }
    } finally {
        await browser.close();
        server.close();
    }
});
