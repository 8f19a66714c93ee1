import { byId, guarded, tell } from './controls.js';
import { Sphere } from './sphere.js';

/** The head whose ears one hears with: the one that ships, or a file's. */
export class HeadPanel {
    #name = null;

    constructor(audio) {
        this.audio = audio;
        this.sphere = new Sphere(byId('sphere'));
        byId('pickHead').addEventListener('click', () => byId('headFile').click());
        byId('headFile').addEventListener('change', ({ target }) => {
            if (target.files[0]) this.take(target.files[0]);
            target.value = '';
        });
        byId('resetHead').addEventListener('click', () =>
            guarded(async () => {
                await audio.useHead(null);
                this.#show(null);
            }),
        );
        audio.addEventListener('started', () => this.#show(this.#name));
        audio.addEventListener('meters', ({ detail }) =>
            this.sphere.light(audio.kind === 'engine' ? detail.measured : []),
        );
        this.#show(null);
    }

    take(file) {
        return guarded(async () => {
            await this.audio.useHead(await file.arrayBuffer());
            this.#show(file.name);
            tell(`Now with the head ${file.name}.`);
        });
    }

    #show(name) {
        this.#name = name;
        const { directions } = this.audio;
        byId('headFacts').textContent =
            directions.length > 0
                ? `${name ?? 'The head that ships'}: ${directions.length} directions; those in use are lit.`
                : `${name ?? 'The head that ships'}. Its measured directions show after Start.`;
        byId('resetHead').hidden = name === null;
        this.sphere.show(directions);
    }
}
