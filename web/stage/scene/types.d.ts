/** A scene as its file holds it (docs/kalrender.md), as far as the page looks into it. */
export interface Scene {
    title?: string;
    length?: Time | 'until silent';
    gain?: Moving<number>;
    listener?: { position?: Moving<number[]>; turn?: Moving<number[]> };
    room?: Room | Keys<Room & { at: Time }>;
    sounds: Sound[];
}

/** Seconds, or frames. */
export type Time = number | { frame: number };
export type Keys<Point> = Point[] | { interpolation?: 'linear' | 'hold' | 'smooth'; points: Point[] };
/** One value, or values over time. */
export type Moving<T> = T | Keys<{ at: Time; value: T }>;

/** Metres, square and cubic metres; levels 0 to 1. */
export interface Room {
    dimensions?: number[];
    volume?: number;
    area?: number;
    size?: number;
    wetLevelA?: number;
    wetLevelB?: number;
}

export interface Synth {
    kind: 'noise' | 'tone' | 'sweep' | 'pluck' | 'step' | 'click';
    duration?: number;
    attack?: number;
    decay?: number;
    frequency?: number;
    to?: number;
    harmonics?: number;
    seed?: number;
}

/** Made by `synth` or read from `file`. */
export interface Sound {
    name?: string;
    file?: string;
    synth?: Synth;
    place?: 'world' | 'listener' | 'none';
    position?: Moving<number[]>;
    gain?: Moving<number>;
    speed?: Moving<number>;
    occlusion?: Moving<number>;
    referenceDistance?: number;
    start?: Time | Time[];
    stop?: Time;
    from?: Time;
    seek?: { at: Time; to: Time }[];
    loop?: boolean | { start?: Time; end?: Time };
    copies?: {
        count: number;
        seed?: number;
        spread?: number[];
        delay?: Time;
        gain?: number[];
        speed?: number[];
    };
}

export type NamedSound = Sound & { name: string };
/** Every sound has a name, by which the page tells it from the others. */
export type NamedScene = Omit<Scene, 'sounds'> & { sounds: NamedSound[] };

export type Listener = { position: number[]; turn: number[]; axes: Axes };
export type Axes = { front: number[]; up: number[]; right: number[] };
/** A point of the world, and the same as the listener has it. */
export type Placed = { sound: NamedSound; point: number[]; place: number[] };
export type Places = { listener: Listener; sounds: Placed[] };
