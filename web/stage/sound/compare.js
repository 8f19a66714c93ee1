import { rate } from '../scene/curve.js';
import { BrowserOutput } from './browser.js';
import { EngineOutput } from './engine.js';
import { loudness } from './loudness.js';
import { Player } from './player.js';

const measuredFor = 8; // s of the scene

/** An output of a kind, 'engine', 'panner' or 'stereo', for any context. */
export async function makeOutput(kind, context, makeEngine) {
    return kind === 'engine' ? new EngineOutput(context, await makeEngine(context)) : new BrowserOutput(context, kind);
}

/** The scene's beginning as an output plays it. */
async function rendered(kind, model, library, makeEngine) {
    const context = new OfflineAudioContext(2, measuredFor * rate, rate);
    const output = await makeOutput(kind, context, makeEngine);
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
 * @returns {Promise<{[kind: string]: {gain: number, loudness: number}}>}
 */
export async function equalGains(model, library, makeEngine) {
    const result = {};
    let highest = 1;
    for (const kind of ['engine', 'panner', 'stereo']) {
        const channels = await rendered(kind, model, library, makeEngine);
        const lufs = loudness(channels, rate);
        const gain =
            Number.isFinite(lufs) && Number.isFinite(result.engine?.loudness ?? lufs)
                ? 10 ** (((result.engine?.loudness ?? lufs) - lufs) / 20)
                : 1;
        const peak = channels.reduce((most, samples) => samples.reduce((m, x) => Math.max(m, Math.abs(x)), most), 0);
        highest = Math.max(highest, peak * gain);
        result[kind] = { gain, loudness: lufs };
    }
    for (const kind in result) result[kind].gain /= highest;
    return result;
}
