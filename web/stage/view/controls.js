/** @typedef {{ node: HTMLElement, show: (value: number, isChanging?: boolean) => void }} Slider */

/**
 * element('p', {className: 'quiet'}, child, ...)
 * @template {keyof HTMLElementTagNameMap} T @param {T} tag @param {object} members @param {(Node | string)[]} children
 */
export function element(tag, members = {}, ...children) {
    const made = Object.assign(document.createElement(tag), members);
    made.append(...children);
    return made;
}

/** What the page has under an id. @param {string} id */
export const byId = (id) => found(id, HTMLElement);
export const buttonById = (/** @type {string} */ id) => found(id, HTMLButtonElement);
export const inputById = (/** @type {string} */ id) => found(id, HTMLInputElement);
export const selectById = (/** @type {string} */ id) => found(id, HTMLSelectElement);
export const outputById = (/** @type {string} */ id) => found(id, HTMLOutputElement);

/** @template {Element} T @param {string} id @param {new () => T} kind @returns {T} */
export function found(id, kind) {
    const node = document.getElementById(id);
    if (!(node instanceof kind)) throw new Error(`The page has no ${kind.name} called ${id}.`);
    return node;
}

export const motionIsReduced = () => matchMedia('(prefers-reduced-motion: reduce)').matches;

/** A number as it is printed: with a minus, not a hyphen. @param {number} value @param {number} digits */
export const printed = (value, digits) =>
    value
        .toFixed(digits)
        .replace(/^-(?=0(\.0*)?$)/, '')
        .replace('-', '−');

/**
 * A slider with its name and what it stands at.
 * @param {object} how
 * @param {string} how.label
 * @param {number} how.min
 * @param {number} how.max
 * @param {boolean} [how.isLog] equal ratios per step
 * @param {(value: number) => string} how.text
 * @param {(value: number) => void} how.input
 * @param {() => void} [how.done] at the gesture's end
 * @returns {Slider}
 */
export function slider({ label, min, max, isLog = false, text, input, done }) {
    const steps = 400;
    const toStep = (/** @type {number} */ value) =>
        isLog ? (steps * Math.log(value / min)) / Math.log(max / min) : (steps * (value - min)) / (max - min);
    const toValue = (/** @type {number} */ step) =>
        isLog ? min * (max / min) ** (step / steps) : min + ((max - min) * step) / steps;
    const shown = element('output', { ariaHidden: 'true' }); // the slider says it itself
    const range = element('input', { type: 'range', min: 0, max: steps, step: 1 });
    const say = (/** @type {number} */ value, isChanging = false) => {
        shown.value = text(value);
        shown.classList.toggle('changing', isChanging);
        shown.title = isChanging ? 'Changes over time' : '';
        range.setAttribute('aria-valuetext', text(value) + (isChanging ? ', changing' : ''));
    };
    range.addEventListener('input', () => {
        const value = Number(toValue(Number(range.value)).toPrecision(3));
        say(value);
        input(value);
    });
    range.addEventListener('change', () => done?.());
    return {
        node: element('label', { className: 'slider' }, element('span', { textContent: label }), range, shown),
        show(value, isChanging) {
            if (document.activeElement !== range || !range.matches(':active'))
                range.value = String(toStep(Math.min(max, Math.max(min, value))));
            say(value, isChanging);
        },
    };
}

/**
 * Buttons of which one is chosen.
 * @template {string} T @param {HTMLElement} group @param {Record<T, string>} names @param {(name: T) => void} choose
 * @returns {(chosen: T) => void} shows another choice
 */
export function choices(group, names, choose) {
    const radios = /** @type {T[]} */ (Object.keys(names)).map((value) => {
        const radio = element('input', { type: 'radio', name: group.id, value });
        radio.addEventListener('change', () => choose(value));
        group.append(element('label', {}, radio, element('span', { textContent: names[value] })));
        return radio;
    });
    return (chosen) => {
        for (const radio of radios) radio.checked = radio.value === chosen;
    };
}

/** Says something to everyone: eyes and screen readers. @param {string} text */
export function tell(text, isFault = false) {
    const message = byId('message');
    message.textContent = text;
    message.classList.toggle('fault', isFault);
}

/** Takes a sound away, and says so. @param {import('../scene/model.js').Model} model @param {string} name @returns {boolean} */
export function removeSound(model, name) {
    const isGone = model.remove(name);
    tell(isGone ? `${name} is gone; Undo brings it back.` : 'A scene keeps one sound at least.');
    return isGone;
}

/** Runs what may fail; a fault becomes a sentence. @template T @param {() => T | Promise<T>} work */
export async function guarded(work) {
    try {
        return await work();
    } catch (error) {
        tell(error instanceof Error ? error.message : String(error), true);
        return undefined;
    }
}
