// Scene files, as the program kalrender reads and renders them.

import * as check from './checks.js';
import { Engine } from './engine.js';
import { loadModule } from './loading.js';
import { interleave, samplesOf } from './sounds.js';

const PIECE = 12000; // frames between two looks at the page

/** All that is wrong with a scene. */
export class SceneError extends Error {
    /** @param {string} message a line for each fault */
    constructor(message) {
        super(message);
        this.name = 'SceneError';
        this.errors = message.split('\n');
    }
}

/**
 * @param {string} text
 * @param {import('./scene.js').SceneOptions} [options]
 */
export async function openScene(text, { samplingRate = 48000, sound, head, title = 'scene' } = {}) {
    check.number(samplingRate, 4000, 318000, 'a sampling rate');
    const engine = new Engine(await loadModule('kalmarble-scene.wasm'));
    for (const name of filesOf(text)) await give(engine, name, samplingRate, sound);
    const encoder = new TextEncoder();
    const isOpen = engine.withBytes(encoder.encode(text), (...document) =>
        engine.withBytes(encoder.encode(title), (...name) =>
            engine.withBytes(check.bytes(head), (...bytes) =>
                engine.exports.open(...document, ...name, samplingRate, ...bytes),
            ),
        ),
    );
    if (!isOpen) throw new SceneError(engine.problem() ?? 'The scene cannot be opened.');
    return new Scene(engine, samplingRate);
}

/**
 * @param {string} text
 * @param {import('./scene.js').SceneOptions & { progress?: (frame: number) => void }} [options]
 */
export async function renderScene(text, options = {}) {
    const scene = await openScene(text, options);
    const pieces = [];
    let length = 0;
    for (let piece = scene.render(PIECE); piece.length > 0; piece = scene.render(PIECE)) {
        pieces.push(piece);
        length += piece.length / 2;
        options.progress?.(length);
        await new Promise((resume) => setTimeout(resume));
    }
    const [left, right] = [new Float32Array(length), new Float32Array(length)];
    let at = 0;
    for (const piece of pieces) {
        for (let i = 0; i < piece.length; i += 2, ++at) {
            left[at] = piece[i];
            right[at] = piece[i + 1];
        }
    }
    return { samplingRate: scene.samplingRate, left, right };
}

/**
 * @param {Float32Array[]} channels
 * @param {number} samplingRate
 * @param {16 | 24 | 32} [bits]
 */
export function wav(channels, samplingRate, bits = 32) {
    if (![16, 24, 32].includes(bits)) check.refuse('16, 24 or 32 bits', bits);
    const bytes = bits / 8;
    const size = channels.length * channels[0].length * bytes;
    const view = new DataView(new ArrayBuffer(44 + size));
    const text = (/** @type {number} */ at, /** @type {string} */ letters) =>
        [...letters].forEach((letter, i) => view.setUint8(at + i, letter.charCodeAt(0)));
    text(0, 'RIFF');
    view.setUint32(4, 36 + size, true);
    text(8, 'WAVEfmt ');
    view.setUint32(16, 16, true);
    view.setUint16(20, bits === 32 ? 3 : 1, true); // floats or whole numbers
    view.setUint16(22, channels.length, true);
    view.setUint32(24, samplingRate, true);
    view.setUint32(28, samplingRate * channels.length * bytes, true);
    view.setUint16(32, channels.length * bytes, true);
    view.setUint16(34, bits, true);
    text(36, 'data');
    view.setUint32(40, size, true);
    let at = 44;
    for (let i = 0; i < channels[0].length; ++i) {
        for (const channel of channels) {
            if (bits === 32) view.setFloat32(at, channel[i], true);
            else setWhole(view, at, whole(channel[i], bits), bits);
            at += bytes;
        }
    }
    return new Blob([view.buffer], { type: 'audio/wav' });
}

// To the nearest whole number, of two equally near ones the even: what adding and taking away so large a number does.
/** @param {number} x @param {number} bits */
function whole(x, bits) {
    const fullScale = 2 ** (bits - 1);
    const large = 1.5 * 2 ** 52;
    return Math.max(-fullScale, Math.min(fullScale - 1, x * fullScale + large - large));
}

