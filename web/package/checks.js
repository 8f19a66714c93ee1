// What the calls of the package take. What is wrong throws at once, with a sentence.

/** @param {string} expected @param {unknown} found @returns {never} */
export function refuse(expected, found) {
    throw new TypeError(`expected ${expected}, found ${excerpt(found)}`);
}

/** @param {unknown} value */
function excerpt(value) {
    const kind = kindOf(value);
    if (kind === 'Array') return `[${/** @type {any[]} */ (value).slice(0, 8).map(kindOf).join(', ')}]`;
    if (kind !== 'Object') return kind;
    const entries = Object.entries(/** @type {object} */ (value)).slice(0, 8);
    return `{ ${entries.map(([key, x]) => `${key}: ${kindOf(x)}`).join(', ')} }`;
}

// Never what a thing holds: that may be long.
/** @param {unknown} value */
function kindOf(value) {
    if (typeof value === 'string') return JSON.stringify(value.slice(0, 60));
    if (typeof value === 'function') return 'function';
    return value !== null && typeof value === 'object' ? (value.constructor?.name ?? 'Object') : String(value);
}

/** @param {unknown} value @param {number} least @param {number} most @param {string} expected */
export function number(value, least, most, expected) {
    if (typeof value === 'number' && value >= least && value <= most) return value;
    return refuse(`${expected}, ${least} to ${most}`, value);
}

/** @param {any} value @param {string} expected @returns {[number, number, number]} */
export function vector(value, expected) {
    const isVector = value?.length === 3 && [...value].every((x) => typeof x === 'number' && Math.abs(x) <= 1e6);
    return isVector ? value : refuse(`${expected} of three numbers, -1e6 to 1e6`, value);
}

/** The frame at which something takes effect: at once, if there is none. @param {unknown} value */
export function time(value) {
    return value === undefined
        ? 0
        : Math.round(number(value, 0, Number.MAX_SAFE_INTEGER, 'a frame of the audio context'));
}

/** The bytes of a file, or null for none. @param {any} value @returns {Uint8Array | null} */
export function bytes(value) {
    if (value === undefined || value === null) return null;
    if (value instanceof Uint8Array) return value;
    return value instanceof ArrayBuffer ? new Uint8Array(value) : refuse('an ArrayBuffer or a Uint8Array', value);
}
