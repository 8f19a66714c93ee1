import { frameOf, rate } from '../scene/curve.js';
import { describe } from '../scene/geometry.js';
import { nextPlace, placesAt } from '../scene/places.js';
import { fromFragment, toFragment } from '../scene/share.js';
import { isTimed, lengthOf, numVoices } from '../scene/voices.js';
import { bytesOf } from '../sound/bytes.js';
import { mostVoices } from '../sound/player.js';
import { checked, record, sceneToRecord } from '../sound/record.js';
import { buttonById, byId, element, found, guarded, inputById, selectById, tell } from './controls.js';

/** @import { Model } from '../scene/model.js' */
/** @import { Scene, Sound } from '../scene/types.js' */
/** @import { AudioStage } from '../sound/audio.js' */
/** @import { Library } from '../sound/library.js' */
/** @import { HeadPanel } from './head.js' */
/** @import { StageMap } from './map.js' */

const defaultSeconds = 10; // of a scene that has no end
const mostSceneBytes = 16e6;

/** What goes in and out: scene files, sounds, heads, addresses, recordings. */
export class Files {
    /** @param {Model} model @param {Library} library @param {AudioStage} audio @param {HeadPanel} head @param {StageMap} map */
    constructor(model, library, audio, head, map) {
        this.model = model;
        this.library = library;
        this.audio = audio;
        this.head = head;
        this.map = map;
        buttonById('save').addEventListener('click', () => this.#save());
        buttonById('open').addEventListener('click', () => byId('sceneFile').click());
        buttonById('share').addEventListener('click', () => guarded(() => this.#share()));
        for (const input of [inputById('sceneFile'), inputById('soundFile')]) {
            input.addEventListener('change', async () => {
                await this.take([...(input.files ?? [])]);
                input.value = '';
            });
        }
        this.#listenToDrops();
        this.#prepareRecording();
        addEventListener('hashchange', () => this.openAddress());
    }

    /**
     * Takes files of any kind that the page knows, one after the other, and says what became of each.
     * @param {File[]} files @param {number[] | null} [point] where in the world a sound goes
     */
    async take(files, point) {
        const said = [],
            faults = [];
        for (const file of files) {
            try {
                said.push(await this.#takeOne(file, point));
                point = null; // only one fits there
            } catch (error) {
                faults.push(error instanceof Error ? error.message : String(error));
            }
        }
        if (faults.length > 0 && said.length > 0) faults.push(`The other ${said.length} could be taken.`);
        if (faults.length > 0) tell(faults.join('\n'), true);
        else if (said.length > 0) tell(said.join('\n'));
    }

    /** @param {File} file @param {number[] | null} [point] @returns {Promise<string>} */
    async #takeOne(file, point) {
        tell(`Reading ${file.name} …`);
        if (/\.kalhrtfd$/i.test(file.name)) return this.head.take(file);
        if (!/\.json$/i.test(file.name)) return this.#takeSound(file, point);
        const bytes = await bytesOf(file, file.name, mostSceneBytes);
        return this.#open(new TextDecoder().decode(bytes), file.name);
    }

    /** Opens the scene in the page's address. @returns {Promise<boolean>} whether there was one */
    async openAddress() {
        return (
            (await guarded(async () => {
                const text = await fromFragment(location.hash);
                if (text !== null) tell(await this.#open(text, 'the scene in the address'));
                return text !== null;
            })) ?? false
        );
    }

    // Nothing changes unless all of it is good.
    /** @param {string} text @param {string} name */
    async #open(text, name) {
        this.show(await checked(text, name, this.library));
        const missing = this.library.missing(this.model.scene),
            voices = numVoices(this.model.scene);
        const notes = [`Opened ${name}.`];
        if (missing.length > 0) notes.push(`To hear all of it, drop ${missing.join(', ')} onto the page.`);
        if (voices > mostVoices)
            notes.push(`Here some ${mostVoices} of its ${voices} voices are heard, in a recording all.`);
        return notes.join(' ');
    }

    show(/** @type {Scene} */ scene) {
        this.model.open(scene);
        this.map.fit();
        this.audio.player?.restart();
        for (const sound of this.model.scene.sounds) this.library.samples(sound); // made now, so that nobody waits for them later
    }

    /**
     * Adds a sound, at the point or around the listener.
     * @param {Sound & { name: string }} sound @param {number[] | null} [point]
     * @returns {string} where it is @throws Error when there are too many
     */
    add(sound, point) {
        const position = point ?? nextPlace(this.model.scene);
        if (!this.model.add({ ...sound, loop: true, position })) throw new Error('There are 64 sounds already.');
        this.map.reveal(position);
        const { sounds } = placesAt(this.model.scene, this.audio.frame);
        return describe(sounds[sounds.length - 1].place);
    }

    /** @param {File} file @param {number[] | null} [point] */
    async #takeSound(file, point) {
        const isAwaited = this.library.missing(this.model.scene).includes(file.name);
        await this.library.take(file);
        if (!isAwaited) {
            const where = this.add({ name: file.name.replace(/(?<=.)\.[^.]*$/, ''), file: file.name }, point);
            return `Added ${file.name}: ${where}.`;
        }
        this.model.change({}); // the player looks for it
        return `${file.name} is here now.`;
    }

    /** The scene with an end, so that kalrender ends as well. */
    get #whole() {
        const { scene } = this.model;
        const isEndless =
            scene.length === undefined && scene.sounds.some((sound) => sound.loop && sound.stop === undefined);
        return isEndless ? { ...scene, length: defaultSeconds } : scene;
    }

    #save() {
        download(new Blob([`${JSON.stringify(this.#whole, null, 2)}\n`], { type: 'application/json' }), 'scene.json');
        tell('Saved scene.json, which kalrender renders as well.');
    }

