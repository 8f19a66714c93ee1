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
        const { createContext } = await import('/kalmarble/kalmarble.js');
        const attempt = async (action) => {
            try {
                await action();
                return 'accepted';
            } catch (error) {
                return error.message;
            }
        };
        const voice = kal.add(buffer, { position: [0, 0, -1], gain: 0.1, loop: true });
        const other = await createContext(audio);
        const freed = await kal.buffer({ samples: new Float32Array(9), rate: 48000 });
        freed.free();
        freed.free();
        const cyclic = [];
        cyclic.push(cyclic);
        const told = [
            await attempt(() => voice.set({ speed: 0 })),
            await attempt(() => kal.add(buffer, { loop: [5, 5] })),
            await attempt(() => kal.move(voice, [0, NaN, '0'])),
            await attempt(() => kal.move(voice, cyclic)),
            await attempt(() => kal.head(new ArrayBuffer(99))),
            await attempt(() => kal.head('bytes')),
            await attempt(() => kal.buffer({ samples: 'sound', rate: 48000 })),
            await attempt(() => kal.buffer({ samples: [], rate: 48000 })),
            await attempt(() => kal.add(freed)),
            await attempt(() => other.add(buffer)),
            await attempt(() => other.move(voice, [0, 0, 1])),
            await attempt(() => createContext(document)),
            await attempt(() => createContext(new OfflineAudioContext(2, 128, 3000))),
            await attempt(() => createContext(audio, { head: new Uint8Array(8) })),
        ];
        kal.output.port.postMessage({ calls: [['add', 999, 12345, ...new Array(12).fill(1)]] }); // past the checks
        while (errors.length === 0) await meters();
        told.push(errors.pop(), (await meters()).voices);
        other.close();
        voice.stop();
        return told;
    });
    assert.deepEqual(told, [
        'expected a speed, 0.001 to 1000, found 0',
        'expected a loop [start, end] with 0 <= start < end <= 48000, found [5, 5]',
        'expected a position of three numbers, -1e6 to 1e6, found [0, NaN, "0"]',
        'expected a position of three numbers, -1e6 to 1e6, found [Array]',
        'Invalid KAL HRTF data: wrong signature.',
        'expected an ArrayBuffer or a Uint8Array, found "bytes"',
        'expected an AudioBuffer or { samples: Float32Array or two of one length, rate }, found { samples: "sound", rate: 48000 }',
        'expected an AudioBuffer or { samples: Float32Array or two of one length, rate }, found { samples: Array, rate: 48000 }',
        "expected a buffer of this context's, not freed, found { id: 6, channels: 1, frames: 9, rate: 48000, free: function }",
        "expected a buffer of this context's, not freed, found { id: 1, channels: 1, frames: 48000, rate: 48000, free: function }",
        "expected a voice of this context's, found Voice",
        'expected an AudioContext, found HTMLDocument',
        'Invalid sampling rate: 3000.000000',
        'Invalid KAL HRTF data: wrong signature.',
        'There is no buffer 12345.',
        1,
    ]);
});

test('voices end however they are treated', async () => {
    await page.evaluate(async () => {
        const empty = await kal.buffer({ samples: new Float32Array(0), rate: 48000 });
        const [none, beyond, twice, early] = [kal.add(empty), kal.add(buffer), kal.add(buffer), kal.add(buffer)];
        beyond.seek(1e9);
        twice.stop();
        twice.stop();
        early.set({ gain: 2 }, 1e12);
        early.stop(0);
        const crowd = Array.from({ length: 5000 }, () =>
            kal.add(buffer, { position: [1, 0, 0], gain: 1e-4, loop: true }),
        );
        await kal.settled();
        crowd.forEach((voice) => voice.stop());
        await Promise.all([none, beyond, twice, early, ...crowd].map(({ ended }) => ended));
        early.set({ gain: 1 });
        if (errors.length) throw new Error(errors.join());
        while ((await meters()).voices > 0);
    });
});

