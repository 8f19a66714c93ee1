import { axes, relativeTo } from '../scene/geometry.js';

/** @import { Beginning, Output, Samples, State } from './types.js' */
/**
 * @typedef {{ source: AudioBufferSourceNode, wall: BiquadFilterNode, gain: GainNode, how: Beginning,
 *     panner: PannerNode | StereoPannerNode | null }} Handle
 */

const smooth = 0.01; // s, in which a change has come most of its way

/**
 * The browser's own ways as outputs: its PannerNode with its own head, or plain stereo. Both follow the engine's law of
 * distance; neither has a room.
 * @implements {Output<Handle>}
 */
export class BrowserOutput {
    isRelative = true; // places are told anew whenever the listener moves
    /** @type {WeakMap<Samples, AudioBuffer>} */
    #buffers = new WeakMap();
    /** @type {Parameters<Output['listener']>[0]} */
    #listener = { position: [0, 0, 0], axes: axes([0, 0, 0]) };

    /** @param {BaseAudioContext} context @param {'panner' | 'stereo'} kind */
    constructor(context, kind) {
        this.context = context;
        this.kind = kind;
        this.node = new GainNode(context);
    }

    /** @param {Samples} samples @param {Beginning} how @param {number} at @returns {Handle} */
    begin(samples, how, at) {
        const { context } = this;
        const buffer = this.#bufferOf(samples);
        const source = new AudioBufferSourceNode(context, { buffer, loop: Boolean(how.loop) });
        if (how.loop) [source.loopStart, source.loopEnd] = how.loop.map((frame) => frame / buffer.sampleRate);
        const wall = new BiquadFilterNode(context, { type: 'lowpass', Q: 0 });
        const gain = new GainNode(context, { gain: 0 });
        source.connect(wall).connect(gain);
        const handle = { source, wall, gain, how: { ...how }, panner: this.#pannerFor(how, buffer) };
        if (handle.panner) gain.connect(handle.panner).connect(this.node);
        else gain.connect(this.node);
        this.#tell(handle, at, 0);
        source.start(at / context.sampleRate, how.offset / buffer.sampleRate);
        source.onended = () => (handle.panner ?? gain).disconnect();
        return handle;
    }

    /** @param {Handle} handle @param {Partial<State>} changes @param {number} at */
    set(handle, changes, at) {
        Object.assign(handle.how, changes);
        this.#tell(handle, at, smooth);
    }

    /** @param {Handle} handle */
    stop(handle, at = 0) {
        handle.source.stop(at / this.context.sampleRate);
    }
    /** @param {Parameters<Output['listener']>[0]} listener */
    listener(listener) {
        this.#listener = listener;
    }
    room() {}
    /** @param {number} gain @param {number} at */
    gain(gain, at) {
        this.node.gain.setTargetAtTime(gain, at / this.context.sampleRate, smooth);
    }
    close() {
        this.node.disconnect();
    }

    /** @param {Samples} samples */
    #bufferOf(samples) {
        if (samples instanceof AudioBuffer) return samples;
        const known = this.#buffers.get(samples);
        if (known) return known;
        const buffer = new AudioBuffer({ length: samples.samples.length, sampleRate: samples.rate });
        buffer.copyToChannel(samples.samples, 0);
        this.#buffers.set(samples, buffer);
        return buffer;
    }

    // As the engine has it: two channels are heard as they were recorded.
    /** @param {Beginning} how @param {AudioBuffer} buffer */
    #pannerFor({ place, referenceDistance }, { numberOfChannels }) {
        if (place === 'none' || numberOfChannels === 2) return null;
        if (this.kind === 'stereo') return new StereoPannerNode(this.context);
        return new PannerNode(this.context, {
            panningModel: 'HRTF',
            distanceModel: 'inverse',
            refDistance: referenceDistance,
        });
    }

    /** @param {Handle} handle @param {number} at frame @param {number} time s, in which it comes most of its way; 0: at once */
    #tell({ source, wall, gain, panner, how }, at, time) {
        const seconds = at / this.context.sampleRate;
        const tell = (/** @type {AudioParam} */ parameter, /** @type {number} */ value) => {
            if (time > 0) parameter.setTargetAtTime(value, seconds, time);
            else parameter.value = value;
        };
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
/** @param {number} a @param {number} sampleRate */
function cutoff(a, sampleRate) {
    const k = a < 1 ? (a * a) / (2 * (1 - a)) : 2;
    return k < 2 ? (Math.acos(1 - k) / (2 * Math.PI)) * sampleRate : sampleRate / 2;
}
