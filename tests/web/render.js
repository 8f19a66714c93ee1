// Renders a program, as support.js has it, in the page. Its events are those of the package, in the order of time.

import { createContext } from '/kalmarble/kalmarble.js';

/** Noise that a native program makes alike. */
export function noise({ seed, frames, channels }) {
    let x = seed;
    return Array.from({ length: channels }, () =>
        Float32Array.from({ length: frames }, () => {
            x = (Math.imul(x, 1664525) + 1013904223) >>> 0;
            return x / 2147483648 - 1;
        }),
    );
}

export async function render(program) {
    const { samplingRate, frames } = program;
    const audio = new OfflineAudioContext(2, frames, samplingRate);
    const kal = await createContext(audio);
    const errors = [];
    kal.addEventListener('error', ({ detail }) => errors.push(detail.message));
    kal.output.connect(audio.destination);
    const buffers = [];
    for (const sound of program.buffers) buffers.push(await kal.buffer({ samples: noise(sound), rate: sound.rate }));

    const voices = [];
    for (const { at, room, listener, add, voice, set, seek, stop } of program.events) {
        if (room) kal.room(room, at);
        if (listener) kal.listener(listener, at);
        if (add) voices.push(kal.add(buffers[add.buffer], { ...add, at }));
        if (set) voices[voice].set(set, at);
        if (seek !== undefined) voices[voice].seek(seek, at);
        if (stop) voices[voice].stop(at);
    }
    await kal.settled();
    const result = await audio.startRendering();
    kal.close();
    if (errors.length) throw new Error(errors.join('\n'));
    const [left, right] = [result.getChannelData(0), result.getChannelData(1)];
    return Float32Array.from({ length: 2 * frames }, (_, i) => (i % 2 ? right : left)[i >> 1]);
}

/** The same, interleaved, in base 64. */
export async function renderAsText(program) {
    return textOf(new Uint8Array((await render(program)).buffer));
}

export function textOf(bytes) {
    let letters = '';
    for (let i = 0; i < bytes.length; i += 32768) letters += String.fromCharCode(...bytes.subarray(i, i + 32768));
    return btoa(letters);
}
