export interface SceneOptions {
    /** Of the output, Hz; default: 48000. */
    samplingRate?: number;
    /**
     * The sound file that a scene names: the bytes of a file, read as kalrender does if it is a WAV file of 8, 16 or 32
     * bits and decoded by the browser if not; or samples. What it throws becomes one of the scene's faults.
     */
    sound?: (
        name: string,
    ) => Promise<ArrayBuffer | AudioBuffer | { samples: Float32Array | Float32Array[]; rate: number } | null>;
    /** Bytes of a .kalhrtfd file; default: the head built in. */
    head?: ArrayBuffer | Uint8Array;
    /** Of the document, in messages; default: "scene". */
    title?: string;
}

/** A scene that is rendered from its beginning on. */
export interface Scene {
    readonly samplingRate: number;
    /** Infinity for a scene that lasts until it is silent. */
    readonly frames: number;
    /** The next frames, left and right interleaved; fewer, down to none, only where the scene ends. */
    render(numFrames: number): Float32Array;
    /** Where every sound is at a frame: in the world, as the listener hears it, or nowhere. */
    places(
        frame: number,
    ): { sound: string; place: 'world' | 'listener' | 'none'; position: [number, number, number] }[];
    /** Where the listener is, and heading, pitch and roll in degrees: to the right, upwards, to the right shoulder. */
    listener(frame: number): { position: [number, number, number]; turn: [number, number, number] };
}

/** All that is wrong with a scene: a line each, with the JSON pointer of the place and what was expected. */
export class SceneError extends Error {
    readonly errors: string[];
}

/** Reads the text of a scene file. Rejects with a SceneError. */
export function openScene(text: string, options?: SceneOptions): Promise<Scene>;

/** Renders a scene as a whole, and lets the page live meanwhile. `progress` is told the frames that are done. */
export function renderScene(
    text: string,
    options?: SceneOptions & { progress?: (frame: number) => void },
): Promise<{ samplingRate: number; left: Float32Array; right: Float32Array }>;

/** A WAV file of 16 or 24-bit whole numbers or, by default, 32-bit floats. */
export function wav(channels: Float32Array[], samplingRate: number, bits?: 16 | 24 | 32): Blob;
