// Samples as pages have them.

import { number, refuse } from './checks.js';

/**
 * The channels, of one length, and the rate of an AudioBuffer or of { samples, rate }.
 * @param {any} source
 * @returns {{ rate: number, channels: Float32Array[] }}
 */
export function samplesOf(source) {
    const isAudioBuffer = typeof source?.getChannelData === 'function';
    const channels = isAudioBuffer
        ? Array.from({ length: source.numberOfChannels }, (_, i) => source.getChannelData(i))
        : [source?.samples].flat();
    if (
        !channels.length ||
        !channels.every((samples) => samples instanceof Float32Array && samples.length === channels[0].length)
    )
        refuse('an AudioBuffer or { samples: Float32Array or two of one length, rate }', source);
    if (channels.length > 2) throw new TypeError(`expected one or two channels, found ${channels.length}`);
    return { rate: number(isAudioBuffer ? source.sampleRate : source.rate, 1, 1e6, 'a sampling rate'), channels };
}

/** Frames first ... end - 1, interleaved, as a copy. @param {Float32Array[]} channels @param {number} first @param {number} end */
export function interleave(channels, first, end) {
    if (channels.length === 1) return channels[0].slice(first, end);
    const samples = new Float32Array(2 * (end - first));
    for (let i = first; i < end; ++i) {
        samples[2 * (i - first)] = channels[0][i];
        samples[2 * (i - first) + 1] = channels[1][i];
    }
    return samples;
}
