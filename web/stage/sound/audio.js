import { createContext } from 'kalmarble';
import { rate } from '../scene/curve.js';
import { within } from '../within.js';
import { BrowserOutput } from './browser.js';
import { equalGains } from './compare.js';
import { EngineOutput } from './engine.js';
import { Player } from './player.js';

/** @import { Kal } from 'kalmarble' */
/** @import { Model } from '../scene/model.js' */
/** @import { Library } from './library.js' */
/** @import { Gains, Kind, Output } from './types.js' */

const beat = 25; // ms between two looks at the scene
const fade = 0.02; // s, from one way of listening to another
const longestStart = 15; // s
const longestMeasurement = 60; // s
const shortestLife = 5; // s of an engine, before another takes its place

/**
 * Everything that sounds. Events: 'ready' (its parts are made), 'started', 'paused' (or going on), 'meters' (detail as
 * the package gives it), 'kind', 'head', 'error' (detail.message).
 */
export class AudioStage extends EventTarget {
    /** @type {Kind} */
    kind = 'engine';
    /** @type {Player | null} */
    player = null;
    /** @type {import('kalmarble').Direction[]} of the head in use */
    directions = [];
    /** @type {AudioContext | null} */
    #context = null;
    /** @type {Kal | null} */
    #kal = null;
    /** @type {ArrayBuffer | null} bytes of the file in use */
    #head = null;
    /** @type {Map<Kind, { output: Output, way: GainNode }>} with a gain behind each output */
    #ways = new Map();
    /** @type {AnalyserNode[]} */
    #taps = [];
    /** @type {Promise<void> | null} */
    #prepared = null;
    /** @type {Gains | null} of the three ways, as far as they are known for this scene */
    #gains = null;
    #edits = 0;
    #engineSince = 0; // ms
    #isLost = false;
    /** @type {Promise<void> | null} */
    #measuring = null;
    #measureSoon = 0; // timer
    /** @type {AudioContext | null} */
    #pings = null;

    /** @param {Model} model @param {Library} library */
    constructor(model, library) {
        super();
        this.model = model;
        this.library = library;
        for (const event of ['change', 'listen']) model.addEventListener(event, () => this.#forgetGains());
    }

    get isRunning() {
        return this.player !== null;
    }
    get isPaused() {
        return this.isRunning && this.#context?.state !== 'running';
    }
    get frame() {
        return this.player?.frame ?? 0;
    }
    get headBytes() {
        return this.#head;
    }

    #makeEngine = (/** @type {BaseAudioContext} */ context) =>
        createContext(context, this.#head ? { head: this.#head } : {});

    /** Makes all that can be made before anybody wants to hear it; a failure may be tried again. */
    prepare() {
        this.#prepared ??= this.#make().catch((error) => {
            this.#prepared = null;
            throw error;
        });
        return this.#prepared;
    }

