import { tripleAt } from './curve.js';
import { axes, fromListener, relativeTo } from './geometry.js';

/** @import { Axes, NamedScene, Places, Sound } from './types.js' */

/**
 * Where everything of a scene is at a frame.
 * @param {NamedScene} scene @param {number} frame
 * @returns {Places} sounds without a place are left out
 */
export function placesAt(scene, frame) {
    const turn = tripleAt(scene.listener?.turn, frame);
    const listener = { position: tripleAt(scene.listener?.position, frame), turn, axes: axes(turn) };
    const sounds = scene.sounds
        .filter((sound) => sound.place !== 'none')
        .map((sound) => {
            const own = tripleAt(sound.position, frame);
            const point = sound.place === 'listener' ? fromListener(listener, own) : own;
            return { sound, point, place: relativeTo(listener, point) };
        });
    return { listener, sounds };
}

/** Around the listener, each a golden angle from the one before and a little further away. @param {NamedScene} scene */
export function nextPlace({ sounds }) {
    const angle = (sounds.length * 137.5 * Math.PI) / 180;
    const distance = 1 + 0.3 * Math.sqrt(sounds.length);
    return [distance * Math.sin(angle), 0, -distance * Math.cos(angle)].map((x) => Math.round(100 * x) / 100);
}

/** A move in the world, in the coordinates that a sound's position has. @param {Sound} sound @param {{ axes: Axes }} listener @param {number[]} move */
export function ownMove(sound, listener, move) {
    return sound.place === 'listener' ? relativeTo({ ...listener, position: [0, 0, 0] }, move) : move;
}
