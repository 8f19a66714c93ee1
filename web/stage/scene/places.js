import { tripleAt } from './curve.js';
import { axes, fromListener, relativeTo } from './geometry.js';

/**
 * Where everything of a scene is at a frame.
 * @returns {{listener, sounds: {sound, point: number[], place: number[]}[]}} points of the world, and the same as the
 *     listener has them; sounds without a place are left out
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

/** A move in the world, in the coordinates that a sound's position has. */
export function ownMove(sound, listener, move) {
    return sound.place === 'listener' ? relativeTo({ ...listener, position: [0, 0, 0] }, move) : move;
}
