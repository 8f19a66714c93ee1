#pragma once

/// What the tables of kernels consist of: inner loops that are worth more than one instruction set. Every set has a
/// table of its own; tables differ in speed, and in the last bits where a recursion from frame to frame is taken in
/// lanes.
namespace kal::kernels {

/// The 16 lines of a reverb over a number of frames in which neither reading nor writing crosses a ring's wrap.
struct NetworkRun {
    const float* read[16];
    float* write[16];
    float dampState[16]; ///< in and out
    float feedbackGain;
    float lpfCoef;
};

/// The step between a real transform's bins and those of the complex transform of half its length, either way: for
/// k = 1 ... size / 2, with S = in[k] + in*[size-k] and D = in[k] - in*[size-k],
///     out[k] = (S + w[k-1] D) factor, out*[size-k] = (S - w[k-1] D) factor, w the twiddles.
struct TwiddlePairs {
    int size;
    const float *inReal, *inImag;
    const float *twiddleReal, *twiddleImag;
    float conjugate; ///< 1, or -1 to take the twiddles' conjugates
    float factor;
    float *outReal, *outImag; ///< not the inputs
};

/// One spectrum times a filter for each ear, accumulated in that ear's sum: sum[k] += spectrum[k] filter[k], k < bins.
struct Products {
    int bins;
    const float *real, *imag;
    int stride; ///< floats from the real to the imaginary parts of what follows
    struct Ear {
        const float* filter;
        float* sum;
    } ears[2];
};

/// The same for two real signals whose spectra A and B were transformed as one, Z, that of the first plus i times the
/// second: sum[k] += A[k] filters[0][k] + B[k] filters[1][k]. As a real transform's, bins are half the sums:
///     A[k] = (Z[k] + Z*[-k]) / 4, B[k] = (Z[k] - Z*[-k]) / 4i.
struct PairProducts {
    int bins;
    const float *real, *imag; ///< the 2 (bins - 1) of Z, and the first of them once more
    int stride;               ///< floats from the real to the imaginary parts of what follows
    struct Ear {
        const float* filters[2];
        float* sum;
    } ears[2];
};

/// Second-order sections one after the other, y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] + c1 y[n-1] + c2 y[n-2] in double,
/// over two channels.
struct Cascade {
    static constexpr int kSections = 6;

    struct Section {
        double b0, b1, b2, c1, c2;
        double x1[2], x2[2], y1[2], y2[2]; ///< each channel's past, in and out
    } sections[kSections];
};

struct Table {
    int numLanes; ///< frames that runs come in multiples of, a power of two

    /// Advances a reverb's network; `in` is its input. numFrames is a multiple of numLanes and no line is shorter than
    /// kShortestLine.
    void (*advanceNetwork)(NetworkRun& run, int numFrames, const float* in);

    /// Reads one channel of samples between frames, by linear interpolation at x, x + step, x + 2 step, ..., one
    /// function for each sample format. numFrames is a multiple of numLanes; x >= 0; 0 < step <= kMaxStep; every frame
    /// up to that of the last position and kResampleMargin more lies within the data.
    void (*resample[3])(const void* samples, double x, double step, int numFrames, float* out);

    /// y[n] = y[n-1] + coef (x[n] - y[n-1]) in place; *state is y before the first frame and after the last.
    void (*lowpass)(float* frames, int numFrames, float coef, float* state);

    /// to[n] += g[n] from[n], or to[n] = g[n] from[n] and sum[n] += to[n], with a smoothed gain (kGainStep) that starts
    /// at *gain, moves towards the target with each frame and is left in *gain.
    void (*addSmoothed)(float* to, const float* from, int numFrames, float* gain, float target);
    void (*scaleSmoothed)(float* to, float* sum, const float* from, int numFrames, float* gain, float target);

    /// to[n] += (gain + n step) from[n], or to[n] = (gain + n step) from[n]. All of these gains are exact in float.
    void (*addFaded)(float* to, const float* from, int numFrames, float gain, float step);
    void (*scaleFaded)(float* to, const float* from, int numFrames, float gain, float step);

    void (*twiddlePairs)(const TwiddlePairs& pairs);

    /// even[i] = in[2 i], odd[i] = in[2 i + 1], i < count.
    void (*deinterleave)(int count, const float* in, float* even, float* odd);

    void (*addProducts)(const Products& products);
    void (*addPairProducts)(const PairProducts& products);

    /// Frames of interleaved stereo, in place. Every table gives the same bits.
    void (*runCascade)(Cascade& cascade, int numFrames, float* frames);
};

/// Frames that advanceNetwork may read before it writes the first of them.
inline constexpr int kShortestLine = 16;

/// The widest step of resample, frames: beyond it, float lanes would place the frames of a group too coarsely.
inline constexpr double kMaxStep = 8.0;

/// Frames past the last position's own that resample may touch.
inline constexpr int kResampleMargin = 10;

} // namespace kal::kernels
