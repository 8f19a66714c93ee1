/** @import { Buffer, Kal, Voice, VoiceChange } from 'kalmarble' */
/** @import { Beginning, Output, Samples, State } from './types.js' */

/** @typedef {{ voice: Voice | null, changes: Partial<State>, isStopped: boolean }} Handle */

/**
 * The engine as an output: what the player says, in the words of the package.
 * @implements {Output<Handle>}
 */
export class EngineOutput {
    /** @type {Map<Samples, Buffer | Promise<Buffer>>} */
    #buffers = new Map();
    /** @type {WeakMap<object, string>} of a voice, the sound's */
    #names = new WeakMap();
    #kal;

    /** @param {BaseAudioContext} context @param {Kal} kal */
    constructor(context, kal) {
        this.#kal = kal;
        this.node = new GainNode(context);
        this.context = context;
        kal.output.connect(this.node);
    }

    /** @param {Samples} samples */
    async load(samples) {
        await this.#load(samples);
    }

    /** @param {Samples} samples */
    async #load(samples) {
        const known = this.#buffers.get(samples);
        if (known) return known;
        const loading = this.#kal.buffer(samples);
        this.#buffers.set(samples, loading);
        try {
            const buffer = await loading;
            this.#buffers.set(samples, buffer);
            return buffer;
        } catch (error) {
            this.#buffers.delete(samples);
            throw error;
        }
    }

    /** @param {Set<Samples | null>} all */
    keep(all) {
        for (const [samples, buffer] of this.#buffers) {
            if (all.has(samples) || buffer instanceof Promise) continue;
            buffer.free();
            this.#buffers.delete(samples);
        }
    }

    /** @param {Samples} samples @param {Beginning} how @param {number} at @returns {Handle} */
    begin(samples, { name, place, loop, ...how }, at) {
        /** @type {Handle} */
        const handle = { voice: null, changes: {}, isStopped: false };
        const begin = (/** @type {Buffer} */ buffer) => {
            if (handle.isStopped) return;
            const voice = this.#kal.add(buffer, {
                ...how,
                loop: loop ? [loop[0], loop[1]] : false,
                relative: place === 'listener',
                local: place === 'none',
                at,
                ...handle.changes,
            });
            handle.voice = voice;
            this.#names.set(voice, name);
            voice.ended.then(() => (handle.voice = null));
        };
        const buffer = this.#buffers.get(samples);
        if (buffer && !(buffer instanceof Promise)) begin(buffer);
        else
            this.#load(samples)
                .then(begin)
                .catch((error) => this.#kal.dispatchEvent(new CustomEvent('error', { detail: error })));
        return handle;
    }

    /** @param {unknown} voice */
    nameOf(voice) {
        return this.#names.get(/** @type {object} */ (voice));
    }

    /** @param {Handle} handle @param {VoiceChange & Partial<State>} changes @param {number} at */
    set(handle, changes, at) {
        if (handle.voice) handle.voice.set(changes, at);
        else Object.assign(handle.changes, changes);
    }

    /** @param {Handle} handle @param {number} frame @param {number} at */
    seek(handle, frame, at) {
        handle.voice?.seek(frame, at);
    }

    /** @param {Handle} handle @param {number} [at] */
    stop(handle, at) {
        handle.isStopped = true;
        handle.voice?.stop(at);
    }

    /** @param {Parameters<Output['listener']>[0]} listener @param {number} at */
    listener({ position, axes }, at) {
        this.#kal.listener({ position, front: axes.front, up: axes.up }, at);
    }

    /** @param {number[] | null} numbers @param {number} at */
    room(numbers, at) {
        if (numbers === null) return this.#kal.room(null, at);
        const [volume, area, size, wetA, wetB] = numbers;
        return this.#kal.room({ volume, area, size, wetA: Math.min(1, wetA), wetB: Math.min(1, wetB) }, at);
    }

    /** @param {number} gain @param {number} at */
    gain(gain, at) {
        this.node.gain.setTargetAtTime(gain, at / this.context.sampleRate, 0.01);
    }

    settled() {
        return this.#kal.settled();
    }

    close() {
        this.#kal.close();
        this.node.disconnect();
    }
}
