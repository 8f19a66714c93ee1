import { draggable, hue, place, svg } from './svg.js';

/** The stage from behind: heights, each sound straight below its place in the view from above. */
export class HeightView {
    #markers = new Map();

    constructor(root, map) {
        Object.assign(this, { root, map });
        this.ear = svg('line', { class: 'ear' });
        this.label = svg('text', { class: 'axis', x: 6 }, 'ear height');
        this.listener = svg('circle', { class: 'skull', r: 9 });
        this.sounds = svg('g');
        root.append(this.ear, this.label, this.listener, this.sounds);
    }

    draw() {
        const { width, height } = this.root.getBoundingClientRect();
        place(this.root, { viewBox: `0 0 ${width} ${height}` });
        const { listener, sounds } = this.map.places;
        const highest = Math.max(
            ...sounds.map(({ point }) => Math.abs(point[1])),
            ...[Math.abs(listener.position[1]), 1],
        );
        this.scale = Math.min(this.map.scale, (height / 2 - 14) / highest);
        this.at = ([x, y]) => [(width / 2 + x * this.map.scale).toFixed(1), (height / 2 - y * this.scale).toFixed(1)];
        const [x, y] = this.at(listener.position);
        place(this.ear, { x1: 0, x2: width, y1: y, y2: y });
        place(this.label, { y: y - 5 });
        place(this.listener, { cx: x, cy: y });
        for (const [name, marker] of this.#markers) {
            if (sounds.some(({ sound }) => sound.name === name)) continue;
            marker.remove();
            this.#markers.delete(name);
        }
        sounds.forEach(({ sound, point }, index) => {
            if (!this.#markers.has(sound.name)) this.#add(sound.name);
            const marker = this.#markers.get(sound.name),
                [, dot, stem] = marker.children;
            place(marker, { transform: `translate(${this.at(point).join(' ')})`, style: `--hue: ${hue(index)}` });
            place(dot, { r: 7 });
            place(stem, { y2: y - this.at(point)[1] });
            marker.classList.toggle('selected', this.map.model.selected === sound.name);
            marker.classList.toggle('silent', !this.map.model.isHeard(sound.name));
        });
    }

    #add(name) {
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
                const from = map.model.find(name).position,
                    { scale } = this;
                return (dx, dy) => map.moveSound(name, from, [0, -dy / scale, 0], 'height');
            },
            () => map.model.endGesture(),
        );
        this.#markers.set(name, marker);
        this.sounds.append(marker);
    }
}
