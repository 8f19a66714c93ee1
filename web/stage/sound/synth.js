import { rate } from '../scene/curve.js';
import { randomNumbers } from '../scene/random.js';

/** @import { Synth } from '../scene/types.js' */
/** @typedef {(length: number, synth: Synth) => Float64Array} Kind */

/** @type {Kind} */
function noise(n, { seed = 1 }) {
    const random = randomNumbers(seed);
    return Float64Array.from({ length: n }, () => random.next().value / 2147483648 - 1);
}

/** @type {Kind} */
function tone(n, { frequency = 440, harmonics = 1 }) {
    const samples = new Float64Array(n);
    let sum = 0;
    for (let k = 1; k <= harmonics && k * frequency < rate / 2; ++k) {
        sum += 1 / k;
        for (let i = 0; i < n; ++i) samples[i] += Math.sin(2 * Math.PI * ((((k * frequency) / rate) * i) % 1)) / k;
    }
    return samples.map((x) => x / Math.max(1, sum));
}

// The phase is the integral of f (t/f)^(i/n).
/** @type {Kind} */
function sweep(n, { frequency = 440, to = 440 }) {
    const octaves = Math.log(to / frequency);
    return new Float64Array(n).map((_, i) => {
        const t = i / n,
            cycles = Math.abs(octaves) < 1e-9 ? t : Math.expm1(octaves * t) / octaves;
        return Math.sin(2 * Math.PI * ((((frequency * n) / rate) * cycles) % 1));
    });
}

// A ring of noise that each pass dulls (K. Karplus, A. Strong, Computer Music Journal 7 (1983)).
/** @type {Kind} */
function pluck(n, synth) {
    const ring = noise(Math.max(2, Math.trunc(rate / (synth.frequency ?? 440))), synth);
    return new Float64Array(n).map((_, i) => {
        const k = i % ring.length,
            x = ring[k];
        ring[k] = 0.498 * (x + ring[(i + 1) % ring.length]);
        return x;
    });
}

/** @type {Kind} */
function step(n, synth) {
    let dull = 0;
    return noise(n, synth).map((x, i) => {
        const t = i / rate;
        dull += 0.3 * (x - dull);
        return dull * (Math.exp(-t / 0.012) + (t < 0.09 ? 0 : 0.6 * Math.exp((0.09 - t) / 0.03)));
    });
}

const click = (/** @type {number} */ n) => Float64Array.from({ length: n }, (_, i) => (i === 0 ? 1 : 0));

const kinds = { noise, tone, sweep, pluck, step, click };

/** What a scene's "synth" sounds like: mono, at `rate`, within -1 ... 1. @param {Synth} synth */
export function synthesize(synth) {
    const { kind, duration = 1, attack = 0, decay = 0 } = synth;
    const samples = kinds[kind](Math.max(1, Math.round(duration * rate)), synth);
    return Float32Array.from(samples, (x, i) => {
        const t = i / rate;
        return x * (t < attack ? t / attack : 1) * (decay > 0 ? 10 ** ((-3 * Math.max(0, t - attack)) / decay) : 1);
    });
}
