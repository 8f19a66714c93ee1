/** element('p', {className: 'quiet'}, child, ...) */
export function element(tag, members = {}, ...children) {
    const made = Object.assign(document.createElement(tag), members);
    made.append(...children);
    return made;
}

export const byId = (id) => document.getElementById(id);

export const motionIsReduced = () => matchMedia('(prefers-reduced-motion: reduce)').matches;

/**
 * A slider with its name and what it stands at.
 * @param {object} how label; min, max; isLog for equal ratios per step; text(value); input(value); done() at the gesture's end
 * @returns {{node: Element, show(value: number, isChanging?: boolean)}}
 */
export function slider({ label, min, max, isLog = false, text, input, done }) {
    const steps = 400;
    const toStep = (value) =>
        isLog ? (steps * Math.log(value / min)) / Math.log(max / min) : (steps * (value - min)) / (max - min);
    const toValue = (step) => (isLog ? min * (max / min) ** (step / steps) : min + ((max - min) * step) / steps);
    const shown = element('output');
    const range = element('input', { type: 'range', min: 0, max: steps, step: 1 });
    const say = (value, isChanging = false) => {
        shown.value = text(value) + (isChanging ? ' ~' : '');
        range.setAttribute('aria-valuetext', text(value) + (isChanging ? ', changing' : ''));
    };
    range.addEventListener('input', () => {
        const value = Number(toValue(Number(range.value)).toPrecision(3));
        say(value);
        input(value);
    });
    range.addEventListener('change', () => done?.());
    return {
        node: element('label', { className: 'slider' }, element('span', { textContent: label }), shown, range),
        show(value, isChanging) {
            if (document.activeElement !== range || !range.matches(':active'))
                range.value = toStep(Math.min(max, Math.max(min, value)));
            say(value, isChanging);
        },
    };
}

/** Buttons of which one is chosen. @returns {(chosen: string) => void} shows another choice */
export function choices(group, names, choose) {
    const buttons = Object.entries(names).map(([value, label]) => {
        const radio = element('input', { type: 'radio', name: group.id, value });
        radio.addEventListener('change', () => choose(value));
        return element('label', {}, radio, element('span', { textContent: label }));
    });
    group.append(...buttons);
    return (chosen) => {
        for (const radio of group.querySelectorAll('input')) radio.checked = radio.value === chosen;
    };
}

/** Says something to everyone: eyes and screen readers. */
export function tell(text, isFault = false) {
    const message = byId('message');
    message.textContent = text;
    message.classList.toggle('fault', isFault);
}

/** Runs what may fail; a fault becomes a sentence. */
export async function guarded(work) {
    try {
        return await work();
    } catch (error) {
        tell(error.message, true);
        return undefined;
    }
}
