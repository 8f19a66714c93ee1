/** Metres, in a right-handed world: with the listener as it is at first, +x is right, +y up and -z ahead. */
export type Vector = ArrayLike<number> & Iterable<number>;

/** A direction from the listener, degrees: azimuth clockwise from ahead (the left is below 0), elevation upwards. */
export interface Direction {
    azimuth: number;
    elevation: number;
}

/** What may change about a voice while it plays. */
export interface VoiceChange {
    /** Of the world; of a `relative` voice +x right, +y up, +z ahead of the listener. Default: [0, 0, 0]. */
    position?: Vector;
    /** Linear, 0 to 1000. Default: 1. */
    gain?: number;
    /** 0.001 to 1000; 1 is as recorded. */
    speed?: number;
    /** What stands between: 0 (open, the default) to 1 (closed). */
    occlusion?: number;
    /** Metres up to which it is not attenuated; beyond, amplitude falls with distance. Default: 1. */
    referenceDistance?: number;
}

export interface VoiceOptions extends VoiceChange {
    /** True, or the [start, end] in frames of the buffer that is repeated. For the voice's life. */
    loop?: boolean | [number, number];
    /** The position is relative to the listener and turns with it. */
    relative?: boolean;
    /** As recorded: neither place nor room. */
    local?: boolean;
    /** Where in the buffer it begins, frames. */
    offset?: number;
    /** The context's frame at which it begins; default: at once. */
    at?: number;
}

/** Samples that the engine holds. */
export interface Buffer {
    readonly id: number;
    readonly channels: number;
    readonly frames: number;
    readonly rate: number;
    /** Lets go of the samples; voices that play them play on. */
    free(): void;
}

/** A sound that plays or is to play. `at` is a frame of the audio context; default, and for what is past: at once. */
export interface Voice {
    readonly id: number;
    /** Fulfilled soon after the voice has ended. */
    readonly ended: Promise<void>;
    set(change: VoiceChange, at?: number): void;
    /** Goes on at another frame of the buffer. */
    seek(frame: number, at?: number): void;
    stop(at?: number): void;
}

export interface ListenerChange {
    position?: Vector;
    /** Where the listener looks, of unit length. */
    front?: Vector;
    /** Not parallel to front. */
    up?: Vector;
}

/** A room, by its dimensions or by what the engine makes of them. */
export type Room = {
    /** Levels of the reverb, 0 to 1, to the fourth and the third power. Default: 1. */
    wetA?: number;
    wetB?: number;
} & (
    | { /** Width, height and depth, metres. */ dimensions: Vector; volume?: number; area?: number; size?: number }
    | {
          dimensions?: undefined;
          /** Cubic metres. */
          volume: number;
          /** Square metres of wall. */
          area: number;
          /** Metres; beyond 1.5 times it a sound's part in the reverb fades. */
          size: number;
      }
);

/** What was heard within the last twentieth of a second. */
export interface Meters {
    /** Of the context, the latest. */
    frame: number;
    /** Left and right, linear. */
    peak: [number, number];
    rms: [number, number];
    /** Frames so far that the limiter brought down to full scale. */
    limited: number;
    /** Voices that play, and sides of measured directions in use. */
    voices: number;
    sides: number;
    /** Share of a quantum's time that rendering it takes, averaged over half a second. */
    load: number;
    /** How often the context ran out of sound; null where the browser does not count. */
    underruns: number | null;
    /** The measured direction that each placed voice is heard from; a voice that has ended may be undefined. */
    measured: ({ voice: Voice | undefined } & Direction)[];
}

interface Events {
    meters: CustomEvent<Meters>;
    /**
     * Something could not be done when it was due; the sound goes on. Unless it is `fatal`, which no caller can bring
     * about: the engine has stopped and is silent, every voice has ended, and createContext makes another.
     */
    error: CustomEvent<{ message: string; fatal: boolean }>;
}

/** The engine in an audio context. Calls that are wrong throw a TypeError with a sentence. */
export interface Kal extends EventTarget {
    /** Two channels; connect it. */
    readonly output: AudioWorkletNode;
    /** Of the head in use, those of both sides. */
    readonly directions: Direction[];
    /** Hands sound over to the audio thread, piece by piece: one or two channels. */
    buffer(source: AudioBuffer | { samples: Float32Array | Float32Array[]; rate: number }): Promise<Buffer>;
    add(buffer: Buffer, options?: VoiceOptions): Voice;
    move(voice: Voice, position: Vector, at?: number): void;
    listener(change: ListenerChange, at?: number): void;
    /** Null is the open air. */
    room(room: Room | null, at?: number): void;
    /** Seconds in which the middle and the long reverb of a room fall by 60 dB. */
    rt60(room: Room | null): { middle: number; long: number };
    /** Goes on with the head of a .kalhrtfd file; null: the one built in. Rejects with a sentence what is none. */
    head(bytes: ArrayBuffer | Uint8Array | null): Promise<{ directions: Direction[] }>;
    /** Fulfilled when all that was told so far has reached the audio thread. */
    settled(): Promise<void>;
    /** The end of every voice, as is the end of the audio context. */
    close(): void;
    addEventListener<K extends keyof Events>(
        type: K,
        listener: (event: Events[K]) => void,
        options?: boolean | AddEventListenerOptions,
    ): void;
    addEventListener(
        type: string,
        listener: EventListenerOrEventListenerObject | null,
        options?: boolean | AddEventListenerOptions,
    ): void;
    removeEventListener<K extends keyof Events>(
        type: K,
        listener: (event: Events[K]) => void,
        options?: boolean | EventListenerOptions,
    ): void;
    removeEventListener(
        type: string,
        listener: EventListenerOrEventListenerObject | null,
        options?: boolean | EventListenerOptions,
    ): void;
}

/** Sets the engine up in an audio context, offline ones included. Rejects with a sentence. */
export function createContext(
    audioContext: BaseAudioContext,
    options?: {
        /** Bytes of a .kalhrtfd file; default: the head built in. */
        head?: ArrayBuffer | Uint8Array;
    },
): Promise<Kal>;

/** What this browser lacks for the engine, as a sentence, or null. */
export function missing(): string | null;

/**
 * Fetches and compiles ahead what createContext needs, so that it is quicker; what runs in a context only if it is
 * given. For the quickest start, create a context before the click, suspended, and resume the AudioContext after it.
 */
export function preload(audioContext?: BaseAudioContext): Promise<void>;

/** As of Kal; after preload or createContext. */
export function rt60(room: Room | null): { middle: number; long: number };
