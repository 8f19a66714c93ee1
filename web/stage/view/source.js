import { isMoving, numberAt, tripleAt } from '../scene/curve.js';
import { describe } from '../scene/geometry.js';
import { builtIn } from '../sound/library.js';
import { buttonById, byId, element, inputById, printed, removeSound, selectById, slider, tell } from './controls.js';

/** @import { Model } from '../scene/model.js' */
/** @import { Moving } from '../scene/types.js' */
/** @import { AudioStage } from '../sound/audio.js' */
/** @import { StageMap } from './map.js' */

const decibels = (/** @type {number} */ gain) => (gain > 0 ? `${printed(20 * Math.log10(gain), 1)} dB` : 'silent');
const controls = {
    loop: inputById('loop'),
    mute: inputById('mute'),
    solo: inputById('solo'),
    name: inputById('name'),
    which: selectById('which'),
    kind: selectById('kind'),
    remove: buttonById('remove'),
};
const otherwise = { gain: 1, speed: 1, occlusion: 0, referenceDistance: 1 };

/** What one can do with the selected sound. */
export class SourcePanel {
    /** @param {Model} model @param {AudioStage} audio @param {StageMap} map */
    constructor(model, audio, map) {
        this.model = model;
        this.audio = audio;
        this.map = map;
        const done = () => model.endGesture();
        /** @param {string} name @param {Omit<Parameters<typeof slider>[0], 'input'>} how */
        const member = (name, how) =>
            slider({ ...how, done, input: (value) => model.changeSound(model.selected, { [name]: value }, name) });
        this.sliders = {
            gain: member('gain', { label: 'Volume', min: 0.01, max: 30, isLog: true, text: decibels }),
            speed: member('speed', {
                label: 'Speed',
                min: 0.25,
                max: 4,
                isLog: true,
                text: (x) => `× ${x.toFixed(2)}`,
            }),
            occlusion: member('occlusion', {
                label: 'Occlusion',
                min: 0,
                max: 0.99,
                text: (x) => `${Math.round(100 * x)} %`,
            }),
            referenceDistance: member('referenceDistance', {
                label: 'Full up to',
                min: 0.1,
                max: 50,
                isLog: true,
                text: (x) => `${x.toPrecision(2)} m`,
            }),
        };
        this.height = slider({
            label: 'Height',
            min: -10,
            max: 10,
            text: (y) => `${printed(y, 1)} m`,
            done,
            input: (value) => {
                const { sound } = model;
                if (!sound) return;
                const { name, position } = sound;
                map.moveSound(name, position, [0, value - tripleAt(position, audio.frame)[1], 0], 'height');
            },
        });
        byId('sourceSliders').append(this.height.node, ...Object.values(this.sliders).map(({ node }) => node));
        this.#listen();
        for (const event of ['change', 'select', 'listen']) model.addEventListener(event, () => this.show());
        setInterval(() => this.#showMoving(), 250);
    }

    #listen() {
        const { model } = this;
        const { loop, mute, solo, name, which, kind, remove } = controls;
        which.addEventListener('change', () => model.select(which.value));
        loop.addEventListener('change', () => model.changeSound(model.selected, { loop: loop.checked }));
        for (const [set, box] of Object.entries({ muted: mute, solo }))
            box.addEventListener('change', () => {
                if (model.selected) model.toggle(/** @type {'muted' | 'solo'} */ (set), model.selected);
            });
        remove.addEventListener('click', () => model.selected && removeSound(model, model.selected));
        name.addEventListener('change', () => {
            if (model.selected && !model.rename(model.selected, name.value.trim()))
                tell('A name is one that no other sound has, without slashes.', true);
            this.show();
        });
        kind.addEventListener('change', () => {
            const chosen = builtIn[kind.value];
            if (chosen) model.changeSound(model.selected, { synth: chosen.synth, file: undefined });
        });
    }

    show() {
        const { model } = this,
            { sound, scene } = model;
        if (!sound) return;
        const { loop, mute, solo, name, which, kind, remove } = controls;
        offer(
            which,
            scene.sounds.map((each) => each.name),
            sound.name,
        );
        loop.checked = Boolean(sound.loop);
        mute.checked = model.muted.has(sound.name);
        solo.checked = model.solo.has(sound.name);
        remove.disabled = scene.sounds.length === 1;
        remove.title = remove.disabled ? 'A scene keeps one sound at least' : '';
        if (document.activeElement !== name) name.value = sound.name;
        const kinds = Object.keys(builtIn);
        const known = kinds.find((each) => JSON.stringify(builtIn[each].synth) === JSON.stringify(sound.synth));
        const own = sound.file ?? `this ${sound.synth?.kind}`;
        offer(kind, known ? kinds : [own, ...kinds], known ?? own);
        this.#showNumbers();
    }

    #showMoving() {
        const { sound } = this.model;
        if (!sound) return;
        const placed = this.map.places.sounds.find((each) => each.sound.name === sound.name);
        byId('where').textContent = placed ? describe(placed.place) : 'as recorded, without a place';
        if ([sound.position, sound.gain, sound.speed, sound.occlusion].some(changes)) this.#showNumbers();
    }

    #showNumbers() {
        const { sound } = this.model,
            { frame } = this.audio;
        if (!sound) return;
        for (const [key, { show }] of Object.entries(this.sliders)) {
            const name = /** @type {keyof typeof otherwise} */ (key);
            show(numberAt(sound[name], frame, otherwise[name]), changes(sound[name]));
        }
        this.height.show(tripleAt(sound.position, frame)[1], isMoving(sound.position));
    }
}

const changes = (/** @type {Moving<any> | undefined} */ value) => isMoving(value);

/** The names in a list, of which one is chosen. @param {HTMLSelectElement} list @param {string[]} names @param {string} chosen */
function offer(list, names, chosen) {
    const isNews = names.join('/') !== Array.from(list.options, ({ value }) => value).join('/');
    if (isNews) list.replaceChildren(...names.map((name) => element('option', { value: name, textContent: name })));
    list.value = chosen;
}
