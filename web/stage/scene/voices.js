import { frameOf, isMoving, isRoom, numberAt, pointsOf, rate } from './curve.js';
import { randomNumbers } from './random.js';

/** @import { Scene, Sound } from './types.js' */

/** @template T @param {T | T[]} value @returns {T[]} */
const list = (value) => (Array.isArray(value) ? value : [value]);

/**
 * Every playing of a sound: a voice. The same seed spreads the copies as it does in a recording.
 * @param {Sound} sound
 * @returns {{frame: number, offset: number[], gain: number, speed: number}[]} gain and speed are factors
 */
export function voicesOf(sound) {
    const frames = list(sound.start ?? 0).map(frameOf);
    if (!sound.copies) return frames.map((frame) => ({ frame, offset: [0, 0, 0], gain: 1, speed: 1 }));
    const { count, seed = 1, spread = [0, 0, 0], delay = 0, gain = [1, 1], speed = [1, 1] } = sound.copies;
    const random = randomNumbers(seed);
    const within = (/** @type {number} */ from, /** @type {number} */ to) =>
        from + (to - from) * (random.next().value / 4294967296);
    return frames.flatMap((frame) =>
        Array.from({ length: count }, () => ({
            offset: spread.map((width) => width * within(-0.5, 0.5)),
            frame: frame + Math.trunc(within(0, frameOf(delay))),
            gain: within(gain[0], gain[1]),
            speed: within(speed[0], speed[1]),
        })),
    );
}

/** How many voices a scene has in all. @param {Scene} scene */
export const numVoices = (scene) =>
    scene.sounds.reduce((sum, sound) => sum + list(sound.start ?? 0).length * (sound.copies?.count ?? 1), 0);

/** Whether anything but loops that stand still is heard: then the scene begins anew after its length. @param {Scene} scene */
export function isTimed(scene) {
    const { listener = {}, room, gain } = scene;
    return (
        isMoving(listener.position) ||
        isMoving(listener.turn) ||
        isMoving(gain) ||
        (room !== undefined && !isRoom(room)) ||
        scene.sounds.some(
            (sound) =>
                !sound.loop ||
                sound.start ||
                sound.stop ||
                sound.seek ||
                isMoving(sound.position) ||
                [sound.gain, sound.speed, sound.occlusion].some((value) => isMoving(value)),
        )
    );
}

/** Frames after which the scene begins anew. @param {Scene} scene @param {(sound: Sound) => number} duration of a sound, frames */
export function lengthOf(scene, duration) {
    if (scene.length !== undefined && scene.length !== 'until silent') return frameOf(scene.length);
    const lastKey = (/** @type {Sound['position']} */ value) =>
        isMoving(value) ? frameOf(pointsOf(value).slice(-1)[0].at) : 0;
    const ends = scene.sounds.map((sound) => {
        const ended = Math.max(
            ...voicesOf(sound).map(
                (voice) => voice.frame + duration(sound) / (voice.speed * numberAt(sound.speed, voice.frame, 1)),
            ),
        );
        const stop = sound.stop === undefined ? Infinity : frameOf(sound.stop);
        return Math.max(Math.min(sound.loop ? 0 : ended, stop), lastKey(sound.position));
    });
    return Math.max(...ends) + 2 * rate; // and time to ring
}
