// The world is in metres: a listener who is not turned looks along -z, has +x on the right and +y above.

/** @import { Axes } from './types.js' */

const degree = Math.PI / 180;
const dot = (/** @type {number[]} */ a, /** @type {number[]} */ b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];

/** @param {number[]} a @param {number[]} b */
export const add = (a, b) => a.map((x, i) => x + b[i]);

/** @param {number[]} turn heading (to the right), pitch (upwards) and roll (to the right shoulder), degrees @returns {Axes} */
export function axes([heading, pitch, roll]) {
    const [sinH, cosH] = [Math.sin(heading * degree), Math.cos(heading * degree)];
    const [sinP, cosP] = [Math.sin(pitch * degree), Math.cos(pitch * degree)];
    const [sinR, cosR] = [Math.sin(roll * degree), Math.cos(roll * degree)];
    const front = [sinH * cosP, sinP, -cosH * cosP];
    const up = [cosR * -sinH * sinP + sinR * cosH, cosR * cosP, cosR * cosH * sinP + sinR * sinH];
    const right = [
        front[1] * up[2] - front[2] * up[1],
        front[2] * up[0] - front[0] * up[2],
        front[0] * up[1] - front[1] * up[0],
    ];
    return { front, up, right };
}

/** Where a point of the world is for a listener: +x right, +y up, +z ahead. @param {{ position: number[], axes: Axes }} listener @param {number[]} point */
export function relativeTo(listener, point) {
    const offset = point.map((x, i) => x - listener.position[i]);
    const { front, up, right } = listener.axes;
    return [dot(offset, right), dot(offset, up), dot(offset, front)];
}

/** And the way back: the point of the world that lies there. @param {{ position: number[], axes: Axes }} listener @param {number[]} point */
export function fromListener(listener, [x, y, z]) {
    const { front, up, right } = listener.axes;
    return listener.position.map((origin, i) => origin + x * right[i] + y * up[i] + z * front[i]);
}

/** Distance in metres, azimuth (to the right) and elevation in degrees of a place relative to the listener. @param {number[]} place */
export function direction([x, y, z]) {
    const distance = Math.hypot(x, y, z);
    return {
        distance,
        azimuth: Math.atan2(x, z) / degree,
        elevation: distance > 0 ? Math.asin(y / distance) / degree : 0,
    };
}

/** As a screen reader says it: "2.3 metres, 45 degrees right, 10 degrees up". @param {number[]} place */
export function describe(place) {
    const { distance, azimuth, elevation } = direction(place);
    const degrees = (/** @type {number} */ x) => `${x} degree${x === 1 ? '' : 's'}`;
    const parts = [`${distance.toFixed(1)} metres`];
    const side = Math.round(Math.abs(azimuth)),
        height = Math.round(Math.abs(elevation));
    if (side === 0) parts.push('straight ahead');
    else if (side === 180) parts.push('behind');
    else parts.push(`${degrees(side)} ${azimuth > 0 ? 'right' : 'left'}`);
    if (height > 0) parts.push(`${degrees(height)} ${elevation > 0 ? 'up' : 'down'}`);
    return parts.join(', ');
}

/** And a point of the world: "0.25 metres left, 1.00 metres ahead" of its middle. @param {number[]} point */
export function describePoint([x, y, z]) {
    const parts = [x < 0 ? 'left' : 'right', y < 0 ? 'down' : 'up', z < 0 ? 'ahead' : 'back']
        .map((side, i) => `${Math.abs([x, y, z][i]).toFixed(2)} metres ${side}`)
        .filter((part) => !part.startsWith('0.00'));
    return parts.join(', ') || 'in the middle';
}
