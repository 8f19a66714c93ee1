import { isRoom } from '../scene/curve.js';
import { describe, describePoint } from '../scene/geometry.js';
import { removeSound, tell } from './controls.js';
import { draggable, hue, pinchable, place, svg } from './svg.js';

/** @import { Listener, Placed } from '../scene/types.js' */
/** @import { StageMap } from './map.js' */

/** @type {Record<string, number[]>} metres that a key moves, by the stride */
const steps = {
    ArrowLeft: [-1, 0, 0],
    ArrowRight: [1, 0, 0],
    ArrowUp: [0, 0, -1],
    ArrowDown: [0, 0, 1],
    PageUp: [0, 1, 0],
    PageDown: [0, -1, 0],
};
const mostNames = 24; // that are written beside their sounds
const stride = (/** @type {KeyboardEvent} */ event) => (event.shiftKey ? 1 : 0.25); // m

/** The stage from above: right is right, up is ahead of a listener who is not turned. */
export class TopView {
    /** @type {Map<string, SVGGElement>} */
    #markers = new Map();
    #spoken = 0;
    #centre = [0, 0];

    /** @param {SVGSVGElement} root @param {StageMap} map */
    constructor(root, map) {
        this.root = root;
        this.map = map;
        this.room = svg('rect', { class: 'room' });
        this.rings = svg('g', { class: 'rings' });
        this.paths = svg('g', { class: 'paths' });
        this.sounds = svg('g');
        this.handle = this.#makeHandle();
        this.turning = svg(
            'g',
            {},
            svg('path', { class: 'ears', d: 'M-17 -5v10M17 -5v10' }),
            svg('path', { class: 'nose', d: 'M-6 -12L0 -24L6 -12z' }),
            svg('circle', { class: 'skull', r: 14 }),
            this.handle,
        );
        this.listener = this.#makeListener();
        root.append(this.room, this.rings, this.paths, this.listener, this.sounds);
        pinchable(root, (factor) => map.zoom(factor));
    }

