import { frameOf, rate } from '../scene/curve.js';

/** @import { Model } from '../scene/model.js' */
/** @import { Scene } from '../scene/types.js' */
/** @import { Library } from './library.js' */

const piece = rate / 4; // frames rendered between two looks at the page

/** The scene as it is heard: without what is muted, with an end. @param {Model} model @param {number} seconds */
export function sceneToRecord(model, seconds) {
    const sounds = model.scene.sounds.filter((sound) => model.isHeard(sound.name));
    if (sounds.length === 0) throw new Error('Every sound is muted: there is nothing to record.');
    return { ...model.scene, length: seconds, sounds };
}

/**
 * Renders a scene exactly, from its beginning, by the renderer of scene files.
 * @param {Scene & { length: number }} scene @param {Library} library @param {ArrayBuffer | null} head @param {16 | 24 | 32} bits
 * @param {(share: number) => boolean} progress told the share that is done; false ends it
 * @returns {Promise<Blob | null>} a WAV file; null when it was ended. @throws Error with what is wrong with the scene
 */
export async function record(scene, library, head, bits, progress) {
    const { openScene, wav } = await import('kalmarble/scene');
    const opened = await openScene(JSON.stringify(scene), {
        samplingRate: rate,
        head: head ?? undefined,
        sound: async (name) => {
            const source = library.source(name);
            if (!source) throw new Error(`${name} is not here yet: drop the file onto the page.`);
            return source;
        },
    });
    const length = frameOf(scene.length);
    const left = new Float32Array(length),
        right = new Float32Array(length);
    for (let done = 0; done < length; ) {
        const samples = opened.render(Math.min(piece, length - done));
        const frames = samples.length / 2;
        if (frames === 0) break;
        for (let i = 0; i < frames; ++i) [left[done + i], right[done + i]] = [samples[2 * i], samples[2 * i + 1]];
        done += frames;
        if (!progress(done / length)) return null;
        await new Promise((resume) => setTimeout(resume));
    }
    return wav([left, right], rate, bits);
}

/**
 * Checks a scene file's text as kalrender does, but for sounds that are not here yet.
 * @param {string} text @param {string} title of it in what is said @param {Library} library @returns {Promise<Scene>} its content
 */
export async function checked(text, title, library) {
    const { openScene } = await import('kalmarble/scene');
    const silence = new AudioBuffer({ length: 600 * 8000, sampleRate: 8000 }); // only its length counts
    await openScene(text, { samplingRate: rate, title, sound: async (name) => library.source(name) ?? silence });
    return JSON.parse(text);
}
