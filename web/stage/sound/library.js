import { rate } from '../scene/curve.js';
import { synthesize } from './synth.js';

/** Sounds to add, as scene files write them. */
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

const baseName = (path) => path.replace(/^.*[/\\]/, '');

/** Samples of a scene's sounds: those that it makes itself, and files that were dropped or picked. */
export class Library {
    #files = new Map(); // by name without folders: {bytes, audio}
    #made = new Map(); // by the text of a synth

    /** @throws Error when no decoder knows the file */
    async take(file) {
        const bytes = await file.arrayBuffer();
        try {
            const audio = await new OfflineAudioContext(2, 1, rate).decodeAudioData(bytes.slice(0));
            if (audio.numberOfChannels > 2) throw new Error();
            this.#files.set(file.name, { bytes, audio });
        } catch {
            throw new Error(`${file.name} is no sound of one or two channels that this browser can read.`);
        }
    }

    /** @returns {AudioBuffer | {samples: Float32Array, rate: number} | null} the same object each time; null: not there yet */
    samples(sound) {
        if (sound.file !== undefined) return this.#files.get(baseName(sound.file))?.audio ?? null;
        const text = JSON.stringify(sound.synth);
        if (!this.#made.has(text)) this.#made.set(text, { samples: synthesize(sound.synth), rate });
        return this.#made.get(text);
    }

    /** Frames that a sound lasts at its own speed, at `rate`. */
    duration(sound) {
        const samples = this.samples(sound);
        return samples === null ? 0 : (samples.samples?.length ?? samples.length);
    }

    /** Names of a scene's files that are not there yet. */
    missing(scene) {
        const names = scene.sounds.filter((sound) => sound.file !== undefined).map((sound) => baseName(sound.file));
        return [...new Set(names)].filter((name) => !this.#files.has(name));
    }

    /** The file itself for a recording: WAV as it is, at its own rate, anything else as this browser reads it. */
    source(path) {
        const file = this.#files.get(baseName(path));
        if (!file) return null;
        const isWav =
            String.fromCharCode(...new Uint8Array(file.bytes, 0, Math.min(4, file.bytes.byteLength))) === 'RIFF';
        return isWav ? file.bytes : file.audio;
    }
}
