import { byId, choices, guarded, printed, tell } from './controls.js';

/** @import { AudioStage } from '../sound/audio.js' */
/** @import { Kind } from '../sound/types.js' */

/** @type {Record<Kind, string>} */
const ways = { engine: 'KALMarble', panner: 'Browser', stereo: 'Stereo' };
const whatTheyAre =
    'Compare with the browser’s own PannerNode, which has a head of its own, and with plain stereo, all equally loud. Only KALMarble has a room.';

/** A/B: the engine, the browser's own PannerNode with its own head, and plain stereo, equally loud. @param {AudioStage} audio */
export function comparePanel(audio) {
    const choose = choices(byId('ways'), ways, (kind) => {
        if (audio.isRunning) return guarded(() => audio.use(kind));
        choose('engine');
        tell('Press Start first.');
    });
    const show = () => {
        choose(audio.kind);
        byId('wayFacts').textContent = facts();
    };
    const facts = () => {
        const { gains, kind } = audio;
        if (!gains) return kind === 'engine' ? whatTheyAre : 'Measuring how loud each is …';
        const levels = Object.entries(gains).map(([name, { loudness }]) => {
            const level = Number.isFinite(loudness) ? printed(loudness, 1) : '−∞';
            return `${ways[/** @type {Kind} */ (name)]} ${level}`;
        });
        return `Now equally loud. By themselves: ${levels.join(', ')} LUFS. Only KALMarble has a room.`;
    };
    show();
    audio.addEventListener('kind', show);
}
