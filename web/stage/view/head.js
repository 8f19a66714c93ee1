import { bytesOf } from '../sound/bytes.js';
import { buttonById, byId, found, guarded, inputById, tell } from './controls.js';
import { Sphere } from './sphere.js';
import { hue } from './svg.js';

/** @import { Meters } from 'kalmarble' */
/** @import { Model } from '../scene/model.js' */
/** @import { AudioStage } from '../sound/audio.js' */

const mostBytes = 64e6;

/** The head whose ears one hears with: the one that ships, or a file's. */
export class HeadPanel {
    /** @type {string | null} */
    #name = null;

    /** @param {Model} model @param {AudioStage} audio */
    constructor(model, audio) {
        this.model = model;
        this.audio = audio;
        this.sphere = new Sphere(found('sphere', HTMLCanvasElement));
        const file = inputById('headFile');
        buttonById('pickHead').addEventListener('click', () => file.click());
        file.addEventListener('change', async () => {
            const [chosen] = file.files ?? [];
            if (chosen) await guarded(async () => tell(await this.take(chosen)));
            file.value = '';
        });
        buttonById('resetHead').addEventListener('click', () =>
            guarded(async () => {
                await audio.useHead(null);
                this.#show(null);
                tell('Now with the built-in head.');
            }),
        );
        audio.addEventListener('ready', () => this.#show(this.#name));
        audio.addEventListener('meters', (event) => this.#light(/** @type {CustomEvent<Meters>} */ (event).detail));
        this.#show(null);
    }

    /** @param {File} file @returns {Promise<string>} what is heard now. @throws Error with a sentence */
    async take(file) {
        const bytes = await bytesOf(file, file.name, mostBytes);
        try {
            await this.audio.useHead(bytes);
        } catch (error) {
            const reason = error instanceof Error ? error.message : error;
            throw new Error(`${file.name}: ${reason} The head in use stays.`);
        }
        this.#show(file.name);
        return `Now with the head ${file.name}.`;
    }

    // In the colour that each sound has in the views.
    #light(/** @type {Meters} */ { measured }) {
        const { audio, model } = this;
        const hues = new Map(model.scene.sounds.map(({ name }, index) => [name, hue(index)]));
        const lit = measured.flatMap(({ voice, azimuth, elevation }) => {
            const name = audio.soundOf(voice) ?? '';
            return model.isHeard(name) ? [{ azimuth, elevation, hue: hues.get(name) ?? hue(0) }] : [];
        });
        this.sphere.light(audio.kind === 'engine' ? lit : []);
    }

    #show(/** @type {string | null} */ name) {
        this.#name = name;
        const { length } = this.audio.directions;
        const directions = length > 0 ? `: ${length} measured directions; those in use are lit.` : '.';
        byId('headFacts').textContent =
            (name ?? 'The built-in head') +
            directions +
            (name ? '' : ' A .kalhrtfd file, dropped here or chosen, is yours.');
        byId('sphere').ariaLabel = `Measured directions around the head: ${length}`;
        byId('resetHead').hidden = name === null;
        this.sphere.show(this.audio.directions);
    }
}
