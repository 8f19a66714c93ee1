import { relativeTo } from '../scene/geometry.js';

const smooth = 0.01; // s, in which a change has come most of its way

/**
 * The browser's own ways as outputs: its PannerNode with its own head, or plain stereo. Both follow the engine's law of
 * distance; neither has a room.
 */
export class BrowserOutput {
    isRelative = true; // places are told anew whenever the listener moves
    #buffers = new WeakMap();
    #listener;

    /** @param {'panner' | 'stereo'} kind */
    constructor(context, kind) {
        Object.assign(this, { context, kind, node: new GainNode(context) });
    }

    begin(samples, how, at) {
        const { context } = this;
        const source = new AudioBufferSourceNode(context, { buffer: this.#bufferOf(samples), loop: Boolean(how.loop) });
        if (how.loop) [source.loopStart, source.loopEnd] = how.loop.map((frame) => frame / source.buffer.sampleRate);
        const wall = new BiquadFilterNode(context, { type: 'lowpass', Q: 0 });
        const gain = new GainNode(context, { gain: 0 });
        source.connect(wall).connect(gain);
        const handle = { source, wall, gain, how: { ...how }, panner: this.#pannerFor(how, source.buffer) };
        if (handle.panner) gain.connect(handle.panner).connect(this.node);
        else gain.connect(this.node);
        this.#tell(handle, at, 0);
        source.start(at / context.sampleRate, how.offset / source.buffer.sampleRate);
        source.onended = () => (handle.panner ?? gain).disconnect();
        return handle;
    }

    set(handle, changes, at) {
        Object.assign(handle.how, changes);
        this.#tell(handle, at, smooth);
    }

    stop(handle, at = 0) {
        handle.source.stop(at / this.context.sampleRate);
    }
    listener(listener) {
        this.#listener = listener;
    }
    room() {}
    gain(gain, at) {
        this.node.gain.setTargetAtTime(gain, at / this.context.sampleRate, smooth);
    }
    close() {
        this.node.disconnect();
    }

    #bufferOf(samples) {
        if (samples instanceof AudioBuffer) return samples;
        if (!this.#buffers.has(samples)) {
            const buffer = new AudioBuffer({ length: samples.samples.length, sampleRate: samples.rate });
            buffer.copyToChannel(samples.samples, 0);
            this.#buffers.set(samples, buffer);
        }
        return this.#buffers.get(samples);
    }

    // As the engine has it: two channels are heard as they were recorded.
    #pannerFor({ place, referenceDistance }, { numberOfChannels }) {
        if (place === 'none' || numberOfChannels === 2) return null;
        if (this.kind === 'stereo') return new StereoPannerNode(this.context);
        return new PannerNode(this.context, {
            panningModel: 'HRTF',
            distanceModel: 'inverse',
            refDistance: referenceDistance,
        });
    }

    #tell({ source, wall, gain, panner, how }, at, time) {
        const seconds = at / this.context.sampleRate;
        const tell = (parameter, value) =>
            time > 0 ? parameter.setTargetAtTime(value, seconds, time) : (parameter.value = value);
        const [x, y, z] = how.place === 'listener' ? how.position : relativeTo(this.#listener, how.position);
        const distance = Math.hypot(x, y, z);
        const isAttenuated = how.place !== 'none' && !(panner instanceof PannerNode);
        tell(
            gain.gain,
            how.gain * (isAttenuated ? how.referenceDistance / Math.max(distance, how.referenceDistance) : 1),
        );
        tell(source.playbackRate, how.speed);
        tell(wall.frequency, cutoff(1 - how.occlusion, this.context.sampleRate));
        if (panner instanceof StereoPannerNode) tell(panner.pan, distance > 0 ? x / distance : 0);
        if (!(panner instanceof PannerNode)) return;
        tell(panner.positionX, x);
        tell(panner.positionY, y);
        tell(panner.positionZ, -z);
    }
}

// Where y[n] = y[n-1] + a (x[n] - y[n-1]) is 3 dB down: 1 - cos w = a^2 / (2 (1 - a)).
function cutoff(a, sampleRate) {
    const k = a < 1 ? (a * a) / (2 * (1 - a)) : 2;
    return k < 2 ? (Math.acos(1 - k) / (2 * Math.PI)) * sampleRate : sampleRate / 2;
}
