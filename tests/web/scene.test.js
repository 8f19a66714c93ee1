// Scene files in the browser against kalrender.

import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';

import { build, distanceDb, launch, openPage, readWav, root, serve } from './support.js';

const kalrender = join(build, 'linux-release/tools/kalrender/kalrender');
let server, browser, page;

before(async () => {
    server = await serve();
    browser = await launch();
    page = await openPage(browser, server);
});

after(async () => {
    await browser?.close();
    server?.close();
    assert.deepEqual(page.faults, []);
});

/** What a page makes of a scene: the bytes of a WAV file's samples. */
async function inPage(scene, bits) {
    const text = await page.evaluate(
        async ([given, bitsOfSample]) => {
            const { renderScene, wav } = await import('/kalmarble/scene.js');
            const { textOf } = await import('/tests/render.js');
            const sound = async (name) => fetch(name).then((response) => (response.ok ? response.arrayBuffer() : null));
            const { left, right, samplingRate } = await renderScene(given, { sound });
            const file = await wav([left, right], samplingRate, bitsOfSample).arrayBuffer();
            return textOf(new Uint8Array(file, 44));
        },
        [scene, bits],
    );
    return new Uint8Array(Buffer.from(text, 'base64'));
}

/** What kalrender makes of a scene. */
function natively(path, bits) {
    const out = join(build, 'web-scene.wav');
    execFileSync(kalrender, [path, '-o', out, '--kernels', 'SSE2', '-q', '--bits', bits]);
    return readWav(out);
}

for (const name of ['walk', 'room', 'flyover']) {
    test(`${name}.json sounds as kalrender has it`, async (t) => {
        const path = join(root, 'scenes', `${name}.json`);
        const found = new Float32Array((await inPage(readFileSync(path, 'utf8'), 32)).buffer);
        const distance = distanceDb(natively(path, 'float').floats(), found);
        t.diagnostic(`${distance.toFixed(1)} dB`);
        assert.ok(distance < -100, `${distance} dB apart`);
    });
}

test('a recording of 16 or 24 bits is the same file', async () => {
    const path = join(root, 'scenes/room.json');
    const scene = readFileSync(path, 'utf8');
    for (const bits of [16, 24]) {
        const [expected, found] = [natively(path, String(bits)).bytes, await inPage(scene, bits)];
        let differing = Math.abs(expected.length - found.length);
        for (let i = 0; i < expected.length; ++i) differing += expected[i] !== found[i];
        assert.ok(
            differing <= expected.length / 1e4,
            `${differing} of ${expected.length} bytes differ at ${bits} bits`,
        );
    }
});

test('all that is wrong is told in the words of kalrender', async () => {
    const wrong =
        '{ "sounds": [{ "file": "no.wav", "gain": "loud" }, { "synth": { "kind": "hiss" }, "start": -1 }], "x": 1 }';
    const errorsOf = (text, title) =>
        page.evaluate(
            async (given) => {
                const { openScene } = await import('/kalmarble/scene.js');
                const sound = async () => Promise.reject(new Error('it is elsewhere'));
                return openScene(given.text, { title: given.title, sound }).catch((error) => error.errors);
            },
            { text, title },
        );
    for (const text of [wrong, '{ "sounds": [', '[]']) {
        const file = join(build, 'web-wrong.json');
        writeFileSync(file, text);
        const { stderr } = spawnSync(kalrender, [file, '-o', join(build, 'web-wrong.wav')], { encoding: 'utf8' });
        const expected = stderr.trim().split('\n');
        assert.deepEqual(
            await errorsOf(text, file),
            expected.map((line) => line.replace('kalrender: ', '')),
        );
    }
    assert.deepEqual(await errorsOf('{ "sounds": [{ "file": "no.wav" }], "length": 1 }'), [
        'scene: /sounds/0/file: expected a sound file that can be read, found "no.wav": it is elsewhere',
    ]);
});
