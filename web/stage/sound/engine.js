/** The engine as an output: what the player says, in the words of the package. */
export class EngineOutput {
    #buffers = new Map();
    #kal;

    constructor(context, kal) {
        this.#kal = kal;
        this.node = new GainNode(context);
        this.context = context;
        kal.output.connect(this.node);
    }

    /** Hands samples over beforehand, so that `begin` need not wait. */
    async load(samples) {
        if (!this.#buffers.has(samples)) this.#buffers.set(samples, this.#kal.buffer(samples));
        const buffer = await this.#buffers.get(samples);
        this.#buffers.set(samples, buffer);
    }

    begin(samples, { place, loop, ...how }, at) {
        const handle = { voice: null, changes: {}, isStopped: false };
        const begin = (buffer) => {
            if (handle.isStopped) return;
            handle.voice = this.#kal.add(buffer, {
                ...how,
                loop: loop ?? false,
                relative: place === 'listener',
                local: place === 'none',
                at,
                ...handle.changes,
            });
            handle.voice.ended.then(() => (handle.voice = null));
        };
        const buffer = this.#buffers.get(samples);
        if (buffer && !(buffer instanceof Promise)) begin(buffer);
        else this.load(samples).then(() => begin(this.#buffers.get(samples)));
        return handle;
    }

    set(handle, changes, at) {
        if (handle.voice) handle.voice.set(changes, at);
        else Object.assign(handle.changes, changes);
    }

    seek(handle, frame, at) {
        handle.voice?.seek(frame, at);
    }

    stop(handle, at) {
        handle.isStopped = true;
        handle.voice?.stop(at);
    }

    listener({ position, axes }, at) {
        this.#kal.listener({ position, front: axes.front, up: axes.up }, at);
    }

    room(numbers, at) {
        if (numbers === null) return this.#kal.room(null, at);
        const [volume, area, size, wetA, wetB] = numbers;
        return this.#kal.room({ volume, area, size, wetA: Math.min(1, wetA), wetB: Math.min(1, wetB) }, at);
    }

    gain(gain, at) {
        this.node.gain.setTargetAtTime(gain, at / this.context.sampleRate, 0.01);
    }

    /** All that was said has arrived: an offline context may begin. */
    settled() {
        return this.#kal.settled();
    }

    close() {
        this.#kal.close();
        this.node.disconnect();
    }
}
