// What is delivered, and what it costs. Times are printed; they decide nothing.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { randomBytes } from 'node:crypto';
import { cpSync, mkdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { gzipSync } from 'node:zlib';

import { build, launch, openPage, root, serve } from './support.js';

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

test('a user installs it, type-checks against it and follows the README', async () => {
    const user = join(build, 'web-user');
    rmSync(user, { recursive: true, force: true });
    mkdirSync(user, { recursive: true });
    writeFileSync(join(user, 'package.json'), '{ "type": "module" }');
    const run = (...command) => execFileSync(command[0], command.slice(1), { cwd: user, encoding: 'utf8' });
    const tarball = run('npm', 'pack', '--silent', folder).trim();
    run('npm', 'install', '--offline', '--silent', '--no-audit', '--no-fund', `./${tarball}`);
    const installed = join(user, 'node_modules/kalmarble');
    for (const name of ['LICENSE', 'NOTICE']) assert.ok(readFileSync(join(installed, name)).length > 0);

    cpSync(join(root, 'tests/web/use.ts'), join(user, 'use.ts'));
    const how = '--noEmit --strict --target es2022 --module nodenext --moduleResolution nodenext'.split(' ');
    try {
        run(join(build, 'node/node_modules/.bin/tsc'), ...how, 'use.ts');
    } catch (error) {
        assert.fail(error.stdout);
    }

    const [, example] = readFileSync(join(installed, 'README.md'), 'utf8').match(/```js\n([^]*?)```/);
    const server = await serve();
    const browser = await launch();
    try {
        const page = await openPage(browser, server);
        await page.route('**/bee.ogg', (route) => route.fulfill({ path: '/usr/share/sounds/alsa/Noise.wav' }));
        const [rms, frames] = await page.evaluate(async (code) => {
            const add = (type, text) =>
                document.head.append(Object.assign(document.createElement('script'), { type, text }));
            const imports = { kalmarble: '/installed/kalmarble.js', 'kalmarble/scene': '/installed/scene.js' };
            add('importmap', JSON.stringify({ imports }));
            const done = new Promise((resolve) => (window.done = resolve));
            add('module', `${code}; done(kal);`);
            const kal = await done;
            const heard = () =>
                new Promise((resolve) =>
                    kal.addEventListener('meters', ({ detail }) => resolve(detail.rms[1]), { once: true }),
                );
            while ((await heard()) === 0);
            const { openScene } = await import('/installed/scene.js');
            const scene = '{ "sounds": [{ "synth": { "kind": "tone", "frequency": 440 } }], "length": 0.5 }';
            return [await heard(), (await openScene(scene)).frames];
        }, example);
        assert.ok(rms > 1e-3);
        assert.equal(frames, 24000);
        assert.deepEqual(page.faults, []);
    } finally {
        await browser.close();
        server.close();
    }
});

test('what a quantum and a start cost', async (t) => {
    const server = await serve();
    const browser = await launch();
    try {
        const page = await openPage(browser, server);
        for (const voices of [0, 1, 64, 256]) {
            const micros = await page.evaluate(async (count) => (await import('/tests/cost.js')).cost(count), voices);
            t.diagnostic(`${voices} moving voices with sends: ${micros.toFixed(0)} us of a quantum's 2667`);
        }
        const fresh = await openPage(browser, server);
        const { parts, underruns } = await fresh.evaluate(async () => (await import('/tests/cost.js')).start());
        t.diagnostic(`start, in ms: ${JSON.stringify(parts)}, then ${underruns} underruns`);
    } finally {
        await browser.close();
        server.close();
    }
});
