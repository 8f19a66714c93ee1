import { rate } from '../scene/curve.js';
import { BrowserOutput } from './browser.js';
import { EngineOutput } from './engine.js';
import { loudness } from './loudness.js';
import { Player } from './player.js';

/** @import { Model } from '../scene/model.js' */
/** @import { Library } from './library.js' */
/** @import { EngineMaker, Gains, Kind, Output } from './types.js' */

const measuredFor = 8; // s of the scene

/** The scene's beginning as an output plays it. @param {Kind} kind @param {Model} model @param {Library} library @param {EngineMaker} makeEngine */
async function rendered(kind, model, library, makeEngine) {
    const context = new OfflineAudioContext(2, measuredFor * rate, rate);
    /** @type {Output} */
    const output =
        kind === 'engine' ? new EngineOutput(context, await makeEngine(context)) : new BrowserOutput(context, kind);
    output.node.connect(context.destination);
    for (const sound of model.scene.sounds) {
        const samples = library.samples(sound);
        if (samples) await output.load?.(samples);
    }
    let frame = 0;
    const player = new Player(model, library, output, () => frame);
    for (; frame < context.length; frame += rate / 20) player.tick();
    await output.settled?.();
    const buffer = await context.startRendering();
    output.close();
    return [buffer.getChannelData(0), buffer.getChannelData(1)];
}

/**
 * Gains that make the three ways equally loud, by what each makes of the scene's first seconds. None clips: where one
 * would, all are softer.
 * @param {Model} model @param {Library} library @param {EngineMaker} makeEngine @returns {Promise<Gains>}
 */
export async function equalGains(model, library, makeEngine) {
    const measure = async (/** @type {Kind} */ kind) => {
        const channels = await rendered(kind, model, library, makeEngine);
        const peak = channels.reduce((most, samples) => samples.reduce((m, x) => Math.max(m, Math.abs(x)), most), 0);
        return { peak, gain: 1, loudness: loudness(channels, rate) };
    };
    const result = {
        engine: await measure('engine'),
        panner: await measure('panner'),
        stereo: await measure('stereo'),
    };
    const ways = Object.values(result);
    for (const way of ways) {
        const louder = result.engine.loudness - way.loudness; // dB; not a number where one is silent
        if (Number.isFinite(louder)) way.gain = 10 ** (louder / 20);
    }
    const highest = Math.max(1, ...ways.map(({ peak, gain }) => peak * gain));
    for (const way of ways) way.gain /= highest;
    return result;
}