    #contextNow() {
        if (!this.#context) {
            this.#context = new AudioContext({ sampleRate: rate, latencyHint: 'interactive' });
            this.#context.suspend(); // until Start, even where a page may sound by itself
            this.#context.addEventListener('statechange', () => this.#say('paused'));
        }
        return this.#context;
    }

    async #make() {
        const context = this.#contextNow();
        const engine = await this.#makeEngineOutput(context);
        const master = new GainNode(context);
        master.connect(context.destination);
        const splitter = new ChannelSplitterNode(context, { numberOfOutputs: 2 });
        master.connect(splitter);
        this.#taps = [0, 1].map((side) => {
            const tap = new AnalyserNode(context, { fftSize: 2048 });
            splitter.connect(tap, side);
            return tap;
        });
        /** @type {[Kind, Output][]} */
        const outputs = [
            ['engine', engine],
            ['panner', new BrowserOutput(context, 'panner')],
            ['stereo', new BrowserOutput(context, 'stereo')],
        ];
        for (const [kind, output] of outputs) {
            const way = new GainNode(context, { gain: kind === this.kind ? 1 : 0 });
            output.node.connect(way).connect(master);
            this.#ways.set(kind, { output, way });
        }
        this.#say('ready');
        for (const sound of this.model.scene.sounds) {
            const samples = this.library.samples(sound);
            if (samples) await engine.load(samples);
        }
    }

    /** @param {AudioContext} context */
    async #makeEngineOutput(context) {
        const kal = await this.#makeEngine(context);
        const output = new EngineOutput(context, kal);
        this.#kal = kal;
        this.directions = kal.directions;
        this.#engineSince = performance.now();
        kal.addEventListener('meters', ({ detail }) => this.#say('meters', detail));
        kal.addEventListener('error', ({ detail }) => {
            if (!detail.fatal) this.#say('error', detail);
            else this.#replace(output).catch((error) => this.#say('error', error));
        });
        return output;
    }

    /** Another engine for one that is silent for good. @param {EngineOutput} dead */
    async #replace(dead) {
        const way = this.#ways.get('engine');
        if (way?.output !== dead) return; // not in use yet, or no more
        if (performance.now() - this.#engineSince < 1000 * shortestLife) {
            this.#isLost = true;
            throw new Error('The engine has given up again: please reload the page.');
        }
        dead.close();
        const output = await this.#makeEngineOutput(this.#contextNow());
        output.node.connect(way.way);
        this.#ways.set('engine', { output, way: way.way });
        if (this.player?.output === dead) this.player.use(output);
        this.#say('error', new Error('The engine has given up; another plays on.'));
    }

    /** Begins to sound; to be called by a click, as browsers want it. */
    async start() {
        const context = this.#contextNow();
        const begun = Promise.all([context.resume(), this.prepare()]);
        await within(longestStart, begun, 'The browser does not begin to play: is there an output for sound?');
        this.player = new Player(
            this.model,
            this.library,
            this.#way('engine').output,
            () => context.currentTime * rate,
        );
        this.#tick();
        setInterval(() => this.#tick(), beat);
        this.#say('started');
    }

    /** @param {Kind} kind */
    #way(kind) {
        const way = this.#ways.get(kind);
        if (!way) throw new Error('Press Start first.');
        return way;
    }

    #tick() {
        if (this.isPaused || this.#isLost) return;
        try {
            this.player?.tick();
        } catch (error) {
            this.#say('error', error); // the next one may do better
        }
    }

    /** Peak and RMS of what leaves the page, left and right, whichever way it took. */
    levels() {
        const samples = new Float32Array(2048);
        const all = this.#taps.map((tap) => {
            tap.getFloatTimeDomainData(samples);
            const power = samples.reduce((sum, x) => sum + x * x, 0) / samples.length;
            return { peak: samples.reduce((most, x) => Math.max(most, Math.abs(x)), 0), rms: Math.sqrt(power) };
        });
        return { peak: all.map(({ peak }) => peak), rms: all.map(({ rms }) => rms) };
    }

    /** @param {boolean} isPaused */
    async pause(isPaused) {
        const context = this.#contextNow();
        await within(longestStart, isPaused ? context.suspend() : context.resume(), 'The browser does not play on.');
    }

    /** The sound, by its name, that a voice of the engine plays. @param {unknown} voice @returns {string | undefined} */
    soundOf(voice) {
        const output = this.#ways.get('engine')?.output;
        return output instanceof EngineOutput ? output.nameOf(voice) : undefined;
    }

    /** Another head, heard at once and in recordings. @param {ArrayBuffer | null} bytes @throws Error with a sentence for a file that is none */
    async useHead(bytes) {
        await this.prepare();
        if (this.#kal) ({ directions: this.directions } = await this.#kal.head(bytes));
        this.#head = bytes;
        this.#forgetGains();
        this.#say('head');
    }

    /** Goes over to the engine, the browser's panner or plain stereo, as loud as each other. @param {Kind} kind */
    async use(kind) {
        const { player } = this;
        if (!player) throw new Error('Press Start first.');
        const former = this.kind;
        this.kind = kind;
        this.#say('kind');
        let gains;
        try {
            gains = await this.#equalGains();
        } catch (error) {
            if (this.kind === kind) this.kind = former;
            this.#say('kind');
            throw error;
        }
        if (this.kind !== kind) return; // chosen otherwise in the meantime
        const now = this.#contextNow().currentTime;
        for (const [name, { way }] of this.#ways)
            way.gain.setTargetAtTime(name === kind ? gains[kind].gain : 0, now, fade / 4);
        const { output } = this.#way(kind);
        if (player.output !== output) {
            await new Promise((resume) => setTimeout(resume, 1000 * fade)); // what stops is silent by then
            player.use(output);
            this.#tick();
        }
        this.#say('kind');
    }

    // One measurement at a time. Of a scene that was edited meanwhile it holds for now: the next is on its way.
    async #equalGains() {
        while (this.#measuring) await this.#measuring;
        if (this.#gains) return this.#gains;
        const edits = this.#edits;
        const measured = within(
            longestMeasurement,
            equalGains(this.model, this.library, this.#makeEngine),
            'To measure how loud each is took too long.',
        );
        const end = () => {
            this.#measuring = null;
        };
        this.#measuring = measured.then(end, end);
        const gains = await measured;
        if (edits === this.#edits) this.#gains = gains;
        return gains;
    }

    // Another scene has another loudness; while the engine is heard alone, nobody needs to know.
    #forgetGains() {
        const wereKnown = this.#gains !== null;
        this.#gains = null;
        ++this.#edits;
        if (wereKnown) this.#say('kind');
        clearTimeout(this.#measureSoon);
        if (this.kind === 'engine') return;
        this.#measureSoon = setTimeout(() => this.use(this.kind).catch((error) => this.#say('error', error)), 500);
    }

    /** Loudness of the three ways, LUFS, once they were compared. */
    get gains() {
        return this.#gains;
    }

    /** A short sound on one side alone, past everything else, paused or not. @param {number} side -1 or 1 */
    async ping(side) {
        const context = (this.#pings ??= new AudioContext());
        await within(
            longestStart,
            context.resume(),
            'The browser does not begin to play: is there an output for sound?',
        );
        const now = context.currentTime;
        const tone = new OscillatorNode(context, { frequency: side < 0 ? 440 : 660 });
        const gain = new GainNode(context, { gain: 0 });
        const merger = new ChannelMergerNode(context, { numberOfInputs: 2 });
        gain.gain.setTargetAtTime(0.3, now, 0.01);
        gain.gain.setTargetAtTime(0, now + 0.5, 0.05);
        tone.connect(gain).connect(merger, 0, side < 0 ? 0 : 1);
        merger.connect(context.destination);
        tone.start(now);
        tone.stop(now + 1);
        tone.onended = () => merger.disconnect();
    }

    /** @param {string} event @param {unknown} [detail] */
    #say(event, detail) {
        this.dispatchEvent(new CustomEvent(event, { detail }));
    }
}
