export type Samples = AudioBuffer | { samples: Float32Array<ArrayBuffer>; rate: number };

/** What may change about a voice while it sounds. */
export interface State {
    position: number[];
    gain: number;
    speed: number;
    occlusion: number;
}

/** How a voice begins: `loop` and `offset` in frames of the samples. */
export interface Beginning extends State {
    name: string;
    place: 'world' | 'listener' | 'none';
    referenceDistance: number;
    loop: number[] | null;
    offset: number;
}

/** What a player plays on; `at` is a frame of the context. */
export interface Output<Handle = any> {
    node: AudioNode;
    /** Voices are to be told anew whenever the listener moves. */
    isRelative?: boolean;
    begin(samples: Samples, how: Beginning, at: number): Handle;
    set(handle: Handle, changes: Partial<State>, at: number): void;
    seek?(handle: Handle, frame: number, at: number): void;
    stop(handle: Handle, at?: number): void;
    listener(listener: { position: number[]; axes: import('../scene/types.js').Axes }, at: number): void;
    /** Volume, area, size and both wet levels; null for none. */
    room(numbers: number[] | null, at: number): void;
    gain(gain: number, at: number): void;
    /** Hands samples over beforehand, and lets go of all but these. */
    load?(samples: Samples): Promise<void>;
    keep?(samples: Set<Samples | null>): void;
    /** All that was said has arrived: an offline context may begin. */
    settled?(): Promise<void>;
    close(): void;
}

export type Kind = 'engine' | 'panner' | 'stereo';
/** Of each way: what makes it as loud as the others, and how loud it is by itself, LUFS. */
export type Gains = Record<Kind, { gain: number; loudness: number }>;
export type EngineMaker = (context: BaseAudioContext) => Promise<import('kalmarble').Kal>;