    /** @param {boolean} isEdited whether somebody changed something: then names tell it at once */
    draw(isEdited) {
        const { width, height } = this.root.getBoundingClientRect();
        this.#centre = [width / 2, height / 2];
        place(this.root, { viewBox: `0 0 ${width} ${height}` });
        const { listener, sounds } = this.map.places;
        this.#drawRoom();
        this.#drawRings(listener);
        place(this.listener, { transform: `translate(${this.#at(listener.position)})` });
        place(this.turning, { transform: `rotate(${listener.turn[0].toFixed(2)})` });
        place(this.handle, { 'aria-valuenow': Math.round(this.map.heading() % 360) });
        this.#drawPaths();
        this.#match(sounds);
        this.root.classList.toggle('crowded', sounds.length > mostNames);
        const isTimeToSpeak = isEdited || performance.now() - this.#spoken > 500;
        if (isTimeToSpeak) this.#spoken = performance.now();
        sounds.forEach((each, index) => this.#drawSound(each, index, isTimeToSpeak));
    }

    /** The point of the world at ear height that lies under a point of the window; null beside the view. @param {number} x @param {number} y */
    pointUnder(x, y) {
        const box = this.root.getBoundingClientRect();
        if (x < box.left || x > box.right || y < box.top || y > box.bottom) return null;
        const [right, behind] = [x - box.left - this.#centre[0], y - box.top - this.#centre[1]];
        return [right, 0, behind].map((px) => Math.round((100 * px) / this.map.scale) / 100);
    }

    /** @param {number[]} point of the world @returns {number[]} px */
    #at([x, , z]) {
        return [this.#centre[0] + x * this.map.scale, this.#centre[1] + z * this.map.scale].map(
            (v) => Math.round(10 * v) / 10,
        );
    }

    #drawRoom() {
        const { room } = this.map.model.scene;
        const [x, , z] = (isRoom(room) && room.dimensions) || [0, 0, 0];
        const [w, h] = [x * this.map.scale, z * this.map.scale];
        place(this.room, { x: this.#centre[0] - w / 2, y: this.#centre[1] - h / 2, width: w, height: h });
    }

    // Rings at 1, 2, 5, 10 ... m, those of them that are not too narrow.
    #drawRings(/** @type {Listener} */ listener) {
        const reach = Math.hypot(...this.#centre) / this.map.scale;
        const radii = [0.5, 1, 2, 5, 10, 20, 50, 100, 200, 500].filter((r) => r * this.map.scale > 40 && r < reach);
        const text = radii.join();
        if (this.rings.dataset.radii !== text) {
            this.rings.dataset.radii = text;
            this.rings.replaceChildren(...radii.flatMap((r) => [svg('circle'), svg('text', {}, `${r} m`)]));
        }
        const [x, y] = this.#at(listener.position);
        radii.forEach((r, i) => {
            const [circle, label] = [this.rings.children[2 * i], this.rings.children[2 * i + 1]];
            place(circle, { cx: x, cy: y, r: r * this.map.scale });
            place(label, { x: x + 4, y: y + r * this.map.scale - 4 });
        });
    }

    #drawPaths() {
        const { scene } = this.map.model;
        const lines = [
            scene.listener?.position,
            ...scene.sounds.map((s) => (s.place === undefined || s.place === 'world' ? s.position : undefined)),
        ]
            .map((value) =>
                this.map
                    .path(value)
                    .map((point) => this.#at(point))
                    .join(' '),
            )
            .filter(Boolean);
        while (this.paths.children.length > lines.length) this.paths.lastChild?.remove();
        while (this.paths.children.length < lines.length) this.paths.append(svg('polyline'));
        lines.forEach((points, i) => place(this.paths.children[i], { points }));
    }

    #match(/** @type {Placed[]} */ sounds) {
        const names = new Set(sounds.map(({ sound }) => sound.name));
        for (const [name, marker] of this.#markers) {
            if (names.has(name)) continue;
            marker.remove();
            this.#markers.delete(name);
        }
        for (const {
            sound: { name },
        } of sounds) {
            if (this.#markers.has(name)) continue;
            const marker = this.#makeMarker(name);
            this.#markers.set(name, marker);
            this.sounds.append(marker);
        }
    }

    /** @param {Placed} placed @param {number} index @param {boolean} isTimeToSpeak */
    #drawSound({ sound, point, place: seen }, index, isTimeToSpeak) {
        const { model } = this.map;
        const marker = this.#markers.get(sound.name);
        if (!marker) return;
        const [copies, , dot, label] = marker.children;
        place(marker, { transform: `translate(${this.#at(point)})`, style: `--hue: ${hue(index)}` });
        place(dot, { r: 10 });
        const isSelected = model.selected === sound.name;
        marker.classList.toggle('selected', isSelected);
        place(marker, { 'aria-pressed': String(isSelected) });
        marker.classList.toggle('silent', !model.isHeard(sound.name));
        if (label.textContent !== sound.name) label.textContent = sound.name;
        const offsets = sound.copies ? this.map.offsets(sound) : [];
        place(copies, {
            d: offsets
                .map(([x, , z]) => `M${(x * this.map.scale).toFixed(1)} ${(z * this.map.scale).toFixed(1)}h0`)
                .join(''),
        });
        if (isTimeToSpeak || !marker.hasAttribute('aria-label')) {
            place(marker, {
                'aria-label': `${sound.name}, ${describe(seen)}${model.isHeard(sound.name) ? '' : ', silent'}`,
            });
        }
    }

    #makeMarker(/** @type {string} */ name) {
        const { map } = this,
            { model } = map;
        const marker = svg(
            'g',
            { class: 'sound', tabindex: 0, role: 'button', 'aria-roledescription': 'sound', 'data-name': name },
            svg('path', { class: 'copies' }),
            svg('circle', { class: 'touch', r: 22 }),
            svg('circle', { class: 'dot' }),
            svg('text', { x: 0, y: 25 }),
        );
        marker.addEventListener('focus', () => model.select(name));
        marker.addEventListener('click', () => model.select(name));
        marker.addEventListener('keyup', () => model.endGesture());
        marker.addEventListener('keydown', (event) => {
            if (event.key === 'Delete' || event.key === 'Backspace') this.#remove(name);
            else if (steps[event.key]) {
                map.moveSound(
                    name,
                    model.find(name)?.position,
                    steps[event.key].map((x) => x * stride(event)),
                    'key',
                );
                map.announce(name);
            } else return;
            event.preventDefault();
        });
        draggable(
            marker,
            () => {
                const from = model.find(name)?.position,
                    { scale } = map;
                return (dx, dy) => map.moveSound(name, from, [dx / scale, 0, dy / scale], 'drag');
            },
            () => model.endGesture(),
        );
        return marker;
    }