test('a context that is suspended goes on, and what is closed says so', async () => {
    const told = await page.evaluate(async () => {
        const { createContext } = await import('/kalmarble/kalmarble.js');
        const context = new AudioContext();
        context.suspend();
        const own = await createContext(context);
        own.output.connect(context.destination);
        const sound = await own.buffer({ samples: new Float32Array(48000).fill(0.1), rate: 48000 });
        const voices = Array.from({ length: 50 }, () => own.add(sound, { loop: true, gain: 1 / 64 }));
        for (let i = 0; i < 2000; ++i) for (const voice of voices) own.move(voice, [1, 0, i / 1000]);
        await own.settled();
        const next = () =>
            new Promise((resolve) => own.addEventListener('meters', ({ detail }) => resolve(detail), { once: true }));
        context.resume();
        const heard = await next();
        const told = [heard.voices, heard.rms[1] > heard.rms[0]];
        context.close();
        await Promise.all(voices.map(({ ended }) => ended));
        for (const action of [
            () => own.buffer({ samples: new Float32Array(9), rate: 48000 }),
            () => own.settled(),
            async () => own.add(sound),
        ])
            told.push(await action().catch((error) => error.message));
        voices[0].stop();
        own.close();
        return [...told, await createContext(context).catch((error) => error.message)];
    });
    const closed = 'The audio context was closed.';
    assert.deepEqual(told, [50, true, closed, closed, closed, closed]);
});

// An instruction that traps stands in for one of the module's functions, once a voice is told to seek.
const TRAP = [0, 97, 115, 109, 1, 0, 0, 0, 1, 4, 1, 96, 0, 0, 3, 2, 1, 0, 7, 5, 1, 1, 116, 0, 0, 10, 5, 1, 3, 0, 0, 11];
const trap = `new WebAssembly.Instance(new WebAssembly.Module(new Uint8Array([${TRAP}]))).exports.t()`;
const ILL = {
    'a call': `seek: () => ${trap}`,
    rendering: `seek: () => (this.isIll = true), report: () => (this.isIll ? ${trap} : instance.exports.report())`,
};
for (const [what, functions] of Object.entries(ILL)) {
    test(`an engine that traps in ${what} says so, is silent, and another one sounds`, async () => {
        const illServer = await serve({
            '/kalmarble/engine.js': (text) =>
                text.replace('= instance.exports;', `= { ...instance.exports, ${functions} };`),
        });
        const ill = await openPage(browser, illServer);
        const told = await ill.evaluate(async () => {
            const { createContext } = await import('/kalmarble/kalmarble.js');
            const audio = new AudioContext();
            const analyser = new AnalyserNode(audio);
            const samples = new Float32Array(2048);
            const isHeard = () => (analyser.getFloatTimeDomainData(samples), samples.some((x) => x !== 0));
            const told = [];
            for (let i = 0; i < 2; ++i) {
                const kal = await createContext(audio);
                kal.output.connect(analyser);
                const errors = [];
                kal.addEventListener('error', ({ detail }) => errors.push(detail));
                const buffer = await kal.buffer({ samples: new Float32Array(48000).fill(0.1), rate: 48000 });
                const voice = kal.add(buffer, { local: true, loop: true });
                while (!isHeard()) await new Promise((resolve) => setTimeout(resolve, 1));
                voice.seek(5);
                await voice.ended;
                told.push(errors, await kal.head(null).catch((error) => error.message));
                while (isHeard()) await new Promise((resolve) => setTimeout(resolve, 10));
            }
            return told;
        });
        const message = 'The engine has stopped (unreachable); createContext() makes another.';
        assert.deepEqual(told, [[{ message, fatal: true }], message, [{ message, fatal: true }], message]);
        assert.deepEqual(ill.faults, []);
        await ill.close();
        illServer.close();
    });
}
