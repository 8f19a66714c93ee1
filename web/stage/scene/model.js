import { add } from './geometry.js';
import { isMoving, pointsOf } from './curve.js';

/** @import { Keys, Moving, NamedScene, NamedSound, Scene, Sound } from './types.js' */

export const mostSounds = 64;
const mostUndone = 200;

const stem = (/** @type {string} */ name) => name.replace(/^.*[/\\]/, '').replace(/\.[^.]*$/, '');

/** A name that no sound of the scene has yet. @param {Scene} scene @param {string} wanted */
export function freeName(scene, wanted) {
    const taken = new Set(scene.sounds.map((sound) => sound.name));
    let name = wanted;
    for (let number = 2; taken.has(name); ++number) name = `${wanted}-${number}`;
    return name;
}

// Names are how the page tells sounds apart, so every sound gets the one that a recording would give it.
/** @param {Scene} scene */
function withNames(scene) {
    /** @type {NamedScene} */
    const named = { ...scene, sounds: [] };
    for (const sound of scene.sounds) {
        named.sounds.push({
            ...sound,
            name: sound.name ?? freeName(named, sound.file ? stem(sound.file) : (sound.synth?.kind ?? 'sound')),
        });
    }
    return named;
}

/** A path or a point, moved. @param {Moving<number[]> | undefined} value @param {number[]} by @returns {Moving<number[]>} */
export function shifted(value = [0, 0, 0], by) {
    if (!isMoving(value)) return add(value, by);
    const points = pointsOf(value).map((point) => ({ ...point, value: add(point.value, by) }));
    return Array.isArray(value) ? points : { ...value, points };
}

/**
 * What the page shows and plays: a scene file's content, what is selected, and the way back.
 * Events: 'change' (of the scene), 'select', 'listen' (mute and solo, which belong to the ear and not to the scene).
 */
export class Model extends EventTarget {
    /** @type {NamedScene} */
    scene = { sounds: [] };
    /** @type {string | null} the name of a sound, or null for none */
    selected = null;
    /** @type {Set<string>} */
    muted = new Set();
    /** @type {Set<string>} */
    solo = new Set();
    /** @type {NamedScene[]} */
    #undo = [];
    /** @type {NamedScene[]} */
    #redo = [];
    /** @type {string | null} */
    #gesture = null;

    get sound() {
        return this.find(this.selected);
    }
    get canUndo() {
        return this.#undo.length > 0;
    }
    get canRedo() {
        return this.#redo.length > 0;
    }

    find(/** @type {string | null} */ name) {
        return this.scene.sounds.find((sound) => sound.name === name);
    }

    isHeard(/** @type {string} */ name) {
        return !this.muted.has(name) && (this.solo.size === 0 || this.solo.has(name));
    }

    /** Takes a whole scene, as a file holds it. @param {Scene} scene */
    open(scene) {
        this.#remember(null);
        this.muted.clear();
        this.solo.clear();
        this.#show(withNames(scene));
    }

    /**
     * Changes members of the scene.
     * @param {Partial<NamedScene>} members
     * @param {string | null} [gesture] changes of one gesture in a row (a drag, a slider) are undone together
     */
    change(members, gesture = null) {
        this.#remember(gesture);
        this.#show({ ...this.scene, ...members });
    }

    /** Changes members of a sound; those given as undefined go. @param {string | null} name @param {Partial<NamedSound>} members @param {string | null} [gesture] */
    changeSound(name, members, gesture = null) {
        this.change(
            { sounds: this.scene.sounds.map((sound) => (sound.name === name ? { ...sound, ...members } : sound)) },
            gesture && `${gesture} ${name}`,
        );
    }

    /** @param {Scene['listener']} members @param {string} gesture */
    changeListener(members, gesture) {
        this.change({ listener: { ...this.scene.listener, ...members } }, gesture);
    }

    /** @param {NamedSound} sound @returns {boolean} whether there was room for it */
    add(sound) {
        if (this.scene.sounds.length >= mostSounds) return false;
        const name = freeName(this.scene, sound.name);
        this.change({ sounds: [...this.scene.sounds, { ...sound, name }] });
        this.select(name);
        return true;
    }

    /** @param {string | null} name @returns {boolean} */
    remove(name) {
        const place = this.scene.sounds.findIndex((sound) => sound.name === name);
        const sounds = this.scene.sounds.filter((sound) => sound.name !== name);
        if (place < 0 || sounds.length === 0) return false; // a scene holds one sound at least
        this.change({ sounds });
        this.select(sounds[Math.min(place, sounds.length - 1)].name);
        return true;
    }

    /** @param {string} name @param {string} wanted @returns {boolean} whether the name can be had */
    rename(name, wanted) {
        const taken = wanted !== name && this.find(wanted);
        if (!wanted || /[/\\]/.test(wanted) || taken) return false;
        const isSelected = this.selected === name;
        this.changeSound(name, { name: wanted });
        for (const names of [this.muted, this.solo]) if (names.delete(name)) names.add(wanted);
        if (isSelected) this.select(wanted);
        return true;
    }

    select(/** @type {string} */ name) {
        this.selected = name;
        this.#say('select');
    }

    /** @param {'muted' | 'solo'} which @param {string} name */
    toggle(which, name) {
        if (!this[which].delete(name)) this[which].add(name);
        this.#say('listen');
    }

    /** The next change begins a gesture of its own. */
    endGesture() {
        this.#gesture = null;
    }

    undo() {
        this.#step(this.#undo, this.#redo);
    }
    redo() {
        this.#step(this.#redo, this.#undo);
    }

    /** @param {NamedScene[]} from @param {NamedScene[]} to */
    #step(from, to) {
        const scene = from.pop();
        if (!scene) return;
        to.push(this.scene);
        this.#gesture = null;
        this.#show(scene);
    }

    // Scenes are never changed in place, so the way back is a list of them.
    #remember(/** @type {string | null} */ gesture) {
        if (gesture !== null && gesture === this.#gesture) return;
        this.#gesture = gesture;
        this.#redo = [];
        if (this.scene.sounds.length > 0) this.#undo.push(this.scene);
        if (this.#undo.length > mostUndone) this.#undo.shift();
    }

    #show(/** @type {NamedScene} */ scene) {
        this.scene = scene;
        if (!this.find(this.selected)) this.selected = scene.sounds[0]?.name ?? null;
        this.#say('change');
    }

    #say(/** @type {string} */ event) {
        this.dispatchEvent(new Event(event));
    }
}
