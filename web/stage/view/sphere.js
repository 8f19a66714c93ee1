import { draggable } from './svg.js';

/** @import { Direction } from 'kalmarble' */

const degree = Math.PI / 180;

/** The directions that were measured on the head in use, as dots on a sphere; those in use are lit. Drag to turn it. */
export class Sphere {
    #yaw = -25;
    #pitch = 28;
    /** @type {number[][]} */
    #points = [];
    /** @type {(Direction & { hue: number })[]} */
    #lit = [];

    /** @param {HTMLCanvasElement} canvas */
    constructor(canvas) {
        this.canvas = canvas;
        draggable(canvas, () => {
            const [yaw, pitch] = [this.#yaw, this.#pitch];
            return (dx, dy) => {
                this.#yaw = yaw + dx * 0.6;
                this.#pitch = Math.max(-90, Math.min(90, pitch + dy * 0.6));
                this.draw();
            };
        });
        new ResizeObserver(() => this.draw()).observe(canvas);
        matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.draw());
    }

    /** @param {Direction[]} directions */
    show(directions) {
        this.#points = directions.map(onSphere);
        this.draw();
    }

    /** @param {(Direction & { hue: number })[]} directions with the hue of what is heard from there */
    light(directions) {
        const isNews = JSON.stringify(directions) !== JSON.stringify(this.#lit);
        this.#lit = directions;
        if (isNews) this.draw();
    }

    draw() {
        const { width, height } = this.canvas.getBoundingClientRect(),
            ratio = devicePixelRatio;
        this.canvas.width = width * ratio;
        this.canvas.height = height * ratio;
        const context = this.canvas.getContext('2d');
        if (!context) return;
        const style = getComputedStyle(this.canvas);
        const [ink, light] = ['--ink', '--light'].map((name) => style.getPropertyValue(name));
        context.scale(ratio, ratio);
        context.translate(width / 2, height / 2);
        const radius = Math.min(width, height) / 2 - 10;
        /** @param {number[]} point @param {number} size px @param {string} colour @param {number} far how much of it is seen behind */
        const dot = (point, size, colour, far) => {
            const [x, y, depth] = this.#turned(point);
            context.globalAlpha = depth < 0 ? 0.9 : far; // the near half stands out
            context.fillStyle = colour;
            context.beginPath();
            context.arc(x * radius, -y * radius, size, 0, 2 * Math.PI);
            context.fill();
        };
        this.#drawHead(context, radius, ink);
        for (const point of this.#points) dot(point, 1.3, ink, 0.25);
        for (const each of this.#lit) dot(onSphere(each), 5, `hsl(${each.hue} 68% ${light})`, 0.6);
    }

    // Seen from behind and a little above: right stays right, ahead is away.
    /** @param {number[]} point @returns {number[]} x, y and depth */
    #turned([x, y, z]) {
        const [sy, cy] = [Math.sin(this.#yaw * degree), Math.cos(this.#yaw * degree)];
        const [sp, cp] = [Math.sin(this.#pitch * degree), Math.cos(this.#pitch * degree)];
        const [u, w] = [x * cy + z * sy, z * cy - x * sy];
        return [u, y * cp + w * sp, w * cp - y * sp];
    }

    /** @param {CanvasRenderingContext2D} context @param {number} radius @param {string} ink */
    #drawHead(context, radius, ink) {
        /** @param {number[]} point @returns {[number, number]} */
        const at = (...point) => {
            const [x, y] = this.#turned(point);
            return [x * radius, -y * radius];
        };
        context.globalAlpha = 0.5;
        context.strokeStyle = ink;
        context.lineWidth = 1;
        context.beginPath();
        context.arc(0, 0, radius, 0, 2 * Math.PI);
        for (let angle = 0; angle <= 360; angle += 5) {
            const to = at(Math.sin(angle * degree), 0, Math.cos(angle * degree));
            if (angle) context.lineTo(...to);
            else context.moveTo(...to);
        }
        context.stroke();
        context.fillStyle = ink;
        context.beginPath();
        context.ellipse(0, 0, radius * 0.14, radius * 0.17, 0, 0, 2 * Math.PI);
        context.fill();
        context.lineWidth = 3;
        context.beginPath();
        context.moveTo(...at(0, 0, 0));
        context.lineTo(...at(0, 0, 0.34)); // the nose
        context.stroke();
    }
}

/** @param {Direction} direction */
function onSphere({ azimuth, elevation }) {
    const level = Math.cos(elevation * degree);
    return [Math.sin(azimuth * degree) * level, Math.sin(elevation * degree), Math.cos(azimuth * degree) * level];
}
