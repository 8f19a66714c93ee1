import { createContext } from 'kalmarble';
import { rate } from '../scene/curve.js';
import { BrowserOutput } from './browser.js';
import { equalGains, makeOutput } from './compare.js';
import { Player } from './player.js';

const beat = 25; // ms between two looks at the scene
const fade = 0.02; // s, from one way of listening to another

/**
 * Everything that sounds, once it was started. Events: 'started', 'meters' (detail as the package gives it), 'kind',
 * 'head', 'error' (detail.message).
 */
export class AudioStage extends EventTarget {
    context = null;
    kal = null;
    kind = 'engine';
    player = null;
    directions = []; // of the head in use
    #head = null; // bytes of the file in use
    #ways = {}; // by kind: {output, way}, a gain behind each output
    #measuring; // timer
    #master;
    #taps;
    #gains = null; // of the three ways, as far as they are known for this scene

    constructor(model, library) {
        super();
        Object.assign(this, { model, library });
        for (const event of ['change', 'listen']) model.addEventListener(event, () => this.#forgetGains());
    }

    get isRunning() {
        return this.player !== null;
    }
    get frame() {
        return this.player?.frame ?? 0;
    }
    get headBytes() {
        return this.#head;
    }

    #makeEngine = (context) => createContext(context, this.#head ? { head: this.#head } : {});

    /** Begins to sound; to be called by a click, as browsers want it. */
    async start() {
        this.context ??= new AudioContext({ sampleRate: rate, latencyHint: 'interactive' });
        const { context } = this;
        const [output] = await Promise.all([
            makeOutput('engine', context, async () => {
                this.kal ??= await this.#makeEngine(context);
                return this.kal;
            }),
            context.resume(),
        ]);
        this.#watch();
        for (const kind of ['engine', 'panner', 'stereo']) {
            const way = new GainNode(context, { gain: kind === this.kind ? 1 : 0 });
            const source = kind === 'engine' ? output : new BrowserOutput(context, kind);
            source.node.connect(way).connect(this.#master);
            this.#ways[kind] = { output: source, way };
        }
        this.player = new Player(this.model, this.library, output, () => context.currentTime * rate);
        this.player.tick();
        setInterval(() => this.#tick(), beat);
        this.#say('started');
    }

    #tick() {
        if (this.isPaused) return;
        try {
            this.player.tick();
        } catch (error) {
            this.#say('error', error); // the next one may do better
        }
    }

    #watch() {
        const { context, kal } = this;
        this.directions = kal.directions;
        kal.addEventListener('meters', ({ detail }) => this.#say('meters', detail));
        kal.addEventListener('error', ({ detail }) => this.#say('error', detail));
        this.#master = new GainNode(context);
        this.#master.connect(context.destination);
        const splitter = new ChannelSplitterNode(context, { numberOfOutputs: 2 });
        this.#master.connect(splitter);
        this.#taps = [0, 1].map((side) => {
            const tap = new AnalyserNode(context, { fftSize: 2048 });
            splitter.connect(tap, side);
            return tap;
        });
    }

    /** Peak and RMS of what leaves the page, left and right, whichever way it took. */
    levels() {
        const levels = { peak: [0, 0], rms: [0, 0] };
        const samples = new Float32Array(2048);
        this.#taps.forEach((tap, side) => {
            tap.getFloatTimeDomainData(samples);
            levels.peak[side] = samples.reduce((most, x) => Math.max(most, Math.abs(x)), 0);
            levels.rms[side] = Math.sqrt(samples.reduce((sum, x) => sum + x * x, 0) / samples.length);
        });
        return levels;
    }

    get isPaused() {
        return this.context?.state === 'suspended';
    }

    async pause(isPaused) {
        await (isPaused ? this.context.suspend() : this.context.resume());
        this.#say('kind');
    }

    /** Another head, heard at once and in recordings. @throws Error with a sentence for a file that is none */
    async useHead(bytes) {
        if (this.kal) await this.kal.head(bytes);
        this.#head = bytes;
        if (this.kal) this.directions = this.kal.directions;
        this.#forgetGains();
        this.#say('head');
    }

    /** Goes over to the engine, the browser's panner or plain stereo, as loud as each other. */
    async use(kind) {
        const former = this.kind;
        this.kind = kind;
        const { scene } = this.model;
        let gains = this.#gains;
        try {
            gains ??= await equalGains(this.model, this.library, this.#makeEngine);
        } catch (error) {
            this.kind = former;
            this.#say('kind');
            throw error;
        }
        if (this.kind !== kind) return; // chosen otherwise in the meantime
        if (scene === this.model.scene) this.#gains = gains; // else it is measured anew, soon
        for (const [name, { way }] of Object.entries(this.#ways)) {
            way.gain.setTargetAtTime(name === kind ? gains[kind].gain : 0, this.context.currentTime, fade / 4);
        }
        const { output } = this.#ways[kind];
        if (this.player.output !== output) {
            await new Promise((resume) => setTimeout(resume, 1000 * fade)); // what stops is silent by then
            this.player.use(output);
            this.player.tick();
        }
        this.#say('kind');
    }

    // Another scene has another loudness; while the engine is heard alone, nobody needs to know.
    #forgetGains() {
        const wereKnown = this.#gains !== null;
        this.#gains = null;
        if (wereKnown) this.#say('kind');
        clearTimeout(this.#measuring);
        if (this.kind !== 'engine') this.#measuring = setTimeout(() => this.use(this.kind), 500);
    }

    /** Loudness of the three ways, LUFS, once they were compared. */
    get gains() {
        return this.#gains;
    }

    /** A short sound on one side alone, past everything else. @param {-1 | 1} side */
    async ping(side) {
        this.context ??= new AudioContext({ sampleRate: rate });
        await this.context.resume();
        const now = this.context.currentTime;
        const tone = new OscillatorNode(this.context, { frequency: side < 0 ? 440 : 660 });
        const gain = new GainNode(this.context, { gain: 0 });
        const merger = new ChannelMergerNode(this.context, { numberOfInputs: 2 });
        gain.gain.setTargetAtTime(0.3, now, 0.01);
        gain.gain.setTargetAtTime(0, now + 0.5, 0.05);
        tone.connect(gain).connect(merger, 0, side < 0 ? 0 : 1);
        merger.connect(this.context.destination);
        tone.start(now);
        tone.stop(now + 1);
        tone.onended = () => merger.disconnect();
    }

    #say(event, detail) {
        this.dispatchEvent(new CustomEvent(event, { detail }));
    }
}
