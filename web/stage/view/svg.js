/** svg('circle', {r: 9}, child, ...) */
export function svg(tag, attributes = {}, ...children) {
    const made = document.createElementNS('http://www.w3.org/2000/svg', tag);
    place(made, attributes);
    made.append(...children);
    return made;
}

/** Sets attributes that differ. */
export function place(node, attributes) {
    for (const [name, value] of Object.entries(attributes)) {
        if (node.getAttribute(name) !== String(value)) node.setAttribute(name, value);
    }
}

/** Colours that neighbours in the list do not share: a golden angle apart. */
export const hue = (index) => (index * 137.5 + 28) % 360;

/** Follows a pointer from a press on. @param {(event) => ((dx, dy) => void)} begin told the press; returns what hears of moves in px */
export function draggable(node, begin, end) {
    node.addEventListener('pointerdown', (press) => {
        if (press.button !== 0) return;
        press.preventDefault();
        node.focus?.();
        node.setPointerCapture(press.pointerId);
        const move = begin(press);
        const follow = (event) =>
            event.pointerId === press.pointerId && move(event.clientX - press.clientX, event.clientY - press.clientY);
        const release = (event) => {
            if (event.pointerId !== press.pointerId) return;
            node.removeEventListener('pointermove', follow);
            node.removeEventListener('pointerup', release);
            node.removeEventListener('pointercancel', release);
            end();
        };
        node.addEventListener('pointermove', follow);
        node.addEventListener('pointerup', release);
        node.addEventListener('pointercancel', release);
    });
}
