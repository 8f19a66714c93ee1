import { byId, element, printed } from './controls.js';

/** @import { Meters as Heard } from 'kalmarble' */
/** @import { AudioStage } from '../sound/audio.js' */

const floor = -60; // dBFS, at the left end of a bar
const held = 20; // reports for which a peak stands, and what the limiter did: a second
const share = (/** @type {number} */ level) =>
    Math.max(0, Math.min(1, 1 - (20 * Math.log10(Math.max(level, 1e-9))) / floor));
const decibels = (/** @type {number} */ level) => (level > 1e-5 ? `${printed(20 * Math.log10(level), 1)} dB` : '−∞ dB');

/** @type {Record<string, { label: string, meaning: string, text: (meters: Heard, isLimited: boolean) => string }>} */
const figures = {
    voices: {
        label: 'Voices',
        meaning: 'Sounds that the engine plays just now',
        text: ({ voices }) => String(voices),
    },
    sides: {
        label: 'Directions in use',
        meaning: 'Sides of measured directions: voices that share one are filtered together',
        text: ({ sides }) => String(sides),
    },
    load: {
        label: 'Share of the quantum',
        meaning: 'Of the 2.7 ms that the browser leaves for 128 frames, what the engine takes',
        text: ({ load }) => `${(100 * load).toFixed(0)} %`,
    },
    underruns: {
        label: 'Underruns',
        meaning: 'How often the browser ran out of sound',
        text: ({ underruns }) => String(underruns ?? 'not counted here'),
    },
    limited: {
        label: 'Limiter',
        meaning: 'Whether it brings sound down to full scale',
        text: (_, isLimited) => (isLimited ? 'at work' : 'at rest'),
    },
};

/** Levels of both ears, and how the engine fares. */
export class Meters {
    /** @type {{ peak: number[], limited: number }[]} of the last second */
    #recent = [];

    /** @param {AudioStage} audio */
    constructor(audio) {
        this.audio = audio;
        this.bars = ['Left', 'Right'].map((side) => {
            const [rms, peak, text] = [
                element('span', { className: 'rms' }),
                element('span', { className: 'peak' }),
                element('output', { value: '−∞ dB', ariaHidden: 'true' }),
            ];
            const bar = element('div', { className: 'bar', role: 'meter' }, rms, peak);
            Object.entries({ label: side, valuemin: floor, valuemax: 0 }).forEach(([name, value]) =>
                bar.setAttribute(`aria-${name}`, String(value)),
            );
            byId('levels').append(element('span', { textContent: side[0], ariaHidden: 'true' }), bar, text);
            return { rms, peak, text, bar };
        });
        this.values = Object.fromEntries(
            Object.entries(figures).map(([name, { label, meaning }]) => {
                const value = element('dd', { textContent: '–' });
                value.dataset.figure = name;
                byId('figures').append(
                    element('div', { title: meaning }, element('dt', { textContent: label }), value),
                );
                return [name, value];
            }),
        );
        audio.addEventListener('meters', (event) => this.show(/** @type {CustomEvent<Heard>} */ (event).detail));
    }

    /** @param {Heard} meters */
    show(meters) {
        const { peak, rms } = this.audio.kind === 'engine' ? meters : this.audio.levels();
        this.#recent = [...this.#recent, { peak, limited: meters.limited }].slice(-held);
        const isLimited = meters.limited > this.#recent[0].limited;
        this.bars.forEach((bar, side) => {
            bar.rms.style.clipPath = `inset(0 ${100 - 100 * share(rms[side])}% 0 0)`;
            const highest = Math.max(...this.#recent.map((each) => each.peak[side]));
            bar.peak.style.left = `${100 * share(highest)}%`;
            bar.text.value = decibels(highest);
            bar.bar.setAttribute(
                'aria-valuenow',
                Math.max(floor, 20 * Math.log10(Math.max(rms[side], 1e-9))).toFixed(1),
            );
        });
        for (const [name, { text }] of Object.entries(figures)) this.values[name].textContent = text(meters, isLimited);
    }
}
