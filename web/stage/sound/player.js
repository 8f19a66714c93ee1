import { frameOf, numberAt, rate, roomAt, tripleAt } from '../scene/curve.js';
import { add, axes } from '../scene/geometry.js';
import { isTimed, lengthOf, numVoices, voicesOf } from '../scene/voices.js';

const ahead = 0.03 * rate; // by which what happens is told before it is due
export const mostVoices = 512; // live: a recording has all of them
const identity = ['synth', 'file', 'place', 'start', 'stop', 'from', 'loop', 'seek', 'copies', 'referenceDistance'];

// Of a sound with very many voices, as many as its share of the limit.
const heardVoices = (sound, share) => {
    const voices = voicesOf(sound);
    return voices.slice(0, Math.ceil(voices.length * share));
};

/**
 * Plays a model's scene on an output, over and over when it has an end. Everything is told a little ahead with the frame
 * at which it is due, so the pace of `tick` is not heard.
 */
export class Player {
    #parts = new Map(); // by the sound's name
    #scene = null; // that the parts were made of
    #told = {}; // what the output knows of listener and room
    #toldUntil = 0; // frame of the scene up to which all is told
    #origin; // frame of the context at which the scene began

    /** @param {() => number} clock the context's frame */
    constructor(model, library, output, clock) {
        Object.assign(this, { model, library, output, clock });
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
    use(output) {
        this.#stopAll();
        this.output = output;
        this.#told = {};
    }

    /** To be called some thirty times a second. */
    tick() {
        const { scene } = this.model;
        if (scene !== this.#scene) {
            this.#scene = scene;
            this.period = isTimed(scene) ? lengthOf(scene, (sound) => this.library.duration(sound)) : Infinity;
            this.#match(scene);
        }
        const horizon = this.clock() + ahead;
        if (horizon - this.#origin >= this.period) this.#wrap();
        const frame = Math.max(0, horizon - this.#origin);
        this.#tellShared(scene, frame);
        for (const part of this.#parts.values()) this.#tellPart(part, frame);
        this.#toldUntil = frame;
    }

    #wrapped(frame) {
        return this.period < Infinity && this.period > 0 && frame > 0 ? frame % this.period : frame;
    }

    // What loops without an end plays on; everything else begins again.
    #wrap() {
        this.#origin += this.period * Math.floor((this.clock() + ahead - this.#origin) / this.period);
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

    #match(scene) {
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
    }

    #tellShared(scene, frame) {
        const at = this.#origin + frame;
        const listener = {
            position: tripleAt(scene.listener?.position, frame),
            turn: tripleAt(scene.listener?.turn, frame),
        };
        this.listener = { position: listener.position, axes: axes(listener.turn) };
        this.hasMoved = this.#tell('listener', listener, () => this.output.listener(this.listener, at));
        const room = roomAt(scene.room, frame);
        this.#tell('room', room, () => this.output.room(room, at));
        const gain = numberAt(scene.gain, frame, 1);
        this.#tell('gain', gain, () => this.output.gain(gain, at));
    }

    #tell(what, value, say) {
        const text = JSON.stringify(value);
        if (this.#told[what] === text) return false;
        this.#told[what] = text;
        say();
        return true;
    }

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
            const changes = {};
            for (const member in state)
                if (String(state[member]) !== String(voice.state[member])) changes[member] = state[member];
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
    #begin(part, voice, frame) {
        const { sound, samples } = part;
        const state = this.#stateOf(sound, voice, frame);
        const length = this.library.duration(sound);
        const own = samples.rate ?? samples.sampleRate;
        const inSound = (time) => (typeof time === 'object' ? time.frame : time * own);
        const loop = sound.loop ? [inSound(sound.loop.start ?? 0), inSound(sound.loop.end ?? { frame: length })] : null;
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
            { ...state, loop, offset, place: sound.place ?? 'world', referenceDistance: sound.referenceDistance ?? 1 },
            at,
        );
    }

    #stateOf(sound, { start }, frame) {
        return {
            position: add(tripleAt(sound.position, frame), start.offset),
            gain: this.model.isHeard(sound.name) ? numberAt(sound.gain, frame, 1) * start.gain : 0,
            speed: numberAt(sound.speed, frame, 1) * start.speed,
            occlusion: numberAt(sound.occlusion, frame, 0),
        };
    }

    #stopPart({ voices }) {
        for (const voice of voices) if (voice.handle && !voice.isDone) this.output.stop(voice.handle);
    }

    #stopAll() {
        for (const part of this.#parts.values()) this.#stopPart(part);
        this.#parts.clear();
        this.#scene = null;
    }
}
