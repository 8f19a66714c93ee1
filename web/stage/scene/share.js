// A scene in the fragment of an address, which stays in the browser: #scene= compressed, #plain= where that cannot be.

const toText = (/** @type {Uint8Array} */ bytes) =>
    btoa(Array.from(bytes, (byte) => String.fromCharCode(byte)).join(''))
        .replaceAll('+', '-')
        .replaceAll('/', '_')
        .replace(/=+$/, '');
const toBytes = (/** @type {string} */ text) =>
    Uint8Array.from(atob(text.replaceAll('-', '+').replaceAll('_', '/')), (c) => c.charCodeAt(0));

const through = async (/** @type {Uint8Array<ArrayBuffer>} */ bytes, /** @type {GenericTransformStream} */ transform) =>
    new Uint8Array(await new Response(new Blob([bytes]).stream().pipeThrough(transform)).arrayBuffer());

/** @param {import('./types.js').Scene} scene */
export async function toFragment(scene) {
    const bytes = new TextEncoder().encode(JSON.stringify(scene));
    if (typeof CompressionStream === 'undefined') return `#plain=${toText(bytes)}`;
    return `#scene=${toText(await through(bytes, new CompressionStream('deflate-raw')))}`;
}

/** @param {string} fragment @returns {Promise<string | null>} the scene's text; null without one. @throws Error for a fragment that is damaged */
export async function fromFragment(fragment) {
    const found = /^#(scene|plain)=([\w-]+)$/.exec(fragment);
    if (!found) return null;
    try {
        const bytes = toBytes(found[2]);
        const plain = found[1] === 'plain' ? bytes : await through(bytes, new DecompressionStream('deflate-raw'));
        return new TextDecoder('utf-8', { fatal: true }).decode(plain);
    } catch {
        throw new Error('The address holds a scene, but part of it is missing. Ask for the whole link.');
    }
}
