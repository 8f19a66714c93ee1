// The package in a context that sounds.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { launch, openPage, serve } from './support.js';

let server, browser, page;

before(async () => {
    server = await serve();
    browser = await launch();
    page = await openPage(browser, server);
    await page.evaluate(async () => {
        const start = performance.now();
        const { createContext } = await import('/kalmarble/kalmarble.js');
        const { noise } = await import('/tests/render.js');
        const audio = new AudioContext();
        const kal = await createContext(audio);
        kal.output.connect(audio.destination);
        const buffer = await kal.buffer({ samples: noise({ seed: 5, frames: 48000, channels: 1 }), rate: 48000 });
        const errors = [];
        kal.addEventListener('error', ({ detail }) => errors.push(detail.message));
        const meters = () =>
            new Promise((resolve) => kal.addEventListener('meters', ({ detail }) => resolve(detail), { once: true }));
        Object.assign(window, { audio, kal, buffer, errors, meters, start });
    });
});

after(async () => {
    await browser?.close();
    server?.close();
    assert.deepEqual(page.faults, []);
});

test('a voice is heard on its side, measured, and ends', async (t) => {
    const { heard, first, measured, voices, errors, silent } = await page.evaluate(async () => {
        kal.listener({ position: [0, 1, 0], front: [1, 0, 0], up: [0, 1, 0] });
        const voice = kal.add(buffer, { position: [0, 1, 2], gain: 0.2, loop: true });
        let heard = await meters();
        while (heard.rms[1] === 0) heard = await meters();
        const first = performance.now() - start;
        await meters(); // of the voice alone
        heard = await meters();
        const measured = heard.measured.map((m) => ({ ...m, voice: m.voice === voice }));
        voice.stop();
        await voice.ended;
        const silent = await meters();
        return { heard, first, measured, voices: heard.voices, errors, silent };
    });
    t.diagnostic(`first sound reported after ${first.toFixed(0)} ms, load ${(100 * heard.load).toFixed(1)} %`);
    // Looking along +x, +z is on the right.
    assert.ok(heard.rms[1] > 1.5 * heard.rms[0], `${heard.rms}`);
    assert.ok(heard.peak[1] >= heard.rms[1] && heard.peak[1] <= 1);
    assert.deepEqual(measured, [{ voice: true, azimuth: 90, elevation: 0 }]);
    assert.equal(voices, 1);
    assert.equal(silent.voices, 0);
    assert.deepEqual(errors, []);
});

test('sound goes on while memory grows and with another head', async (t) => {
    const { rms, directions, underruns, errors } = await page.evaluate(async () => {
        const voice = kal.add(buffer, { position: [0, 1, 2], gain: 0.2, loop: true });
        const rms = [];
        const note = async () => {
            await meters(); // of before
            rms.push(...(await meters()).rms);
        };
        await note();
        const long = await kal.buffer({ samples: new Float32Array(5e6), rate: 48000 });
        await note();
        const file = await fetch('/data/hrtf.kalhrtfd').then((response) => response.arrayBuffer());
        const { directions } = await kal.head(file);
        await note();
        long.free();
        voice.stop();
        return { rms, directions, underruns: (await meters()).underruns, errors };
    });
    t.diagnostic(`${underruns} underruns`);
    assert.equal(directions.length, 710);
    for (let i = 2; i < rms.length; ++i) assert.ok(Math.abs(rms[i] / rms[i % 2] - 1) < 0.2, `${rms}`);
    assert.deepEqual(errors, []);
});

test('what is wrong is told, and the sound goes on', async () => {
    const told = await page.evaluate(async () => {
        const attempt = async (action) => {
            try {
                await action();
                return 'accepted';
            } catch (error) {
                return error.message;
            }
        };
        const voice = kal.add(buffer, { position: [0, 0, -1], gain: 0.1, loop: true });
        const told = [
            await attempt(() => voice.set({ speed: 0 })),
            await attempt(() => kal.add(buffer, { loop: [5, 5] })),
            await attempt(() => kal.move(voice, [0, NaN, 0])),
            await attempt(() => kal.head(new ArrayBuffer(99))),
            await attempt(() => kal.buffer({ samples: 'sound', rate: 48000 })),
        ];
        kal.add({ ...buffer, id: 12345 }); // no such buffer
        while (errors.length === 0) await meters();
        told.push(errors.pop(), (await meters()).voices);
        voice.stop();
        return told;
    });
    assert.deepEqual(told, [
        'expected a speed, 0.001 to 1000, found 0',
        'expected a loop [start, end] with 0 <= start < end <= 48000, found [5,5]',
        'expected a position of three numbers, -1e6 to 1e6, found [0,null,0]',
        'Invalid KAL HRTF data: wrong signature.',
        'expected an AudioBuffer or { samples: Float32Array or two of one length, rate }, found {"samples":"sound","rate":48000}',
        'There is no buffer 12345.',
        1,
    ]);
});
