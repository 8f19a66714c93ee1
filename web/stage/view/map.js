import { frameOf, isMoving, pointsOf, tripleAt } from '../scene/curve.js';
import { describe } from '../scene/geometry.js';
import { ownMove, placesAt } from '../scene/places.js';
import { shifted } from '../scene/model.js';
import { voicesOf } from '../scene/voices.js';
import { motionIsReduced, tell } from './controls.js';
import { HeightView } from './height.js';
import { TopView } from './top.js';

/** What both views share: how large a metre is, where everything is just now, and how things are moved. */
export class StageMap {
    scale = 70; // px a metre
    places = { listener: null, sounds: [] };
    #offsets = new WeakMap(); // of a sound's copies
    #paths = new WeakMap(); // points along what has key points

    constructor(model, audio) {
        Object.assign(this, { model, audio });
        this.views = [
            new TopView(document.getElementById('top'), this),
            new HeightView(document.getElementById('height'), this),
        ];
        for (const event of ['change', 'select', 'listen']) model.addEventListener(event, () => this.#draw(true));
        new ResizeObserver(() => this.#draw()).observe(document.getElementById('top'));
        this.#animate(0);
    }

    zoom(factor) {
        this.scale = Math.min(400, Math.max(1, this.scale * factor));
        this.#draw();
    }

    /** Chooses the scale at which everything can be seen. */
    fit() {
        const reach = (value) =>
            isMoving(value)
                ? pointsOf(value).flatMap((p) => [p.value[0], p.value[2]])
                : [value?.[0] ?? 0, value?.[2] ?? 0];
        const { sounds, listener } = this.model.scene;
        const spreads = sounds.map((sound) => Math.max(0, ...(sound.copies?.spread ?? [])) / 2);
        const furthest = Math.max(
            1.5,
            ...reach(listener?.position).map(Math.abs),
            ...sounds.map((sound, i) => Math.max(...reach(sound.position).map(Math.abs)) + spreads[i]),
        );
        const { width, height } = document.getElementById('top').getBoundingClientRect();
        this.scale = Math.min(160, (Math.min(width, height) / 2 - 34) / furthest);
        this.#draw();
    }

    /** Moves a sound by metres of the world, starting from where it was. */
    moveSound(name, from, by, gesture) {
        const sound = this.model.find(name);
        if (sound)
            this.model.changeSound(
                name,
                { position: rounded(shifted(from, ownMove(sound, this.places.listener, by))) },
                gesture,
            );
    }

    moveListener(from, by, gesture) {
        this.model.changeListener({ position: rounded(shifted(from, by)) }, gesture);
    }

    turnListener(from, by, gesture) {
        this.model.changeListener({ turn: rounded(shifted(from, [by, 0, 0])) }, gesture);
    }

    /** Says where a sound is now, after a key moved it. */
    announce(name) {
        const { sounds } = placesAt(this.model.scene, this.audio.frame);
        const found = sounds.find(({ sound }) => sound.name === name);
        if (found) tell(`${name}: ${describe(found.place)}`);
    }

    /** Where a sound's voices are around its position. */
    offsets(sound) {
        if (!this.#offsets.has(sound))
            this.#offsets.set(
                sound,
                voicesOf({ ...sound, start: 0 }).map((voice) => voice.offset),
            );
        return this.#offsets.get(sound);
    }

    /** Points along a path; none for what stays where it is. */
    path(value) {
        if (!isMoving(value)) return [];
        if (!this.#paths.has(value)) {
            const frames = pointsOf(value).map((point) => frameOf(point.at));
            const between = frames.flatMap((frame, i) =>
                Array.from({ length: 8 }, (_, k) => frame + (((frames[i + 1] ?? frame) - frame) * k) / 8),
            );
            this.#paths.set(
                value,
                between.map((frame) => tripleAt(value, frame)),
            );
        }
        return this.#paths.get(value);
    }

    heading() {
        return tripleAt(this.model.scene.listener?.turn, this.audio.frame)[0];
    }

    // Four pictures a second say where things are to those who do not want motion.
    #animate(last) {
        requestAnimationFrame((now) => {
            const isDue = now - last >= (motionIsReduced() ? 250 : 0);
            if (isDue && this.audio.isRunning && !this.audio.isPaused) this.#draw();
            this.#animate(isDue ? now : last);
        });
    }

    #draw(isEdited = false) {
        this.places = placesAt(this.model.scene, this.audio.frame);
        for (const view of this.views) view.draw(isEdited);
    }
}

// To a centimetre and a hundredth of a degree: files stay readable.
function rounded(value) {
    const round = (numbers) => numbers.map((x) => Math.round(x * 100) / 100);
    if (!isMoving(value)) return round(value);
    const points = pointsOf(value).map((point) => ({ ...point, value: round(point.value) }));
    return Array.isArray(value) ? points : { ...value, points };
}