/** @param {DataView} view @param {number} at @param {number} value @param {number} bits */
function setWhole(view, at, value, bits) {
    view.setInt16(at, bits === 16 ? value : value & 0xffff, true);
    if (bits === 24) view.setInt8(at + 2, value >> 16);
}

/** @implements {SceneOfPackage} */
class Scene {
    #engine;
    #pointer = 0;
    #room = 0; // frames that fit there

    /** @param {Engine} engine @param {number} samplingRate */
    constructor(engine, samplingRate) {
        this.#engine = engine;
        this.samplingRate = samplingRate;
        /** @type {number} */
        this.frames = engine.exports.frames();
    }

    /** @param {number} numFrames */
    render(numFrames) {
        const { exports } = this.#engine;
        check.number(numFrames, 0, 2 ** 24, 'a number of frames');
        if (numFrames > this.#room) {
            exports.release(this.#pointer);
            this.#pointer = exports.allocate(8 * numFrames);
            if (!this.#pointer) throw new Error('There is not enough memory.');
            this.#room = numFrames;
        }
        const count = exports.render(this.#pointer, numFrames);
        if (count < 0) throw new Error(this.#engine.problem() ?? 'The scene cannot be rendered.');
        return this.#engine.floats(this.#pointer, 2 * count).slice();
    }

    /** @param {number} frame */
    places(frame) {
        return this.#at(frame).sounds;
    }

    /** @param {number} frame */
    listener(frame) {
        return this.#at(frame).listener;
    }

    /** @param {number} frame */
    #at(frame) {
        const pointer = this.#engine.exports.places(frame);
        if (!pointer) throw new Error(this.#engine.problem() ?? 'The scene cannot be read.');
        return JSON.parse(this.#engine.text(pointer));
    }
}

/** @typedef {import('./scene.js').Scene} SceneOfPackage */

/** The names of the sound files in a scene; none where it is not as it should be, which the module tells. @param {string} text */
function filesOf(text) {
    try {
        const files = JSON.parse(text).sounds.map((/** @type {any} */ sound) => sound.file);
        return new Set(files.filter((/** @type {unknown} */ file) => typeof file === 'string'));
    } catch {
        return new Set();
    }
}

// Asks the page for a sound and gives the module what came, or why nothing did.
/** @param {Engine} engine @param {string} name @param {number} rate @param {((name: string) => any) | undefined} sound */
async function give(engine, name, rate, sound) {
    const encoded = new TextEncoder().encode(name);
    const { exports } = engine;
    const pass = (/** @type {Uint8Array} */ bytes, /** @type {any} */ use, /** @type {number[]} */ ...more) =>
        engine.withBytes(encoded, (...file) => engine.withBytes(bytes, (...given) => use(...file, ...given, ...more)));
    try {
        let source = await sound?.(name);
        if (!source) throw new Error('there is no such file, or it cannot be read');
        if (source instanceof ArrayBuffer) {
            if (pass(new Uint8Array(source), exports.wav)) return;
            source = await decoded(source, rate, engine.problem() ?? 'it cannot be read');
        }
        const samples = samplesOf(source);
        const all = interleave(samples.channels, 0, samples.channels[0].length);
        pass(new Uint8Array(all.buffer), exports.samples, samples.channels.length, samples.rate);
    } catch (error) {
        const reason = error instanceof Error ? error.message : String(error);
        pass(new TextEncoder().encode(reason), exports.absent);
    }
}

/** What the browser makes of a sound file, at the scene's rate. @param {ArrayBuffer} bytes @param {number} rate @param {string} problem */
async function decoded(bytes, rate, problem) {
    if (typeof OfflineAudioContext === 'undefined') throw new Error(problem);
    try {
        return await new OfflineAudioContext(1, 1, rate).decodeAudioData(bytes.slice(0));
    } catch {
        throw new Error(problem);
    }
}
