import { frameOf, rate } from '../scene/curve.js';
import { fromFragment, toFragment } from '../scene/share.js';
import { isTimed, lengthOf, numVoices } from '../scene/voices.js';
import { mostVoices } from '../sound/player.js';
import { checked, record, sceneToRecord } from '../sound/record.js';
import { byId, element, guarded, tell } from './controls.js';

const defaultSeconds = 10; // of a scene that has no end

/** What goes in and out: scene files, sounds, heads, addresses, recordings. */
export class Files {
    constructor(model, library, audio, head, map) {
        Object.assign(this, { model, library, audio, head, map });
        byId('save').addEventListener('click', () => this.#save());
        byId('open').addEventListener('click', () => byId('sceneFile').click());
        byId('share').addEventListener('click', () => guarded(() => this.#share()));
        for (const id of ['sceneFile', 'soundFile']) {
            byId(id).addEventListener('change', async ({ target }) => {
                await this.take([...target.files]);
                target.value = '';
            });
        }
        this.#listenToDrops();
        this.#prepareRecording();
        addEventListener('hashchange', () => this.openAddress());
    }

    /** Takes files of any kind that the page knows, one after the other. */
    async take(files) {
        for (const file of files) {
            if (/\.kalhrtfd$/i.test(file.name)) await this.head.take(file);
            else if (/\.json$/i.test(file.name)) await guarded(async () => this.#open(await file.text(), file.name));
            else await guarded(() => this.#takeSound(file));
        }
    }

    /** Opens the scene in the page's address. @returns {Promise<boolean>} whether there was one */
    async openAddress() {
        return (
            (await guarded(async () => {
                const text = await fromFragment(location.hash);
                if (text !== null) await this.#open(text, 'the address');
                return text !== null;
            })) ?? false
        );
    }

    // Nothing changes unless all of it is good.
    async #open(text, name) {
        this.show(await checked(text, this.library));
        const missing = this.library.missing(this.model.scene),
            voices = numVoices(this.model.scene);
        const notes = [`Opened ${name}.`];
        if (missing.length > 0) notes.push(`To hear all of it, drop ${missing.join(', ')} onto the page.`);
        if (voices > mostVoices)
            notes.push(`Here some ${mostVoices} of its ${voices} voices are heard, in a recording all.`);
        tell(notes.join(' '));
    }

    show(scene) {
        this.model.open(scene);
        this.map.fit();
        this.audio.player?.restart();
        for (const sound of this.model.scene.sounds) this.library.samples(sound); // made now, so that nobody waits for them later
    }

    async #takeSound(file) {
        const isAwaited = this.library.missing(this.model.scene).includes(file.name);
        await this.library.take(file);
        if (isAwaited) {
            tell(`${file.name} is here now.`);
            this.model.change({}); // the player looks for it
        } else if (
            this.model.add({
                name: file.name.replace(/\.[^.]*$/, ''),
                file: file.name,
                loop: true,
                position: [0, 0, -2],
            })
        ) {
            tell(`Added ${file.name}, two metres ahead.`);
        } else tell('There are 64 sounds already.', true);
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
        const isFiles = (event) => event.dataTransfer?.types.includes('Files');
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
            this.take([...event.dataTransfer.files]);
        });
    }

    #prepareRecording() {
        const [dialog, seconds, bar, button] = ['recording', 'seconds', 'recorded', 'recordNow'].map(byId);
        byId('record').addEventListener('click', () => {
            const { scene } = this.model;
            const length = isTimed(scene)
                ? lengthOf(scene, (sound) => this.library.duration(sound))
                : frameOf(scene.length ?? defaultSeconds);
            seconds.value = (length / rate).toFixed(1);
            bar.value = 0;
            dialog.showModal();
        });
        button.addEventListener(
            'click',
            () =>
                seconds.reportValidity() &&
                guarded(async () => {
                    button.disabled = true;
                    try {
                        const scene = sceneToRecord(this.model, Number(seconds.value));
                        const file = await record(
                            scene,
                            this.library,
                            this.audio.headBytes,
                            Number(byId('bits').value),
                            (share) => {
                                bar.value = share;
                                return dialog.open;
                            },
                        );
                        if (file) download(file, 'scene.wav');
                        tell(file ? 'Recorded scene.wav.' : 'The recording was ended.');
                    } finally {
                        button.disabled = false;
                        dialog.close();
                    }
                }),
        );
    }
}

function download(blob, name) {
    const link = element('a', { href: URL.createObjectURL(blob), download: name });
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}
