// What the calls of the package take. What is wrong throws at once, with a sentence.

/** @param {string} expected @param {unknown} found @returns {never} */
export function refuse(expected, found) {
    throw new TypeError(`expected ${expected}, found ${excerpt(found)}`);
}

/** @param {unknown} value */
function excerpt(value) {
    if (typeof value !== 'object') return String(value);
    const text = JSON.stringify(value) ?? String(value);
    return text.length > 60 ? `${text.slice(0, 57)}...` : text;
}

/** @param {unknown} value @param {number} least @param {number} most @param {string} expected */
export function number(value, least, most, expected) {
    if (typeof value === 'number' && value >= least && value <= most) return value;
    return refuse(`${expected}, ${least} to ${most}`, value);
}

/** @param {any} value @param {string} expected @returns {[number, number, number]} */
export function vector(value, expected) {
    const isVector = value?.length === 3 && [...value].every((x) => Math.abs(x) <= 1e6);
    return isVector ? value : refuse(`${expected} of three numbers, -1e6 to 1e6`, value);
}

/** The frame at which something takes effect: at once, if there is none. @param {unknown} value */
export function time(value) {
    return value === undefined
        ? 0
        : Math.round(number(value, 0, Number.MAX_SAFE_INTEGER, 'a frame of the audio context'));
}
