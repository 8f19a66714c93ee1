// Sets up a module of the engine, in a page as well as on the audio thread, where there is little else than the language.

const NOT_THERE = 52; // WASI's ENOSYS

/** What the engine refused: it is as before. Of an engine from which anything else was thrown nothing can be trusted. */
export class Refusal extends Error {}

/** An instance of a module: its exports, and what they point to. */
export class Engine {
    #said = '';

    /** @param {WebAssembly.Module} module */
    constructor(module) {
        const instance = new WebAssembly.Instance(module, this.#importsOf(module));
        /** @type {any} */
        this.exports = instance.exports;
        /** @type {WebAssembly.Memory} */
        this.memory = this.exports.memory;
        this.exports._initialize();
    }

    /** What went wrong since the last call, or null. @returns {string | null} */
    problem() {
        const pointer = this.exports.problem();
        return pointer ? this.text(pointer) : null;
    }

    /** Passes on what a call returned, unless that says that it was refused. @template T @param {T} result @returns {T} */
    checked(result) {
        if (!result) throw new Refusal(this.problem() ?? 'The engine refused.');
        return result;
    }

    /** Why a call threw: a module that gave up has said so. @param {unknown} error */
    reason(error) {
        return this.#said.trim() || (error instanceof Error ? error.message : String(error));
    }

    /** The text at a pointer, up to its end. @param {number} pointer */
    text(pointer) {
        const bytes = new Uint8Array(this.memory.buffer);
        return decode(bytes.subarray(pointer, bytes.indexOf(0, pointer)));
    }

    /** @param {number} pointer @param {number} count */
    floats(pointer, count) {
        return new Float32Array(this.memory.buffer, pointer, count);
    }

    /** @param {number} pointer @param {number} count */
    doubles(pointer, count) {
        return new Float64Array(this.memory.buffer, pointer, count);
    }

    /**
     * Calls `use` with bytes that lie in the module's memory meanwhile; with null for none.
     * @template T
     * @param {Uint8Array | null | undefined} bytes
     * @param {(pointer: number, size: number) => T} use
     */
    withBytes(bytes, use) {
        if (!bytes) return use(0, 0);
        const pointer = this.exports.allocate(Math.max(1, bytes.byteLength));
        if (!pointer) throw new Refusal('There is not enough memory.');
        new Uint8Array(this.memory.buffer, pointer).set(bytes);
        const result = use(pointer, bytes.byteLength);
        this.exports.release(pointer); // not where it threw: such an engine is left alone
        return result;
    }

    // The few things that a module asks of a system. There is none: only what it says when it gives up is of use.
    /** @param {WebAssembly.Module} module */
    #importsOf(module) {
        /** @type {Record<string, (...args: any[]) => any>} */
        const system = {
            fd_write: (_file, parts, count, written) => this.#write(parts, count, written),
            proc_exit: () => {
                throw new Error('The engine gave up.');
            },
        };
        /** @type {Record<string, Record<string, Function>>} */
        const imports = {};
        for (const { module: from, name } of WebAssembly.Module.imports(module)) {
            imports[from] ??= {};
            imports[from][name] = system[name] ?? (() => NOT_THERE);
        }
        return /** @type {WebAssembly.Imports} */ (imports);
    }

    /** @param {number} parts @param {number} count @param {number} written */
    #write(parts, count, written) {
        const view = new DataView(this.memory.buffer);
        let size = 0;
        for (let i = 0; i < count; ++i) {
            const length = view.getUint32(parts + 8 * i + 4, true);
            this.#said += decode(new Uint8Array(this.memory.buffer, view.getUint32(parts + 8 * i, true), length));
            size += length;
        }
        view.setUint32(written, size, true);
        return 0;
    }
}

// The audio thread has no TextDecoder; there are no texts but English ones then.
/** @param {Uint8Array} bytes */
function decode(bytes) {
    if (typeof TextDecoder !== 'undefined') return new TextDecoder().decode(bytes);
    return String.fromCharCode(...bytes);
}
