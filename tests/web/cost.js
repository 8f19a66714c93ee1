// Measures, in the page, what so many voices cost that move 60 times a second in a room.

import { createContext } from '/kalmarble/kalmarble.js';
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
