import { byId, element } from './controls.js';

const floor = -60; // dBFS, at the left end of a bar
const share = (level) => Math.max(0, Math.min(1, 1 - (20 * Math.log10(Math.max(level, 1e-9))) / floor));
const decibels = (level) => (level > 1e-5 ? `${(20 * Math.log10(level)).toFixed(1)} dB` : '−∞ dB');

const figures = {
    voices: ['Voices', (x) => x],
    sides: ['Sides of directions', (x) => x],
    load: ['Share of the quantum', (x) => `${(100 * x).toFixed(0)} %`],
    underruns: ['Underruns', (x) => x ?? 'not told'],
    limited: ['Limiter', (isLimited) => (isLimited ? 'holds' : 'rests')],
};

/** Levels of both ears, and how the engine fares. */
export class Meters {
    constructor(audio) {
        this.audio = audio;
        this.bars = ['Left', 'Right'].map((side) => {
            const [rms, peak, text] = [
                element('span', { className: 'rms' }),
                element('span', { className: 'peak' }),
                element('output'),
            ];
            const bar = element('div', { className: 'bar', role: 'meter' }, rms, peak);
            Object.entries({ label: side, valuemin: floor, valuemax: 0 }).forEach(([name, value]) =>
                bar.setAttribute(`aria-${name}`, value),
            );
            byId('levels').append(element('span', { textContent: side[0], ariaHidden: 'true' }), bar, text);
            return { rms, peak, text, bar };
        });
        this.values = Object.fromEntries(
            Object.entries(figures).map(([name, [label]]) => {
                const value = element('dd', { textContent: '–' });
                value.dataset.figure = name;
                byId('figures').append(element('div', {}, element('dt', { textContent: label }), value));
                return [name, value];
            }),
        );
        audio.addEventListener('meters', ({ detail }) => this.show(detail));
    }

    show(meters) {
        const { peak, rms } = this.audio.kind === 'engine' ? meters : this.audio.levels();
        const limited = meters.limited > (this.limited ?? 0); // frames since the start
        this.limited = meters.limited;
        this.bars.forEach((bar, side) => {
            bar.rms.style.clipPath = `inset(0 ${100 - 100 * share(rms[side])}% 0 0)`;
            bar.peak.style.left = `${100 * share(peak[side])}%`;
            bar.text.value = decibels(peak[side]);
            bar.bar.setAttribute(
                'aria-valuenow',
                Math.max(floor, 20 * Math.log10(Math.max(rms[side], 1e-9))).toFixed(1),
            );
        });
        for (const [name, [, text]] of Object.entries(figures)) {
            this.values[name].textContent = text(name === 'limited' ? limited : meters[name]);
        }
    }
}