    async #share() {
        history.replaceState(null, '', await toFragment(this.#whole));
        const files = this.model.scene.sounds.some((sound) => sound.file !== undefined);
        const note = files ? ' Sound files are not part of it: send them along.' : '';
        try {
            await navigator.clipboard.writeText(location.href);
            tell(`The scene's address is copied.${note}`);
        } catch {
            tell(`The scene is in this page's address: copy it from above.${note}`);
        }
    }

    #listenToDrops() {
        const hint = byId('dropHint');
        const isFiles = (/** @type {DragEvent} */ event) => event.dataTransfer?.types.includes('Files');
        addEventListener('dragover', (event) => {
            if (!isFiles(event)) return;
            event.preventDefault();
            hint.hidden = false;
        });
        addEventListener('dragleave', (event) => {
            if (!event.relatedTarget) hint.hidden = true;
        });
        addEventListener('drop', (event) => {
            if (!isFiles(event)) return;
            event.preventDefault();
            hint.hidden = true;
            this.take([...(event.dataTransfer?.files ?? [])], this.map.top.pointUnder(event.clientX, event.clientY));
        });
    }

    #prepareRecording() {
        const dialog = found('recording', HTMLDialogElement);
        const [seconds, button] = [inputById('seconds'), buttonById('recordNow')];
        const bar = found('recorded', HTMLProgressElement);
        buttonById('record').addEventListener('click', () => {
            const { scene } = this.model;
            const { length = defaultSeconds } = scene;
            const frames =
                isTimed(scene) || length === 'until silent'
                    ? lengthOf(scene, (sound) => this.library.duration(sound))
                    : frameOf(length);
            seconds.value = Math.min(Number(seconds.max), frames / rate).toFixed(1);
            bar.hidden = true;
            dialog.showModal();
        });
        dialog.addEventListener('submit', (event) => {
            if (event.submitter !== button) return;
            event.preventDefault(); // it stays open until all is recorded
            guarded(async () => {
                button.disabled = true;
                bar.value = 0;
                bar.hidden = false;
                try {
                    tell(await this.#record(Number(seconds.value), (share) => (bar.value = share) >= 0 && dialog.open));
                } finally {
                    button.disabled = false;
                    dialog.close();
                }
            });
        });
    }

    /** @param {number} seconds @param {(share: number) => boolean} progress */
    async #record(seconds, progress) {
        const bits = /** @type {16 | 24 | 32} */ (Number(selectById('bits').value));
        const scene = sceneToRecord(this.model, seconds);
        const file = await record(scene, this.library, this.audio.headBytes, bits, progress);
        if (!file) return 'The recording was ended.';
        download(file, 'scene.wav');
        return 'Recorded scene.wav.';
    }
}

/** @param {Blob} blob @param {string} name */
function download(blob, name) {
    const link = element('a', { href: URL.createObjectURL(blob), download: name });
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}
