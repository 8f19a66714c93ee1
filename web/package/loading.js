// Modules, each fetched and compiled once a page.

/** @type {Map<string, Promise<WebAssembly.Module>>} */
const modules = new Map();

/** @param {string} name of a file beside this one @returns {Promise<WebAssembly.Module>} */
export function loadModule(name) {
    const known = modules.get(name);
    if (known) return known;
    const loading = compile(name).catch((error) => {
        modules.delete(name); // the next call may be luckier
        throw error;
    });
    modules.set(name, loading);
    return loading;
}

/** @param {string} name */
async function compile(name) {
    const response = await fetch(new URL(name, import.meta.url));
    if (!response.ok) throw new Error(`${name} cannot be fetched: ${response.status} ${response.statusText}`);
    const isCalledModule = response.headers.get('Content-Type')?.startsWith('application/wasm');
    if (isCalledModule) return WebAssembly.compileStreaming(response); // while it arrives
    return WebAssembly.compile(await response.arrayBuffer());
}
