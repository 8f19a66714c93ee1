// Measures, in the page, what so many voices cost that move 60 times a second in a room, and what a start takes.

import { createContext, preload } from '/kalmarble/kalmarble.js';
import { noise } from '/tests/render.js';

const RATE = 48000;
const SECONDS = 8;

/** Microseconds of a quantum of 128 frames, averaged over an offline run. */
export async function cost(count) {
    const audio = new OfflineAudioContext(2, SECONDS * RATE, RATE);
    const kal = await createContext(audio);
    kal.output.connect(audio.destination);
    kal.room({ dimensions: [12, 5, 20] });
    const buffer = await kal.buffer({ samples: noise({ seed: 1, frames: RATE, channels: 1 }), rate: 44100 });
    const around = (i, t) => [3 * Math.sin(i + t), Math.sin(7 * i), 3 * Math.cos(i + t)];
    const voices = Array.from({ length: count }, (_, i) =>
        kal.add(buffer, { position: around(i, 0), gain: 1 / 256, speed: 0.9 + i / 1000, loop: true }),
    );
    for (let at = 0; at < SECONDS * RATE; at += RATE / 60)
        voices.forEach((voice, i) => kal.move(voice, around(i, at / RATE), at));
    await kal.settled();
    const start = performance.now();
    await audio.startRendering();
    return ((performance.now() - start) * 1000) / ((SECONDS * RATE) / 128);
}

/**
 * Milliseconds of the parts of a start. All but the last, until the meters show a hundred voices, can come before a
 * click. And how often the context ran out of sound in the two seconds after.
 */
export async function start() {
    const parts = {};
    let last = performance.now();
    const note = (part) => {
        parts[part] = Math.round(performance.now() - last);
        last = performance.now();
    };
    await preload();
    note('module');
    const audio = new AudioContext();
    audio.suspend();
    note('AudioContext');
    await preload(audio);
    note('worklet');
    const kal = await createContext(audio);
    kal.output.connect(audio.destination);
    note('engine');
    const buffer = await kal.buffer({ samples: noise({ seed: 1, frames: RATE, channels: 1 }), rate: RATE });
    note('buffer');
    for (let i = 0; i < 100; ++i)
        kal.add(buffer, { position: [Math.sin(i), 0, Math.cos(i)], gain: 1 / 256, loop: true });
    audio.resume();
    const heard = () =>
        new Promise((resolve) => kal.addEventListener('meters', ({ detail }) => resolve(detail), { once: true }));
    while ((await heard()).rms[0] === 0);
    note('first sound');
    await new Promise((resolve) => setTimeout(resolve, 2000));
    return { parts, underruns: (await heard()).underruns };
}
