import { frameOf, isMoving, numberAt, pointsOf, rate } from './curve.js';
import { randomNumbers } from './random.js';

const list = (value) => (Array.isArray(value) ? value : [value]);

/**
 * Every playing of a sound: a voice. The same seed spreads the copies as it does in a recording.
 * @returns {{frame: number, offset: number[], gain: number, speed: number}[]} gain and speed are factors
 */
export function voicesOf(sound) {
    const frames = list(sound.start ?? 0).map(frameOf);
    if (!sound.copies) return frames.map((frame) => ({ frame, offset: [0, 0, 0], gain: 1, speed: 1 }));
    const { count, seed = 1, spread = [0, 0, 0], delay = 0, gain = [1, 1], speed = [1, 1] } = sound.copies;
    const random = randomNumbers(seed);
    const within = (from, to) => from + (to - from) * (random.next().value / 4294967296);
    return frames.flatMap((frame) =>
        Array.from({ length: count }, () => ({
            offset: spread.map((width) => width * within(-0.5, 0.5)),
            frame: frame + Math.trunc(within(0, frameOf(delay))),
            gain: within(...gain),
            speed: within(...speed),
        })),
    );
}

/** How many voices a scene has in all. */
export const numVoices = (scene) =>
    scene.sounds.reduce((sum, sound) => sum + list(sound.start ?? 0).length * (sound.copies?.count ?? 1), 0);

/** Whether anything but loops that stand still is heard: then the scene begins anew after its length. */
export function isTimed(scene) {
    const { listener = {}, room, gain } = scene;
    return (
        isMoving(listener.position) ||
        isMoving(listener.turn) ||
        isMoving(gain) ||
        Array.isArray(room) ||
        Boolean(room?.points) ||
        scene.sounds.some(
            (sound) =>
                !sound.loop ||
                sound.start ||
                sound.stop ||
                sound.seek ||
                ['position', 'gain', 'speed', 'occlusion'].some((member) => isMoving(sound[member])),
        )
    );
}

/** Frames after which the scene begins anew. @param {(sound) => number} duration of a sound, frames */
export function lengthOf(scene, duration) {
    if (scene.length !== undefined && scene.length !== 'until silent') return frameOf(scene.length);
    const lastKey = (value) => (isMoving(value) ? frameOf(pointsOf(value).at(-1).at) : 0);
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
