import { byId, choices, guarded, tell } from './controls.js';

const ways = { engine: 'KALMarble', panner: 'Browser', stereo: 'Stereo' };

/** A/B: the engine, the browser's own PannerNode with its own head, and plain stereo, equally loud. */
export function comparePanel(audio) {
    const choose = choices(byId('ways'), ways, async (kind) => {
        if (!audio.isRunning) {
            choose('engine');
            tell('Press Start first.');
            return;
        }
        byId('wayFacts').textContent = 'Measuring how loud each is …';
        await guarded(() => audio.use(kind));
    });
    choose('engine');
    const show = () => {
        choose(audio.kind);
        const { gains } = audio;
        byId('wayFacts').textContent = gains
            ? `All at one loudness. By themselves: ${Object.entries(gains)
                  .map(
                      ([kind, { loudness }]) =>
                          `${ways[kind]} ${Number.isFinite(loudness) ? loudness.toFixed(1) : '−∞'}`,
                  )
                  .join(', ')} LUFS. The browser’s is its PannerNode with its own head; only KALMarble has a room.`
            : '';
    };
    show();
    audio.addEventListener('kind', show);
}
