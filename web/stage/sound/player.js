import { frameOf, numberAt, rate, roomAt, tripleAt } from '../scene/curve.js';
import { add, axes } from '../scene/geometry.js';
import { isTimed, lengthOf, numVoices, voicesOf } from '../scene/voices.js';

/** @import { Model } from '../scene/model.js' */
/** @import { NamedScene, NamedSound, Time } from '../scene/types.js' */
/** @import { Library } from './library.js' */
/** @import { Output, Samples, State } from './types.js' */

/** @typedef {{ start: ReturnType<typeof voicesOf>[0], handle?: any, isDone?: boolean, state?: State }} Playing */
/** @typedef {{ key: string, sound: NamedSound, samples: Samples | null, voices: Playing[] }} Part */

const ahead = 0.03 * rate; // by which what happens is told before it is due
export const mostVoices = 512; // live: a recording has all of them
/** @type {(keyof NamedSound)[]} */
const identity = ['synth', 'file', 'place', 'start', 'stop', 'from', 'loop', 'seek', 'copies', 'referenceDistance'];

// Of a sound with very many voices, as many as its share of the limit.
const heardVoices = (/** @type {NamedSound} */ sound, /** @type {number} */ share) => {
    const voices = voicesOf(sound);
    return voices.slice(0, Math.ceil(voices.length * share));
};

/**
 * Plays a model's scene on an output, over and over when it has an end. Everything is told a little ahead with the frame
 * at which it is due, so the pace of `tick` is not heard.
 */
export class Player {
    /** @type {Map<string, Part>} by the sound's name */
    #parts = new Map();
    /** @type {NamedScene | null} that the parts were made of */
    #scene = null;
    /** @type {Record<string, string>} what the output knows of listener and room */
    #told = {};
    #period = Infinity; // frames after which the scene begins anew
    #toldUntil = 0; // frame of the scene up to which all is told
    #origin; // frame of the context at which the scene began

    /** @param {Model} model @param {Library} library @param {Output} output @param {() => number} clock the context's frame */
    constructor(model, library, output, clock) {
        this.model = model;
        this.library = library;
        this.output = output;
        this.clock = clock;
        this.#origin = Math.ceil(clock() + ahead);
    }