    #remove(/** @type {string} */ name) {
        const { model } = this.map;
        if (removeSound(model, name)) this.#markers.get(model.selected ?? '')?.focus();
    }

    #makeHandle() {
        const { map } = this,
            { model } = map;
        const handle = svg(
            'g',
            {
                class: 'handle',
                tabindex: 0,
                role: 'slider',
                'aria-label': 'Heading of the listener, degrees',
                'aria-valuemin': -360,
                'aria-valuemax': 360,
            },
            svg('circle', { class: 'touch', cy: -44, r: 22 }),
            svg('circle', { class: 'dot', cy: -44, r: 6 }),
        );
        draggable(
            handle,
            (press) => {
                press.stopPropagation();
                const from = model.scene.listener?.turn,
                    before = map.heading();
                const { left, top } = this.root.getBoundingClientRect();
                const [x, y] = this.#at(map.places.listener.position);
                return (dx, dy) => {
                    const [right, ahead] = [press.clientX + dx - left - x, top + y - press.clientY - dy];
                    const by = (Math.atan2(right, ahead) * 180) / Math.PI - before;
                    map.turnListener(from, by - 360 * Math.round(by / 360), 'turn');
                };
            },
            () => model.endGesture(),
        );
        return handle;
    }

    #makeListener() {
        const { map } = this,
            { model } = map;
        const listener = svg(
            'g',
            {
                class: 'listener',
                tabindex: 0,
                role: 'button',
                'aria-label': 'Listener: arrows move, comma and full stop turn',
            },
            svg('circle', { class: 'touch', r: 22 }),
            this.turning,
        );
        listener.addEventListener('keyup', () => model.endGesture());
        listener.addEventListener('keydown', (event) => {
            const isHandle = event.target === this.handle;
            /** @type {Record<string, number>} degrees */
            const turns = {
                ',': -5,
                '.': 5,
                ...(isHandle && { ArrowLeft: -5, ArrowDown: -5, ArrowRight: 5, ArrowUp: 5 }),
            };
            if (turns[event.key]) {
                map.turnListener(model.scene.listener?.turn, turns[event.key], 'turn by key');
                if (!isHandle) tell(`Listener: heading ${Math.round(map.heading())} degrees`); // a slider says its own
            } else if (steps[event.key]) {
                map.moveListener(
                    model.scene.listener?.position,
                    steps[event.key].map((x) => x * stride(event)),
                    'listener by key',
                );
                tell(`Listener: ${describePoint(map.places.listener.position)}`);
            } else return;
            event.preventDefault();
        });
        draggable(
            listener,
            () => {
                const from = model.scene.listener?.position,
                    { scale } = map;
                return (dx, dy) => map.moveListener(from, [dx / scale, 0, dy / scale], 'listener');
            },
            () => model.endGesture(),
        );
        return listener;
    }
}
