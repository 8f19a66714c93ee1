// What a user's program asks of the types.

import {
    type Buffer,
    createContext,
    type Kal,
    type Meters,
    missing,
    preload,
    type Room,
    rt60,
    type Voice,
} from 'kalmarble';
import { openScene, renderScene, SceneError, wav } from 'kalmarble/scene';

const lacking: string | null = missing();
const audio = new AudioContext();
await preload(audio);
const kal: Kal = await createContext(audio, { head: new Uint8Array(3) });
kal.output.connect(audio.destination);
const buffer: Buffer = await kal.buffer({ samples: new Float32Array(3), rate: 48000 });
const voice: Voice = kal.add(buffer, { position: [1, 2, 3], loop: [0, 1], at: 3 });
kal.move(voice, new Float32Array([1, 2, 3]), 4);
const listen = ({ detail }: CustomEvent<Meters>) => detail.measured.map(({ voice }) => voice?.stop());
kal.addEventListener('meters', listen);
kal.removeEventListener('meters', listen);
kal.addEventListener('error', ({ detail }) => console.log(detail.fatal, detail.message, lacking));
const room: Room = { dimensions: [1, 2, 3], wetA: 0.5 };
kal.room({ volume: rt60(room).middle, area: 2, size: 3 });
kal.room(null);
// @ts-expect-error a number is no vector
kal.room({ dimensions: 3 });
// @ts-expect-error no such option
kal.add(buffer, { volume: 3 });

const scene = await openScene('{}', { sound: async (name) => (await fetch(name)).arrayBuffer() });
const { left, right, samplingRate } = await renderScene('{}', { progress: (frame) => console.log(frame) });
const file: Blob = wav([left, right], samplingRate, 24);
try {
    console.log(file, scene.render(5).length, scene.places(0)[0]?.position);
} catch (error) {
    if (error instanceof SceneError) console.log(error.errors.join());
}
