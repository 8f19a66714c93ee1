import { frameOf, isMoving, pointsOf, tripleAt } from '../scene/curve.js';
import { describe } from '../scene/geometry.js';
import { ownMove, placesAt } from '../scene/places.js';
import { shifted } from '../scene/model.js';
import { voicesOf } from '../scene/voices.js';
import { found, motionIsReduced, tell } from './controls.js';
import { HeightView } from './height.js';
import { TopView } from './top.js';

/** @import { Model } from '../scene/model.js' */
/** @import { Moving, Places, Sound } from '../scene/types.js' */
/** @import { AudioStage } from '../sound/audio.js' */

const inner = 34; // px that stay free at the edge

/** What both views share: how large a metre is, where everything is just now, and how things are moved. */
export class StageMap {
    scale = 70; // px a metre
    /** @type {WeakMap<Sound, number[][]>} of a sound's copies */
    #offsets = new WeakMap();
    /** @type {WeakMap<object, number[][]>} points along what has key points */
    #paths = new WeakMap();

    /** @param {Model} model @param {AudioStage} audio */
    constructor(model, audio) {
        this.model = model;
        this.audio = audio;
        /** @type {Places} */
        this.places = placesAt(model.scene, 0);
        this.top = new TopView(found('top', SVGSVGElement), this);
        this.height = new HeightView(found('height', SVGSVGElement), this);
        for (const event of ['change', 'select', 'listen']) model.addEventListener(event, () => this.#draw(true));
        new ResizeObserver(() => this.#draw()).observe(this.top.root);
        this.#animate(0);
    }

    zoom(/** @type {number} */ factor) {
        this.scale = Math.min(400, Math.max(1, this.scale * factor));
        this.#draw();
    }

    /** Chooses the scale at which everything can be seen. */
    fit() {
        const reach = (/** @type {Moving<number[]> | undefined} */ value) =>
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
        const { width, height } = this.top.root.getBoundingClientRect();
        this.scale = Math.min(160, (Math.min(width, height) / 2 - inner) / furthest);
        this.#draw();
    }

    /** Sees to it that a point of the world can be seen. @param {number[]} point */
    reveal([x, , z]) {
        const { width, height } = this.top.root.getBoundingClientRect();
        const isSeen = Math.abs(x) * this.scale < width / 2 - inner && Math.abs(z) * this.scale < height / 2 - inner;
        if (!isSeen) this.fit();
    }

    /** Moves a sound by metres of the world, starting from where it was. @param {string} name @param {Moving<number[]> | undefined} from @param {number[]} by @param {string} gesture */
    moveSound(name, from, by, gesture) {
        const sound = this.model.find(name);
        if (sound)
            this.model.changeSound(
                name,
                { position: rounded(shifted(from, ownMove(sound, this.places.listener, by))) },
                gesture,
            );
    }

    /** @param {Moving<number[]> | undefined} from @param {number[]} by @param {string} gesture */
    moveListener(from, by, gesture) {
        this.model.changeListener({ position: rounded(shifted(from, by)) }, gesture);
    }

    /** @param {Moving<number[]> | undefined} from @param {number} by degrees @param {string} gesture */
    turnListener(from, by, gesture) {
        this.model.changeListener({ turn: rounded(shifted(from, [by, 0, 0])) }, gesture);
    }

    /** Says where a sound is now, after a key moved it. @param {string} name */
    announce(name) {
        const { sounds } = placesAt(this.model.scene, this.audio.frame);
        const found = sounds.find(({ sound }) => sound.name === name);
        if (found) tell(`${name}: ${describe(found.place)}`);
    }

    /** Where a sound's voices are around its position. @param {Sound} sound */
    offsets(sound) {
        const offsets = this.#offsets.get(sound) ?? voicesOf({ ...sound, start: 0 }).map((voice) => voice.offset);
        this.#offsets.set(sound, offsets);
        return offsets;
    }

    /** Points along a path; none for what stays where it is. @param {Moving<number[]> | undefined} value */
    path(value) {
        if (!isMoving(value)) return [];
        const known = this.#paths.get(value);
        if (known) return known;
        const frames = pointsOf(value).map((point) => frameOf(point.at));
        const between = frames.flatMap((frame, i) =>
            Array.from({ length: 8 }, (_, k) => frame + (((frames[i + 1] ?? frame) - frame) * k) / 8),
        );
        const path = between.map((frame) => tripleAt(value, frame));
        this.#paths.set(value, path);
        return path;
    }

    heading() {
        return tripleAt(this.model.scene.listener?.turn, this.audio.frame)[0];
    }

    // Four pictures a second say where things are to those who do not want motion.
    #animate(/** @type {number} */ last) {
        requestAnimationFrame((now) => {
            const isDue = now - last >= (motionIsReduced() ? 250 : 0);
            if (isDue && this.audio.isRunning && !this.audio.isPaused) this.#draw();
            this.#animate(isDue ? now : last);
        });
    }

    #draw(isEdited = false) {
        this.places = placesAt(this.model.scene, this.audio.frame);
        this.top.draw(isEdited);
        this.height.draw();
    }
}

// To a centimetre and a hundredth of a degree: files stay readable.
/** @param {Moving<number[]>} value @returns {Moving<number[]>} */
function rounded(value) {
    const round = (/** @type {number[]} */ numbers) => numbers.map((x) => Math.round(x * 100) / 100);
    if (!isMoving(value)) return round(value);
    const points = pointsOf(value).map((point) => ({ ...point, value: round(point.value) }));
    return Array.isArray(value) ? points : { ...value, points };
}
