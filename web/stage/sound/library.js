import { rate } from '../scene/curve.js';
import { bytesOf } from './bytes.js';
import { synthesize } from './synth.js';

/** @import { Sound } from '../scene/types.js' */
/** @import { Samples } from './types.js' */

/** @type {Record<string, Sound>} sounds to add, as scene files write them */
export const builtIn = {
    Guitar: { synth: { kind: 'pluck', frequency: 220, duration: 1.5 }, gain: 1.5 },
    Bell: { synth: { kind: 'tone', frequency: 880, harmonics: 9, duration: 2.5, attack: 0.002, decay: 2 }, gain: 1.5 },
    Steps: { synth: { kind: 'step', duration: 0.55 }, gain: 4 },
    Clock: { synth: { kind: 'noise', duration: 0.5, decay: 0.03 }, gain: 0.8 },
    Bee: { synth: { kind: 'tone', frequency: 210, harmonics: 30 }, gain: 0.7 },
    Cricket: { synth: { kind: 'tone', frequency: 4100, duration: 0.35, attack: 0.03, decay: 0.12 }, gain: 0.7 },
    Rain: { synth: { kind: 'noise', duration: 4 }, gain: 0.2 },
    Motor: { synth: { kind: 'tone', frequency: 92, harmonics: 40 }, gain: 1 },
    Siren: { synth: { kind: 'sweep', frequency: 500, to: 1500, duration: 1.5 }, gain: 0.4 },
};

/** Bytes of a file that is taken at most: the samples of a compressed one need twenty times as many. */
const mostBytes = { wav: 256e6, compressed: 32e6 };

const baseName = (/** @type {string} */ path) => path.replace(/^.*[/\\]/, '');

const isRiff = (/** @type {ArrayBuffer} */ bytes) => new TextDecoder('latin1').decode(bytes.slice(0, 4)) === 'RIFF';

/** Samples of a scene's sounds: those that it makes itself, and files that were dropped or picked. */
export class Library {
    /** @type {Map<string, { bytes: ArrayBuffer, audio: AudioBuffer }>} by name without folders */
    #files = new Map();
    /** @type {Map<string, Samples>} by the text of a synth */
    #made = new Map();

    /** @param {File} file @throws Error when no decoder knows the file, or it is too large */
    async take(file) {
        const isWav = isRiff(await bytesOf(file.slice(0, 4), file.name));
        const bytes = await bytesOf(file, file.name, isWav ? mostBytes.wav : mostBytes.compressed);
        try {
            const audio = await new OfflineAudioContext(2, 1, rate).decodeAudioData(bytes.slice(0));
            if (audio.numberOfChannels > 2) throw new Error();
            this.#files.set(file.name, { bytes, audio });
        } catch {
            throw new Error(`${file.name} is no sound of one or two channels that this browser can read.`);
        }
    }

    /** @param {Sound} sound @returns {Samples | null} the same object each time; null: not there yet */
    samples(sound) {
        if (sound.file !== undefined) return this.#files.get(baseName(sound.file))?.audio ?? null;
        if (!sound.synth) return null;
        const text = JSON.stringify(sound.synth);
        const made = this.#made.get(text) ?? { samples: synthesize(sound.synth), rate };
        this.#made.set(text, made);
        return made;
    }

    /** Frames that a sound lasts at its own speed, at `rate`. @param {Sound} sound */
    duration(sound) {
        const samples = this.samples(sound);
        if (samples === null) return 0;
        return 'samples' in samples ? samples.samples.length : samples.length;
    }

    /** Names of a scene's files that are not there yet. @param {{ sounds: Sound[] }} scene */
    missing(scene) {
        const names = scene.sounds.flatMap(({ file }) => (file === undefined ? [] : [baseName(file)]));
        return [...new Set(names)].filter((name) => !this.#files.has(name));
    }

    /** The file itself for a recording: WAV as it is, at its own rate, anything else as this browser reads it. @param {string} path */
    source(path) {
        const file = this.#files.get(baseName(path));
        if (!file) return null;
        return isRiff(file.bytes) ? file.bytes : file.audio;
    }
}
