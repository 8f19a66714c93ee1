/** The numbers of the C++ standard's mt19937, which scene files' seeds mean: 32 bits each. @param {number} seed @returns {Generator<number, never>} */
export function* randomNumbers(seed) {
    const state = new Uint32Array(624);
    state[0] = seed;
    for (let i = 1; i < 624; ++i) {
        state[i] = Math.imul(1812433253, state[i - 1] ^ (state[i - 1] >>> 30)) + i;
    }
    for (;;) {
        for (let i = 0; i < 624; ++i) {
            const y = (state[i] & 0x80000000) | (state[(i + 1) % 624] & 0x7fffffff);
            state[i] = state[(i + 397) % 624] ^ (y >>> 1) ^ (y & 1 ? 0x9908b0df : 0);
        }
        for (let y of state) {
            y ^= y >>> 11;
            y ^= (y << 7) & 0x9d2c5680;
            y ^= (y << 15) & 0xefc60000;
            yield (y ^ (y >>> 18)) >>> 0;
        }
    }
}
