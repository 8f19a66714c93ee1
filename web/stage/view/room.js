import { preload, rt60 } from 'kalmarble';
import { isRoom, roomAt } from '../scene/curve.js';
import { byId, choices, slider } from './controls.js';

/** @import { Model } from '../scene/model.js' */
/** @import { Room } from '../scene/types.js' */
/** @import { AudioStage } from '../sound/audio.js' */

/** @typedef {'dry' | 'small' | 'hall' | 'free'} Choice */

/** @type {Partial<Record<Choice, Room>>} */
const presets = {
    small: { dimensions: [5, 2.8, 6] },
    hall: { dimensions: [20, 12, 35] },
};
const names = { dry: 'Dry', small: 'Small', hall: 'Hall', free: 'Free' };
const starting = [8, 4, 10]; // m: the free room, where the scene's has no measures

/** The room: its measures, what the engine makes of them, and how long it rings. */
export class RoomPanel {
    /** @type {Room | null} what was made by the sliders, or chosen to be: free even with a preset's measures */
    #free = null;
    #isReady = false;

    /** @param {Model} model @param {AudioStage} audio */
    constructor(model, audio) {
        this.model = model;
        this.audio = audio;
        this.choose = choices(byId('rooms'), names, (name) => {
            if (name === 'free') this.#change({ dimensions: this.#dimensions() });
            else model.change({ room: presets[name] });
            model.endGesture();
        });
        const done = () => model.endGesture();
        const metres = (/** @type {number} */ x) => `${x.toPrecision(3)} m`;
        const level = (/** @type {number} */ x) => x.toFixed(2);
        this.sides = Object.entries({ Width: 0, Depth: 2, Height: 1 }).map(([label, side]) => ({
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
            ...slider({
                label: `Wet level ${which}`,
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
        this.#isReady = true;
        this.show();
    }

    get #room() {
        const { room } = this.model.scene;
        return isRoom(room) ? room : null;
    }

    #dimensions() {
        return this.#room?.dimensions ?? starting;
    }

    // A room that changes over time, or that has no measures, becomes one that is as it is now made.
    /** @param {Room} members */
    #change(members) {
        const { room: former } = this.model.scene;
        const numbers = roomAt(former, this.audio.frame);
        /** @type {Room} */
        let before = { dimensions: starting };
        if (isRoom(former)) before = former;
        else if (numbers) before = { volume: numbers[0], area: numbers[1], size: numbers[2] };
        const room = { ...before, ...members };
        if (members.dimensions)
            for (const member of ['volume', 'area', 'size']) delete room[/** @type {'size'} */ (member)];
        if (members.dimensions || former === this.#free) this.#free = room;
        this.model.change({ room }, `room ${Object.keys(members)}`);
    }

    show() {
        const { room } = this.model.scene;
        const now = roomAt(room, this.audio.frame);
        this.choose(this.#choiceOf(room));
        const [width, height, depth] = this.#dimensions();
        for (const { side, show } of this.sides) show([width, height, depth][side]);
        for (const [i, { show }] of this.levels.entries()) show(now ? now[3 + i] : 1);
        byId('roomSliders').classList.toggle('dim', !room);
        byId('roomFacts').textContent = now ? this.#facts(now) : 'No walls: next to no reverberation.';
    }

    /** @param {Model['scene']['room']} room @returns {Choice} */
    #choiceOf(room) {
        if (!room) return 'dry';
        if (!isRoom(room) || room === this.#free) return 'free';
        const isSame = (/** @type {Choice} */ name) => String(presets[name]?.dimensions) === String(room.dimensions);
        return /** @type {Choice[]} */ (['small', 'hall']).find(isSame) ?? 'free';
    }

    /** @param {number[]} numbers */
    #facts([volume, area, size, wetA, wetB]) {
        const round = (/** @type {number} */ x) => Number(x.toPrecision(3)).toLocaleString('en');
        const facts = `${round(volume)} m³ within ${round(area)} m² of walls, ${round(size)} m long.`;
        const times = this.#isReady && rt60({ volume, area, size, wetA: Math.min(1, wetA), wetB: Math.min(1, wetB) });
        return times
            ? `${facts} Rings for ${times.long.toFixed(2)} s (rt60), its middle reverb for ${times.middle.toFixed(2)} s.`
            : facts;
    }
}
