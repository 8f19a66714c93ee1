import { draggable, hue, place, svg } from './svg.js';

/** @import { StageMap } from './map.js' */

/** The stage from behind: heights, each sound straight below its place in the view from above. */
export class HeightView {
    /** @type {Map<string, SVGGElement>} */
    #markers = new Map();
    #scale = 1; // px a metre

    /** @param {SVGSVGElement} root @param {StageMap} map */
    constructor(root, map) {
        this.root = root;
        this.map = map;
        this.ear = svg('line', { class: 'ear' });
        const label = svg('text', { class: 'axis', x: 10, y: 18 }, 'Heights, seen from behind');
        this.listener = svg('circle', { class: 'skull', r: 9 });
        this.sounds = svg('g');
        root.append(this.ear, label, this.listener, this.sounds);
    }

    draw() {
        const { width, height } = this.root.getBoundingClientRect();
        place(this.root, { viewBox: `0 0 ${width} ${height}` });
        const { listener, sounds } = this.map.places;
        const highest = Math.max(
            ...sounds.map(({ point }) => Math.abs(point[1])),
            ...[Math.abs(listener.position[1]), 1],
        );
        this.#scale = Math.min(this.map.scale, (height / 2 - 14) / highest);
        const at = (/** @type {number[]} */ [x, y]) => [width / 2 + x * this.map.scale, height / 2 - y * this.#scale];
        const [x, y] = at(listener.position).map((v) => v.toFixed(1));
        place(this.ear, { x1: 0, x2: width, y1: y, y2: y });
        place(this.listener, { cx: x, cy: y });
        for (const [name, marker] of this.#markers) {
            if (sounds.some(({ sound }) => sound.name === name)) continue;
            marker.remove();
            this.#markers.delete(name);
        }
        sounds.forEach(({ sound, point }, index) => {
            const marker = this.#markers.get(sound.name) ?? this.#add(sound.name),
                [, dot, stem] = marker.children;
            const [right, down] = at(point).map((v) => v.toFixed(1));
            place(marker, { transform: `translate(${right} ${down})`, style: `--hue: ${hue(index)}` });
            place(dot, { r: 7 });
            place(stem, { y2: (Number(y) - Number(down)).toFixed(1) });
            marker.classList.toggle('selected', this.map.model.selected === sound.name);
            marker.classList.toggle('silent', !this.map.model.isHeard(sound.name));
        });
    }

    #add(/** @type {string} */ name) {
        const { map } = this;
        const marker = svg(
            'g',
            { class: 'sound', 'data-name': name },
            svg('circle', { class: 'touch', r: 22 }),
            svg('circle', { class: 'dot' }),
            svg('line', { class: 'stem' }),
        );
        draggable(
            marker,
            () => {
                map.model.select(name);
                const from = map.model.find(name)?.position,
                    scale = this.#scale;
                return (_, dy) => map.moveSound(name, from, [0, -dy / scale, 0], 'height');
            },
            () => map.model.endGesture(),
        );
        this.#markers.set(name, marker);
        this.sounds.append(marker);
        return marker;
    }
}
