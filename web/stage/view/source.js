import { isMoving, numberAt, tripleAt } from '../scene/curve.js';
import { describe } from '../scene/geometry.js';
import { builtIn } from '../sound/library.js';
import { byId, element, slider, tell } from './controls.js';

const decibels = (gain) => (gain > 0 ? `${(20 * Math.log10(gain)).toFixed(1)} dB` : 'silent');
const otherwise = { gain: 1, speed: 1, occlusion: 0, referenceDistance: 1 };

/** What one can do with the selected sound. */
export class SourcePanel {
    constructor(model, audio, map) {
        Object.assign(this, { model, audio, map });
        const done = () => model.endGesture();
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
                label: 'Loud up to',
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
            text: (y) => `${y.toFixed(1)} m`,
            done,
            input: (value) => {
                const { position } = model.sound;
                map.moveSound(model.selected, position, [0, value - tripleAt(position, audio.frame)[1], 0], 'height');
            },
        });
        byId('sourceSliders').append(this.height.node, ...Object.values(this.sliders).map(({ node }) => node));
        this.#listen();
        for (const event of ['change', 'select', 'listen']) model.addEventListener(event, () => this.show());
        setInterval(() => this.#showMoving(), 250);
    }

    #listen() {
        const { model } = this;
        byId('which').addEventListener('change', ({ target }) => model.select(target.value));
        byId('loop').addEventListener('change', ({ target }) =>
            model.changeSound(model.selected, { loop: target.checked }),
        );
        byId('mute').addEventListener('change', () => model.toggle('muted', model.selected));
        byId('solo').addEventListener('change', () => model.toggle('solo', model.selected));
        byId('remove').addEventListener(
            'click',
            () => model.remove(model.selected) || tell('A scene keeps one sound at least.'),
        );
        byId('name').addEventListener('change', ({ target }) => {
            if (!model.rename(model.selected, target.value.trim()))
                tell('A name is one that no other sound has, without slashes.', true);
            this.show();
        });
        byId('kind').addEventListener('change', ({ target }) => {
            if (builtIn[target.value])
                model.changeSound(model.selected, { synth: builtIn[target.value].synth, file: undefined });
        });
    }

    show() {
        const { model } = this,
            { sound, scene } = model;
        if (!sound) return;
        byId('which').replaceChildren(
            ...scene.sounds.map(({ name }) =>
                element('option', { value: name, textContent: name, selected: name === model.selected }),
            ),
        );
        byId('loop').checked = Boolean(sound.loop);
        byId('mute').checked = model.muted.has(sound.name);
        byId('solo').checked = model.solo.has(sound.name);
        byId('remove').disabled = scene.sounds.length === 1;
        if (document.activeElement !== byId('name')) byId('name').value = sound.name;
        const known = Object.keys(builtIn).find(
            (name) => JSON.stringify(builtIn[name].synth) === JSON.stringify(sound.synth),
        );
        const kinds = known
            ? Object.keys(builtIn)
            : [sound.file ?? `this ${sound.synth.kind}`, ...Object.keys(builtIn)];
        byId('kind').replaceChildren(
            ...kinds.map((name) => element('option', { value: name, textContent: name, selected: name === known })),
        );
        this.#showNumbers();
    }

    #showMoving() {
        if (!this.model.sound) return;
        const { place } = this.map.places.sounds.find(({ sound }) => sound.name === this.model.selected) ?? {};
        byId('where').textContent = place ? describe(place) : 'as recorded, without a place';
        if (Object.values(this.model.sound).some(isMoving)) this.#showNumbers();
    }

    #showNumbers() {
        const { sound } = this.model,
            { frame } = this.audio;
        for (const [name, { show }] of Object.entries(this.sliders))
            show(numberAt(sound[name], frame, otherwise[name]), isMoving(sound[name]));
        this.height.show(tripleAt(sound.position, frame)[1], isMoving(sound.position));
    }
}
