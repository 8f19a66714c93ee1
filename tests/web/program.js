// A program of six seconds in which everything happens that the engine can be told.

const RATE = 48000;
const FRAMES = 6 * RATE;

/** @returns a program: sounds, and what happens to them when, in the order of time */
export function program() {
    const buffers = [
        { seed: 1, frames: 60000, channels: 1, rate: 44100 },
        { seed: 2, frames: 90000, channels: 1, rate: 48000 },
        { seed: 3, frames: 150000, channels: 2, rate: 48000 },
    ];
    const events = [
        { at: 0, room: { dimensions: [6, 3, 5], wetA: 0.9, wetB: 0.9 } },
        { at: 0, add: { buffer: 0, position: [1, 0.5, -2], gain: 0.08, loop: true } },
        { at: 1000, add: { buffer: 1, position: [-2, -1, -1], gain: 0.1, loop: [100, 80000], speed: 1.3, offset: 50 } },
        { at: 5001, add: { buffer: 2, position: [3, 0, 1], gain: 0.04 } },
        { at: 7777, add: { buffer: 0, position: [1, 0, 0.5], gain: 0.1, relative: true, occlusion: 0.6 } },
        { at: 100000, add: { buffer: 1, gain: 0.03, local: true } },
        { at: 61234, voice: 1, set: { speed: 0.7 } },
        { at: 70000, voice: 1, set: { occlusion: 0.9, gain: 0.2 } },
        { at: 90011, voice: 0, seek: 12345 },
        { at: 130000, room: { dimensions: [25, 12, 40], wetA: 0.95, wetB: 0.95 } },
        { at: 200003, voice: 1, stop: true },
        { at: 220000, voice: 0, set: { referenceDistance: 3 } },
        { at: 260000, voice: 0, stop: true },
    ];
    for (let at = 300; at < FRAMES; at += 487) {
        const t = at / RATE;
        events.push({ at, voice: 0, set: { position: [3 * Math.sin(t), 0.5 * t, -3 * Math.cos(1.3 * t)] } });
        if (at > 1000) events.push({ at, voice: 1, set: { position: [-2 + t, Math.sin(5 * t), 2 - t] } });
    }
    for (let at = 800; at < FRAMES; at += 1601) {
        const t = at / RATE;
        const front = [Math.sin(t), 0, -Math.cos(t)];
        events.push({ at, listener: { position: [0.2 * t, 0, 0], front } });
    }
    events.sort((a, b) => a.at - b.at);
    return { samplingRate: RATE, frames: FRAMES, buffers, events };
}
