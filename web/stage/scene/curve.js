// Values over time, as scene files have them: one value, a list of key points, or {interpolation, points}.

/** @import { Keys, Moving, Room, Time } from './types.js' */

/** Frames a second, live and recorded: a time in frames means the same moment in both. */
export const rate = 48000;

/** @param {Time} time seconds or frames @returns {number} frames */
export const frameOf = (time) => (typeof time === 'object' ? time.frame : Math.round(time * rate));

const isNumbers = (/** @type {unknown} */ value) => Array.isArray(value) && typeof value[0] === 'number';

/**
 * Whether the value changes, that is, has key points.
 * @template T @param {Moving<T> | undefined} value @returns {value is Keys<{ at: Time, value: T }>}
 */
export const isMoving = (value) => typeof value === 'object' && value !== null && !isNumbers(value);

/** @template P @param {Keys<P>} value @returns {P[]} */
export const pointsOf = (value) => (Array.isArray(value) ? value : value.points);

/** N numbers over time, made from its key points by `read`; before the first and after the last they stay. */
class Curve {
    constructor(/** @type {Keys<any>} */ value, /** @type {(point: any) => number[]} */ read) {
        this.keys = pointsOf(value).map((point) => ({ frame: frameOf(point.at), value: read(point) }));
        this.interpolation = (!Array.isArray(value) && value.interpolation) || 'linear';
    }

    /** @param {number} frame */
    at(frame) {
        const { keys } = this;
        let next = keys.findIndex((key) => key.frame > frame);
        if (next === 0) return keys[0].value;
        if (next < 0) next = keys.length;
        const a = keys[next - 1];
        if (next === keys.length || this.interpolation === 'hold') return a.value;
        const b = keys[next],
            length = b.frame - a.frame,
            t = (frame - a.frame) / length;
        return a.value.map((start, i) => {
            const straight = start + (b.value[i] - start) * t;
            if (this.interpolation === 'linear') return straight;
            const secant = (b.value[i] - start) / length;
            const slopeA = this.slope(next - 1, i) - secant,
                slopeB = this.slope(next, i) - secant;
            return straight + length * t * (1 - t) * (slopeA * (1 - t) - slopeB * t);
        });
    }

    /** @param {number} k @param {number} i */
    secant(k, i) {
        const [a, b] = [this.keys[k], this.keys[k + 1]];
        return (b.value[i] - a.value[i]) / (b.frame - a.frame);
    }

    hasBefore(/** @type {number} */ k) {
        return k > 0 && this.keys[k - 1].frame < this.keys[k].frame;
    }
    hasAfter(/** @type {number} */ k) {
        return k + 1 < this.keys.length && this.keys[k].frame < this.keys[k + 1].frame;
    }

    // The weighted harmonic mean of the slopes on both sides, 0 at a turning point, which keeps a cubic between its ends
    // (F. N. Fritsch, J. Butland, SIAM J. Sci. Stat. Comput. 5 (1984)); at an end, that of a cubic without curvature there.
    /** @param {number} k @param {number} i @returns {number} */
    slope(k, i) {
        if (!this.hasBefore(k)) {
            return this.hasAfter(k + 1) ? (3 * this.secant(k, i) - this.slope(k + 1, i)) / 2 : this.secant(k, i);
        }
        const before = this.secant(k - 1, i);
        if (!this.hasAfter(k)) return this.hasBefore(k - 1) ? (3 * before - this.slope(k - 1, i)) / 2 : before;
        const after = this.secant(k, i);
        if (before * after <= 0) return 0;
        const lengthBefore = this.keys[k].frame - this.keys[k - 1].frame;
        const lengthAfter = this.keys[k + 1].frame - this.keys[k].frame;
        const w1 = 2 * lengthAfter + lengthBefore,
            w2 = lengthAfter + 2 * lengthBefore;
        return (w1 + w2) / (w1 / before + w2 / after);
    }
}

// Edits replace the list of key points that they change, so its curve stays true as long as the list lives.
/** @type {WeakMap<object, Curve>} */
const curves = new WeakMap();

/** @param {Keys<any>} value @param {(point: any) => number[]} read @returns {Curve} */
function curveOf(value, read) {
    const curve = curves.get(value) ?? new Curve(value, read);
    curves.set(value, curve);
    return curve;
}

/** Of a gain, a speed or an occlusion at a frame. @param {Moving<number> | undefined} value @param {number} frame @param {number} otherwise */
export const numberAt = (value, frame, otherwise) =>
    isMoving(value) ? curveOf(value, (point) => [point.value]).at(frame)[0] : (value ?? otherwise);

/** x, y, z of a position, or heading, pitch, roll of a turn, at a frame. @param {Moving<number[]> | undefined} value @param {number} frame */
export const tripleAt = (value, frame) =>
    isMoving(value) ? curveOf(value, (point) => point.value).at(frame) : (value ?? [0, 0, 0]);

/**
 * Volume, area, size, wetLevelA and wetLevelB at a frame; null without a room.
 * @param {Room | Keys<Room & { at: Time }> | undefined} room @param {number} frame
 */
export function roomAt(room, frame) {
    if (!room) return null;
    return isRoom(room) ? roomNumbers(room) : curveOf(room, roomNumbers).at(frame);
}

/** One room, which stays. @param {Room | Keys<Room & { at: Time }> | undefined} room @returns {room is Room} */
export const isRoom = (room) => Boolean(room) && !Array.isArray(room) && !('points' in /** @type {Room} */ (room));

/** A room's volume (m³), wall area (m²), longest side (m) and wet levels. @param {Room} room */
export function roomNumbers(room) {
    let { volume = 0, area = 0, size = 0 } = room;
    if (room.dimensions) {
        const [x, y, z] = room.dimensions;
        [volume, area, size] = [x * y * z, 2 * (x * y + y * z + z * x), Math.max(x, y, z)];
    }
    return [volume, area, size, room.wetLevelA ?? 1, room.wetLevelB ?? 1];
}
