import { preload, rt60 } from 'kalmarble';
import { roomAt } from '../scene/curve.js';
import { byId, choices, slider } from './controls.js';

const presets = {
    dry: undefined,
    small: { dimensions: [5, 2.8, 6] },
    hall: { dimensions: [20, 12, 35] },
};
const names = { dry: 'Dry', small: 'Small', hall: 'Hall', free: 'Free' };
const starting = [8, 4, 10]; // m: the free room, where the scene's has no measures

/** The room: its measures, what the engine makes of them, and how long it rings. */
export class RoomPanel {
    constructor(model, audio) {
        Object.assign(this, { model, audio });
        this.choose = choices(byId('rooms'), names, (name) => {
            if (name === 'free') this.#change({ dimensions: this.#dimensions() });
            else model.change({ room: presets[name] });
        });
        const done = () => model.endGesture();
        const metres = (x) => `${x.toPrecision(3)} m`;
        const level = (x) => x.toFixed(2);
        this.sides = [
            ['Width', 0],
            ['Depth', 2],
            ['Height', 1],
        ].map(([label, side]) => ({
            side,
            ...slider({
                label,
                min: 1,
                max: 200,
                isLog: true,
                text: metres,
                done,
                input: (value) => {
                    this.#change({ dimensions: this.#dimensions().map((length, i) => (i === side ? value : length)) });
                },
            }),
        }));
        this.levels = ['A', 'B'].map((which) => ({
            member: `wetLevel${which}`,
            ...slider({
                label: `Wet ${which}`,
                min: 0,
                max: 1,
                text: level,
                done,
                input: (value) => this.#change({ [`wetLevel${which}`]: value }),
            }),
        }));
        byId('roomSliders').append(...[...this.sides, ...this.levels].map(({ node }) => node));
        model.addEventListener('change', () => this.show());
        preload().then(
            () => this.#beReady(),
            () => {},
        ); // Start says what is wrong
    }

    #beReady() {
        this.isReady = true;
        this.show();
    }

    get #room() {
        const { room } = this.model.scene;
        return room && !Array.isArray(room) && !room.points ? room : null;
    }

    #dimensions() {
        return this.#room?.dimensions ?? starting;
    }

    // A room that changes over time, or that has no measures, becomes one that is as it is now made.
    #change(members) {
        const { room: former } = this.model.scene;
        const [volume, area, size] = roomAt(former, this.audio.frame) ?? [];
        const before = this.#room ?? (former ? { volume, area, size } : { dimensions: starting });
        const { wetLevelA, wetLevelB, ...measures } = before;
        const kept = members.dimensions ? {} : measures;
        const levels = Object.fromEntries(
            Object.entries({ wetLevelA, wetLevelB }).filter(([, value]) => value !== undefined),
        );
        const room = { ...kept, ...levels, ...members };
        if (members.dimensions) this.free = room; // even where it has a preset's measures
        this.model.change({ room }, `room ${Object.keys(members)}`);
    }

    show() {
        const { room } = this.model.scene;
        const now = roomAt(room, this.audio.frame);
        const same = (name) =>
            presets[name] && JSON.stringify(presets[name].dimensions) === JSON.stringify(room.dimensions);
        this.choose(!room ? 'dry' : this.isFree ? 'free' : (['small', 'hall'].find(same) ?? 'free'));
        const [width, height, depth] = this.#dimensions();
        for (const { side, show } of this.sides) show([width, height, depth][side]);
        for (const [i, { show }] of this.levels.entries()) show(now ? now[3 + i] : 1);
        byId('roomSliders').classList.toggle('dim', !room);
        byId('roomFacts').textContent = now ? this.#facts(now) : 'No walls: next to no reverberation.';
    }

    #facts([volume, area, size, wetA, wetB]) {
        const round = (x) => Number(x.toPrecision(3)).toLocaleString('en');
        const facts = `${round(volume)} m³ within ${round(area)} m² of walls, ${round(size)} m long.`;
        const times = this.isReady && rt60({ volume, area, size, wetA: Math.min(1, wetA), wetB: Math.min(1, wetB) });
        return times
            ? `${facts} Rings for ${times.long.toFixed(2)} s (rt60), its middle reverb for ${times.middle.toFixed(2)} s.`
            : facts;
    }
}
