// The page's side of the engine: tells the audio thread what to do, hands over sounds, and hears what was heard.

import * as check from './checks.js';
import { Engine } from './engine.js';
import { loadModule } from './loading.js';
import { interleave, samplesOf } from './sounds.js';

/** @typedef {import('./index.js').VoiceChange} VoiceChange */
/** @typedef {import('./index.js').VoiceOptions} VoiceOptions */
/** @typedef {import('./index.js').Room} Room */
/** @typedef {import('./index.js').Direction} Direction */
/** @typedef {import('./index.js').Vector} Vector */
/** @typedef {import('./index.js').Kal} KalOfPackage */
/** @typedef {import('./index.js').Voice} VoiceOfPackage */

const MODULE = 'kalmarble.wasm';

const CLOSED = 'The engine was closed.';
const CONTEXT_CLOSED = 'The audio context was closed.';

const PIECE = 1 << 15; // samples that are handed over at a time

// A function that adds two vectors of numbers and one that catches: what the module needs and older browsers lack.
const NEEDS = {
    'WebAssembly SIMD': [1, 4, 1, 96, 0, 0, 3, 2, 1, 0, 10, 9, 1, 7, 0, 65, 0, 253, 15, 26, 11],
    'WebAssembly exceptions': [1, 4, 1, 96, 0, 0, 3, 2, 1, 0, 10, 8, 1, 6, 0, 6, 64, 25, 11, 11],
};

/**
 * What this browser lacks for the engine, as a sentence, or null.
 * @returns {string | null}
 */
export function missing() {
    if (typeof AudioWorkletNode === 'undefined')
        return 'This browser, or a page that is not served by HTTPS or from this machine, has no AudioWorklet.';
    if (typeof WebAssembly === 'undefined') return 'This browser has no WebAssembly, or it is switched off.';
    for (const [name, code] of Object.entries(NEEDS))
        if (!WebAssembly.validate(new Uint8Array([0, 97, 115, 109, 1, 0, 0, 0, ...code])))
            return `This browser has no ${name}.`;
    return null;
}

/** @type {Engine | undefined} what the page itself asks, of all contexts */
let pageEngine;

/**
 * Fetches and compiles what the engine needs, for a quicker start and for rt60.
 * @param {BaseAudioContext} [audioContext]
 * @returns {Promise<void>}
 */
export async function preload(audioContext) {
    const worklet = audioContext?.audioWorklet.addModule(new URL('worklet.js', import.meta.url));
    const [module] = await Promise.all([loadModule(MODULE), worklet]);
    pageEngine ??= new Engine(module);
}

/** @param {Room | null} room */
export function rt60(room) {
    const { volume, area } = roomOf(room);
    if (!pageEngine) throw new Error('rt60 needs the module: await preload() or createContext() first.');
    const [middle, long] = [1, 2].map((reverb) =>
        /** @type {Engine} */ (pageEngine).exports.rt60(volume, area, reverb),
    );
    return { middle, long };
}

/** @param {Uint8Array | null} head @returns {Direction[]} */
function directionsOf(head) {
    const engine = /** @type {Engine} */ (pageEngine);
    const pointer = engine.checked(engine.withBytes(head, (at, size) => engine.exports.directions(at, size)));
    const [count] = engine.doubles(pointer, 1);
    const numbers = engine.doubles(pointer, 1 + 2 * count);
    return Array.from({ length: count }, (_, i) => ({ azimuth: numbers[1 + 2 * i], elevation: numbers[2 + 2 * i] }));
}

/**
 * @param {BaseAudioContext} audioContext
 * @param {{ head?: ArrayBuffer | Uint8Array }} [options]
 */
export async function createContext(audioContext, { head } = {}) {
    const lacking = missing();
    if (lacking) throw new Error(lacking);
    if (!(audioContext instanceof BaseAudioContext)) check.refuse('an AudioContext', audioContext);
    const bytes = check.bytes(head);
    if (audioContext.state === 'closed') throw new Error(CONTEXT_CLOSED);
    await preload(audioContext);
    const kal = new Kal(audioContext, await loadModule(MODULE), bytes);
    await kal.ready;
    return kal;
}