    /** The scene's frame that is heard now. */
    get frame() {
        return Math.max(0, this.#wrapped(this.clock() - this.#origin));
    }

    /** The scene from its beginning. */
    restart() {
        this.#stopAll();
        this.#origin = Math.ceil(this.clock() + ahead);
        this.#toldUntil = 0;
    }

    /** Goes on, at the same place, with another output. */
    use(/** @type {Output} */ output) {
        this.#stopAll();
        this.output = output;
        this.#told = {};
    }

    /** To be called some thirty times a second. */
    tick() {
        const { scene } = this.model;
        if (scene !== this.#scene) {
            this.#scene = scene;
            this.#period = isTimed(scene) ? lengthOf(scene, (sound) => this.library.duration(sound)) : Infinity;
            this.#match(scene);
        }
        const horizon = this.clock() + ahead;
        if (horizon - this.#origin >= this.#period) this.#wrap();
        const frame = Math.max(0, horizon - this.#origin);
        this.#tellShared(scene, frame);
        for (const part of this.#parts.values()) this.#tellPart(part, frame);
        this.#toldUntil = frame;
    }

    #wrapped(/** @type {number} */ frame) {
        return this.#period < Infinity && this.#period > 0 && frame > 0 ? frame % this.#period : frame;
    }

    // What loops without an end plays on; everything else begins again.
    #wrap() {
        this.#origin += this.#period * Math.floor((this.clock() + ahead - this.#origin) / this.#period);
        this.#toldUntil = 0;
        for (const { sound, voices } of this.#parts.values()) {
            for (const voice of voices) {
                if (sound.loop && sound.stop === undefined && voice.handle) continue;
                if (sound.loop && voice.handle) this.output.stop(voice.handle);
                voice.handle = null;
                voice.isDone = false;
            }
        }
    }

    #match(/** @type {NamedScene} */ scene) {
        const share = Math.min(1, mostVoices / numVoices(scene));
        for (const sound of scene.sounds) {
            const samples = this.library.samples(sound);
            const key = JSON.stringify(identity.map((member) => sound[member] ?? null));
            const part = this.#parts.get(sound.name);
            if (part?.key === key && part.samples === samples) {
                part.sound = sound;
                continue;
            }
            if (part) this.#stopPart(part);
            this.#parts.set(sound.name, {
                key,
                sound,
                samples,
                voices: samples ? heardVoices(sound, share).map((start) => ({ start })) : [],
            });
        }
        for (const [name, part] of this.#parts) {
            if (scene.sounds.some((sound) => sound.name === name)) continue;
            this.#stopPart(part);
            this.#parts.delete(name);
        }
        this.output.keep?.(new Set([...this.#parts.values()].map(({ samples }) => samples)));
    }

    /** @param {NamedScene} scene @param {number} frame */
    #tellShared(scene, frame) {
        const at = this.#origin + frame;
        const listener = {
            position: tripleAt(scene.listener?.position, frame),
            turn: tripleAt(scene.listener?.turn, frame),
        };
        const turned = { position: listener.position, axes: axes(listener.turn) };
        this.hasMoved = this.#tell('listener', listener, () => this.output.listener(turned, at));
        const room = roomAt(scene.room, frame);
        this.#tell('room', room, () => this.output.room(room, at));
        const gain = numberAt(scene.gain, frame, 1);
        this.#tell('gain', gain, () => this.output.gain(gain, at));
    }

    /** @param {string} what @param {unknown} value @param {() => void} say @returns {boolean} whether it was news */
    #tell(what, value, say) {
        const text = JSON.stringify(value);
        if (this.#told[what] === text) return false;
        this.#told[what] = text;
        say();
        return true;
    }

    /** @param {Part} part @param {number} frame */
    #tellPart(part, frame) {
        const { sound, voices } = part;
        const stop = sound.stop === undefined ? Infinity : frameOf(sound.stop);
        for (const voice of voices) {
            if (voice.isDone) continue;
            const at = this.#origin + frame;
            if (!voice.handle) {
                if (voice.start.frame <= frame) this.#begin(part, voice, Math.min(frame, stop));
                continue;
            }
            if (frame >= stop) {
                this.output.stop(voice.handle, this.#origin + stop);
                voice.isDone = true;
                continue;
            }
            const state = this.#stateOf(sound, voice, frame);
            const changes = Object.fromEntries(
                Object.entries(state).filter(
                    ([member, value]) => String(value) !== String(voice.state?.[/** @type {keyof State} */ (member)]),
                ),
            );
            if (Object.keys(changes).length > 0 || (this.hasMoved && this.output.isRelative)) {
                this.output.set(voice.handle, changes, at);
            }
            for (const seek of sound.seek ?? []) {
                const due = frameOf(seek.at);
                if (due > this.#toldUntil && due <= frame)
                    this.output.seek?.(voice.handle, frameOf(seek.to), this.#origin + due);
            }
            voice.state = state;
        }
    }

    // A voice that should have begun earlier begins where it would be by now.
    /** @param {Part} part @param {Playing} voice @param {number} frame */
    #begin({ sound, samples }, voice, frame) {
        if (!samples) return;
        const state = this.#stateOf(sound, voice, frame);
        const length = this.library.duration(sound);
        const own = 'samples' in samples ? samples.rate : samples.sampleRate;
        const inSound = (/** @type {Time} */ time) => (typeof time === 'object' ? time.frame : time * own);
        const { start = 0, end = { frame: length } } = typeof sound.loop === 'object' ? sound.loop : {};
        const loop = sound.loop ? [inSound(start), inSound(end)] : null;
        const late = frame - voice.start.frame;
        const isInTime = late <= 2 * ahead;
        const at = this.#origin + (isInTime ? voice.start.frame : frame);
        let offset = inSound(sound.from ?? 0) + (isInTime ? 0 : (late * state.speed * own) / rate);
        if (loop && offset >= loop[1]) offset = loop[0] + ((offset - loop[0]) % (loop[1] - loop[0]));
        if (offset >= length) {
            voice.isDone = true;
            return;
        }
        voice.state = state;
        voice.handle = this.output.begin(
            samples,
            {
                ...state,
                name: sound.name,
                loop,
                offset,
                place: sound.place ?? 'world',
                referenceDistance: sound.referenceDistance ?? 1,
            },
            at,
        );
    }

    /** @param {NamedSound} sound @param {Playing} voice @param {number} frame @returns {State} */
    #stateOf(sound, { start }, frame) {
        return {
            position: add(tripleAt(sound.position, frame), start.offset),
            gain: this.model.isHeard(sound.name) ? numberAt(sound.gain, frame, 1) * start.gain : 0,
            speed: numberAt(sound.speed, frame, 1) * start.speed,
            occlusion: numberAt(sound.occlusion, frame, 0),
        };
    }

    #stopPart(/** @type {Part} */ { voices }) {
        for (const voice of voices) if (voice.handle && !voice.isDone) this.output.stop(voice.handle);
    }

    #stopAll() {
        for (const part of this.#parts.values()) this.#stopPart(part);
        this.#parts.clear();
        this.#scene = null;
    }
}
