// Loudness of a programme: ITU-R BS.1770, two channels.

// The two filters of its K-weighting, for any rate (the recommendation gives coefficients for 48 kHz; these frequencies
// and qualities reproduce them).
/** @param {number} sampleRate */
function kWeighting(sampleRate) {
    const shelf = () => {
        const k = Math.tan((Math.PI * 1681.974450955533) / sampleRate),
            q = 0.7071752369554196;
        const vh = 10 ** (3.999843853973347 / 20),
            vb = vh ** 0.4996667741545416,
            a0 = 1 + k / q + k * k;
        return [
            (vh + (vb * k) / q + k * k) / a0,
            (2 * (k * k - vh)) / a0,
            (vh - (vb * k) / q + k * k) / a0,
            (2 * (k * k - 1)) / a0,
            (1 - k / q + k * k) / a0,
        ];
    };
    const highPass = () => {
        const k = Math.tan((Math.PI * 38.13547087602444) / sampleRate),
            q = 0.5003270373238773,
            a0 = 1 + k / q + k * k;
        return [1, -2, 1, (2 * (k * k - 1)) / a0, (1 - k / q + k * k) / a0];
    };
    return [shelf(), highPass()];
}

/** @param {Float64Array} samples @param {number[]} coefficients */
function filtered(samples, [b0, b1, b2, a1, a2]) {
    let s1 = 0,
        s2 = 0;
    return samples.map((x) => {
        const y = b0 * x + s1;
        s1 = b1 * x - a1 * y + s2;
        s2 = b2 * x - a2 * y;
        return y;
    });
}

const level = (/** @type {number} */ power) => -0.691 + 10 * Math.log10(power);
const mean = (/** @type {number[]} */ powers) => powers.reduce((sum, power) => sum + power, 0) / powers.length;

/** @param {Float32Array[]} channels @param {number} sampleRate @returns {number} LUFS, gated; -Infinity for silence */
export function loudness(channels, sampleRate) {
    const weighted = channels.map((samples) => kWeighting(sampleRate).reduce(filtered, Float64Array.from(samples)));
    const length = Math.round(0.4 * sampleRate),
        hop = length / 4;
    const powers = [];
    for (let start = 0; start + length <= weighted[0].length; start += hop) {
        let sum = 0;
        for (const samples of weighted) for (let i = 0; i < length; ++i) sum += samples[start + i] ** 2;
        powers.push(sum / length);
    }
    const heard = powers.filter((power) => level(power) > -70);
    if (heard.length === 0) return -Infinity;
    const threshold = level(mean(heard)) - 10;
    return level(mean(heard.filter((power) => level(power) > threshold)));
}