/** @implements {KalOfPackage} */
class Kal extends EventTarget {
    /** @type {AudioWorkletNode} */
    output;
    /** @type {Direction[]} */
    directions;
    /** @type {Promise<void>} */
    ready;

    #context;
    /** @type {number | null | undefined} when the first meters came: to set the engine up takes longer than a quantum */
    #underrunsBefore;
    #nextId = 1;
    #nextTicket = 1;
    /** @type {Map<number, { resolve: () => void, reject: (reason: Error) => void }>} */
    #asked = new Map();
    /** @type {[string, ...number[]][]} */
    #calls = [];
    /** @type {Map<number, Voice>} */
    #voices = new Map();
    /** @type {WeakSet<object>} voices, and the buffers that are not freed */
    #own = new WeakSet();
    /** @type {string | null} why there is no engine any more */
    #over = null;

    /** @param {BaseAudioContext} context @param {WebAssembly.Module} module @param {Uint8Array | null} head */
    constructor(context, module, head) {
        super();
        this.#context = context;
        this.directions = directionsOf(head);
        this.output = new AudioWorkletNode(context, 'kalmarble', {
            numberOfInputs: 0,
            outputChannelCount: [2],
            processorOptions: { module, head },
        });
        this.output.port.onmessage = ({ data }) => this.#hear(data);
        this.output.onprocessorerror = () =>
            this.#lose('The audio thread has given up; createContext() makes another.');
        context.addEventListener('statechange', () => context.state === 'closed' && this.#end(CONTEXT_CLOSED));
        this.ready = new Promise((resolve, reject) => this.#asked.set(0, { resolve, reject }));
    }

    /** @param {any} source */
    async buffer(source) {
        const { rate, channels } = samplesOf(source);
        const frames = channels[0].length;
        const buffer = { id: this.#nextId++, channels: channels.length, frames, rate };
        await this.#ask({ ask: 'buffer', ...buffer });
        const length = PIECE / channels.length;
        for (let first = 0; first < frames; first += length) {
            const samples = interleave(channels, first, Math.min(frames, first + length));
            await this.#ask({ ask: 'samples', id: buffer.id, offset: first * channels.length, samples }, [
                samples.buffer,
            ]);
        }
        const free = () => this.#own.delete(handle) && this.#call('forget', buffer.id);
        const handle = Object.freeze({ ...buffer, free });
        this.#own.add(handle);
        return handle;
    }

    /** @param {any} buffer @param {VoiceOptions} [options] */
    add(buffer, options = {}) {
        if (this.#over) throw new Error(this.#over);
        if (!this.#own.has(buffer) || !buffer.free) check.refuse("a buffer of this context's, not freed", buffer);
        const { loop = false, offset = 0, local = false, relative = false } = options;
        const [loopStart, loopEnd] = loop === true ? [0, buffer.frames] : loop || [0, 0];
        if (loop && !(loopStart >= 0 && loopStart < loopEnd && loopEnd <= buffer.frames))
            check.refuse(`a loop [start, end] with 0 <= start < end <= ${buffer.frames}`, loop);
        check.number(offset, 0, buffer.frames, 'an offset in frames of the buffer');
        const settings = settingsOf({ ...DEFAULTS, ...options });
        const voice = new Voice(this, this.#nextId++);
        const place = local ? 2 : relative ? 1 : 0;
        this.#call('add', voice.id, buffer.id, place, offset, loopStart, loopEnd, ...settings, check.time(options.at));
        this.#voices.set(voice.id, voice);
        this.#own.add(voice);
        return voice;
    }

    /** @param {Voice} voice @param {Vector} position @param {number} [at] */
    move(voice, position, at) {
        this.change(voice, { position }, at);
    }

    /** @param {Voice} voice @param {VoiceChange} change @param {number} [at] */
    change(voice, change, at) {
        if (!(voice instanceof Voice && this.#own.has(voice))) check.refuse("a voice of this context's", voice);
        this.#call('set', voice.id, ...settingsOf(change), check.time(at));
    }

    /** @param {Voice} voice @param {number} frame @param {number} [at] */
    seek(voice, frame, at) {
        this.#call('seek', voice.id, check.number(frame, 0, 2 ** 31 - 1, 'a frame of the buffer'), check.time(at));
    }

    /** @param {Voice} voice @param {number} [at] */
    stop(voice, at) {
        this.#call('stop', voice.id, check.time(at));
    }

    /** @param {import('./index.js').ListenerChange} change @param {number} [at] */
    listener({ position, front, up } = {}, at) {
        const numbers = [position, front, up].flatMap((v) => (v ? [...check.vector(v, 'a vector')] : [NaN, NaN, NaN]));
        this.#call('listener', ...numbers, check.time(at));
    }

    /** @param {Room | null} room @param {number} [at] */
    room(room, at) {
        const { wetA, volume, area, size, wetB } = roomOf(room);
        this.#call('room', wetA, volume, area, size, wetB, check.time(at));
    }

    /** @param {Room | null} room */
    rt60(room) {
        return rt60(room);
    }

    /** @param {ArrayBuffer | Uint8Array | null} file */
    async head(file) {
        const head = check.bytes(file);
        const directions = directionsOf(head);
        await this.#ask({ ask: 'head', head });
        this.directions = directions;
        return { directions };
    }

    async settled() {
        await this.#ask({ ask: 'settled' });
    }

    close() {
        this.#end(CLOSED);
        this.output.port.postMessage({ ask: 'close', ticket: this.#nextTicket++ });
        this.output.disconnect();
    }

    // Nothing more is to come: what was asked is refused, and no voice plays.
    /** @param {string} reason */
    #end(reason) {
        this.#over ??= reason;
        for (const { reject } of this.#asked.values()) reject(new Error(this.#over));
        for (const voice of this.#voices.values()) voice.end();
        this.#asked.clear();
        this.#voices.clear();
    }

    /** @param {string} reason */
    #lose(reason) {
        if (this.#over) return;
        this.#end(reason);
        this.#dispatch('error', { message: reason, fatal: true });
    }

    // Calls of one go travel together. Those of an offline context must be there before it is told to start.
    /** @param {string} name @param {number[]} args */
    #call(name, ...args) {
        if (this.#over) return;
        if (this.#calls.push([name, ...args]) > 1) return;
        if ('startRendering' in this.#context) this.#flush();
        else queueMicrotask(() => this.#flush());
    }

    #flush() {
        if (this.#calls.length === 0) return;
        this.output.port.postMessage({ calls: this.#calls });
        this.#calls = [];
    }

    /** @param {object} message @param {Transferable[]} [transfer] @returns {Promise<void>} */
    #ask(message, transfer = []) {
        if (this.#over) return Promise.reject(new Error(this.#over));
        this.#flush();
        const ticket = this.#nextTicket++;
        this.output.port.postMessage({ ...message, ticket }, transfer);
        return new Promise((resolve, reject) => this.#asked.set(ticket, { resolve, reject }));
    }

    /** @param {any} message */
    #hear({ ticket, problem, error, ended, lost, report, frame, load }) {
        if (ticket !== undefined) {
            const asked = this.#asked.get(ticket);
            this.#asked.delete(ticket);
            if (problem) asked?.reject(new Error(problem));
            else asked?.resolve();
        }
        if (error) this.#dispatch('error', { message: error, fatal: false });
        if (ended) this.#forget(ended);
        if (lost) this.#lose(lost);
        if (report) this.#report(report, frame, load);
    }

    /** @param {Float64Array} numbers @param {number} frame @param {number} load */
    #report(numbers, frame, load) {
        const [peakLeft, peakRight, rmsLeft, rmsRight, limited, voices, sides, numPlaced] = numbers;
        const measured = Array.from({ length: numPlaced }, (_, i) => {
            const [id, azimuth, elevation] = numbers.subarray(8 + 3 * i);
            return { voice: this.#voices.get(id), azimuth, elevation };
        });
        for (const id of numbers.subarray(9 + 3 * numPlaced)) this.#forget(id);
        const count = underrunsOf(this.#context);
        this.#underrunsBefore ??= count;
        const underruns = count === null ? null : count - Number(this.#underrunsBefore);
        const detail = { frame, peak: [peakLeft, peakRight], rms: [rmsLeft, rmsRight], limited, voices, sides };
        this.#dispatch('meters', { ...detail, load, underruns, measured });
    }

    /** @param {number} id of a voice that has ended */
    #forget(id) {
        this.#voices.get(id)?.end();
        this.#voices.delete(id);
    }

    /** @param {string} type @param {object} detail */
    #dispatch(type, detail) {
        this.dispatchEvent(new CustomEvent(type, { detail }));
    }
}

/** @implements {VoiceOfPackage} */
class Voice {
    #kal;
    end = () => {};
    /** @type {Promise<void>} */
    ended = new Promise((resolve) => {
        this.end = resolve;
    });

    /** @param {Kal} kal @param {number} id */
    constructor(kal, id) {
        this.#kal = kal;
        this.id = id;
    }

    /** @param {VoiceChange} change @param {number} [at] */
    set(change, at) {
        this.#kal.change(this, change, at);
    }

    /** @param {number} frame @param {number} [at] */
    seek(frame, at) {
        this.#kal.seek(this, frame, at);
    }

    /** @param {number} [at] */
    stop(at) {
        this.#kal.stop(this, at);
    }
}

const DEFAULTS = { position: [0, 0, 0], gain: 1, speed: 1, occlusion: 0, referenceDistance: 1 };

/** The numbers of a change in the order of the module's calls; NaN where it says nothing. @param {VoiceChange} change */
function settingsOf({ position, gain, speed, occlusion, referenceDistance }) {
    const optional = (
        /** @type {unknown} */ value,
        /** @type {number} */ least,
        /** @type {number} */ most,
        /** @type {string} */ what,
    ) => (value === undefined ? NaN : check.number(value, least, most, what));
    return [
        ...(position === undefined ? [NaN, NaN, NaN] : check.vector(position, 'a position')),
        optional(gain, 0, 1000, 'a linear gain'),
        optional(speed, 0.001, 1000, 'a speed'),
        optional(occlusion, 0, 1, 'an occlusion'),
        optional(referenceDistance, 1e-6, 1e6, 'a reference distance'),
    ];
}

/** @param {Room | null} room */
function roomOf(room) {
    if (!room) return { wetA: 0, volume: 0, area: 0, size: 0, wetB: 0 };
    let { volume, area, size } = room;
    if (room.dimensions) {
        const [x, y, z] = check.vector(room.dimensions, 'dimensions');
        [volume, area, size] = [x * y * z, 2 * (x * y + y * z + z * x), Math.max(x, y, z)];
    }
    return {
        wetA: check.number(room.wetA ?? 1, 0, 1, 'a wet level'),
        volume: check.number(volume, 0, 1e9, 'a volume'),
        area: check.number(area, 0, 1e9, 'an area'),
        size: check.number(size, 0, 1e6, 'a size'),
        wetB: check.number(room.wetB ?? 1, 0, 1, 'a wet level'),
    };
}

/** How often the context ran out of sound, where the browser counts it; else null. @param {any} context */
function underrunsOf(context) {
    const statistics = context.playbackStats ?? context.playoutStats;
    return statistics?.underrunEvents ?? statistics?.fallbackFramesEvents ?? null;
}
