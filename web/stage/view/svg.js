/**
 * svg('circle', {r: 9}, child, ...)
 * @template {keyof SVGElementTagNameMap} T @param {T} tag @param {Record<string, string | number>} attributes
 * @param {(Node | string)[]} children
 */
export function svg(tag, attributes = {}, ...children) {
    const made = document.createElementNS('http://www.w3.org/2000/svg', tag);
    place(made, attributes);
    made.append(...children);
    return made;
}

/** Sets attributes that differ. @param {Element} node @param {Record<string, string | number>} attributes */
export function place(node, attributes) {
    for (const [name, value] of Object.entries(attributes)) {
        const text = String(value);
        if (node.getAttribute(name) !== text) node.setAttribute(name, text);
    }
}

/** Hues that neighbours in the list do not share: a golden angle apart. @param {number} index */
export const hue = (index) => (index * 137.5 + 28) % 360;

/**
 * Follows a pointer from a press on.
 * @param {HTMLElement | SVGElement} element
 * @param {(press: PointerEvent) => ((dx: number, dy: number) => void)} begin returns what hears of moves in px
 * @param {() => void} [end]
 */
export function draggable(element, begin, end) {
    const node = /** @type {HTMLElement} */ (element); // an SVGElement has the same events
    // Within an SVG, CSS's touch-action does not keep a browser from scrolling instead.
    if (element instanceof SVGElement)
        element.addEventListener('touchstart', (event) => event.preventDefault(), { passive: false });
    node.addEventListener('pointerdown', (press) => {
        if (press.button !== 0) return;
        press.preventDefault();
        node.focus({ preventScroll: true });
        node.setPointerCapture(press.pointerId);
        const move = begin(press);
        const follow = (/** @type {PointerEvent} */ event) =>
            event.pointerId === press.pointerId && move(event.clientX - press.clientX, event.clientY - press.clientY);
        const release = (/** @type {PointerEvent} */ event) => {
            if (event.pointerId !== press.pointerId) return;
            node.removeEventListener('pointermove', follow);
            node.removeEventListener('pointerup', release);
            node.removeEventListener('pointercancel', release);
            end?.();
        };
        node.addEventListener('pointermove', follow);
        node.addEventListener('pointerup', release);
        node.addEventListener('pointercancel', release);
    });
}

/**
 * Follows two fingers on a node, and the wheel with Ctrl held, which is what a touchpad sends for them.
 * @param {SVGElement} node @param {(factor: number) => void} zoom
 */
export function pinchable(node, zoom) {
    let before = 0; // px between the fingers
    const follow = (/** @type {TouchEvent} */ event) => {
        const [a, b, c] = event.touches;
        if (!b || c) return;
        event.preventDefault();
        const between = Math.hypot(a.clientX - b.clientX, a.clientY - b.clientY);
        if (event.type === 'touchmove') zoom(between / before);
        before = between;
    };
    const turn = (/** @type {WheelEvent} */ event) => {
        if (!event.ctrlKey) return;
        event.preventDefault();
        zoom(Math.exp(-event.deltaY / 200));
    };
    node.addEventListener('touchstart', follow, { passive: false });
    node.addEventListener('touchmove', follow, { passive: false });
    node.addEventListener('wheel', turn, { passive: false });
}
