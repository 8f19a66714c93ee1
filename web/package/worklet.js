// The audio thread's side: an instance of the module, which is told what the page tells and renders quantum by quantum.

import { Engine, Refusal } from './engine.js';

const REPORTS_PER_SECOND = 20;
const QUANTA_OF_LOAD = 200; // over which it is averaged: the clock goes by milliseconds

class Processor extends AudioWorkletProcessor {
    /** @type {Engine | null} */
    #engine = null;
    #lost = 'The engine could not be made.'; // why there is none
    /** @type {Map<number, number>} where the samples of each buffer lie */
    #buffers = new Map();
    #isClosed = false;
    #left = new Float32Array(0);
    #right = this.#left;
    #load = 0;
    #lastReport = currentFrame;

    /** @param {{ processorOptions: { module: WebAssembly.Module, head: Uint8Array | null } }} options */
    constructor({ processorOptions: { module, head } }) {
        super();
        this.port.onmessage = ({ data }) => this.#take(data);
        // What a constructor throws reaches the page without its text.
        this.#answer(0, () => {
            const engine = new Engine(module);
            engine.checked(engine.withBytes(head, (at, size) => engine.exports.create(sampleRate, at, size)));
            this.#engine = engine;
        });
    }

    // Nothing in here makes an object, save for the reports.
    /** @param {Float32Array[][]} _inputs @param {Float32Array[][]} outputs */
    process(_inputs, outputs) {
        const left = outputs[0][0];
        const right = outputs[0][1];
        if (this.#engine) {
            const start = Date.now();
            try {
                this.#render(this.#engine, left, right);
            } catch (error) {
                this.#giveUp(error);
                left.fill(0);
                right.fill(0);
            }
            const share = ((Date.now() - start) * sampleRate) / (1000 * left.length);
            this.#load += (share - this.#load) / QUANTA_OF_LOAD;
        }
        return !this.#isClosed;
    }

    /** @param {Engine} engine @param {Float32Array} left @param {Float32Array} right */
    #render(engine, left, right) {
        const count = left.length;
        const pointer = engine.exports.render(currentFrame, count);
        const problem = engine.problem();
        if (problem) this.port.postMessage({ error: problem });
        if (!pointer) return;
        // Memory that has grown is another buffer.
        if (this.#left.buffer !== engine.memory.buffer || this.#left.length !== count) {
            this.#left = engine.floats(pointer, count);
            this.#right = engine.floats(pointer + 4 * count, count);
        }
        left.set(this.#left);
        right.set(this.#right);
        if (currentFrame - this.#lastReport >= sampleRate / REPORTS_PER_SECOND) this.#report(engine);
    }

    /** @param {Engine} engine */
    #report(engine) {
        this.#lastReport = currentFrame;
        const pointer = engine.exports.report();
        if (!pointer) return;
        const numPlaced = engine.doubles(pointer, 8)[7];
        const numEnded = engine.doubles(pointer, 9 + 3 * numPlaced)[8 + 3 * numPlaced];
        const numbers = engine.doubles(pointer, 9 + 3 * numPlaced + numEnded).slice();
        this.port.postMessage({ report: numbers, frame: currentFrame, load: this.#load });
    }

    /** @param {any} message */
    #take(message) {
        if (message.calls) for (const call of message.calls) this.#call(call);
        if (message.ask) this.#answer(message.ticket, () => this.#do(message));
    }

    /** @param {[string, ...number[]]} call */
    #call([name, ...args]) {
        const engine = this.#engine;
        if (!engine) return;
        if (name === 'forget') this.#buffers.delete(args[0]);
        try {
            if (engine.exports[name](...args) !== 0) return;
            // A voice that did not come to be has ended.
            this.port.postMessage({ error: engine.problem(), ended: name === 'add' ? args[0] : undefined });
        } catch (error) {
            this.#giveUp(error);
        }
    }

    /** @param {any} message */
    #do({ ask, id, channels, frames, rate, samples, offset, head }) {
        if (ask === 'close') {
            this.#isClosed = true;
            this.#engine = null;
            return;
        }
        const engine = this.#engine;
        if (!engine) throw new Refusal(this.#lost);
        if (ask === 'buffer') this.#buffers.set(id, engine.checked(engine.exports.buffer(id, channels, frames, rate)));
        else if (ask === 'samples')
            engine.floats(Number(this.#buffers.get(id)) + 4 * offset, samples.length).set(samples);
        else if (ask === 'head') engine.checked(engine.withBytes(head, (at, size) => engine.exports.head(at, size)));
    }

    /** @param {number} ticket @param {() => void} action */
    #answer(ticket, action) {
        let problem = null;
        try {
            action();
        } catch (error) {
            if (!(error instanceof Refusal)) this.#giveUp(error);
            problem = error instanceof Refusal ? error.message : this.#lost;
        }
        this.port.postMessage({ ticket, problem });
    }

    // After a trap nothing in the module's memory can be trusted: the node lives on and is silent.
    /** @param {unknown} error */
    #giveUp(error) {
        const reason = this.#engine ? this.#engine.reason(error) : String(error);
        this.#engine = null;
        this.#buffers.clear();
        this.#lost = `The engine has stopped (${reason}); createContext() makes another.`;
        this.port.postMessage({ lost: this.#lost });
    }
}

registerProcessor('kalmarble', Processor);
