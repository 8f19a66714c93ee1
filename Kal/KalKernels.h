#pragma once

#include <vector>

/// Inner loops that are worth more than one instruction set: one row of functions for each, chosen once at run time.
/// Every row computes the same values to the last bit; only speed differs.
namespace kal::kernels {

/// The 16 lines of a reverb over a number of frames in which neither reading nor writing crosses a ring's seam.
struct NetworkRun {
    const float* read[16];
    float* write[16];
    float dampState[16]; ///< in and out
    float feedbackGain;
    float lpfCoef;
};

/// The step between a real transform's bins and those of the complex transform of half its length, either way: for
/// k = 1 ... size / 2, with S = in[k] + in*[size-k] and D = in[k] - in*[size-k],
///     out[k] = (S + turn[k-1] D) factor, out*[size-k] = (S - turn[k-1] D) factor.
struct PairTurn {
    int size;
    const float *inReal, *inImag;
    const float *turnReal, *turnImag;
    float conjugate; ///< 1, or -1 to take the turns' conjugates
    float factor;
    float *outReal, *outImag; ///< not the inputs
};

struct Row {
    const char* name;
    int numLanes; ///< frames that are processed together

    /// Advances a reverb's network; `in` is its input. numFrames is a multiple of numLanes and no line is shorter than
    /// numLanes.
    void (*advanceNetwork)(NetworkRun& run, int numFrames, const float* in);

    void (*turnPairs)(const PairTurn& turn);

    /// even[i] = in[2 i], odd[i] = in[2 i + 1], i < count.
    void (*deinterleave)(int count, const float* in, float* even, float* odd);

    /// With x the interleaved even and odd, 2 size samples of them: output[i] = x[i] factor, and the old output's
    /// second half is added to the new one's first. An array each for even and odd, size elements.
    void (*overlapAdd)(int size, const float* even, const float* odd, float factor, float* output);

    /// out[2 i] += left[i], out[2 i + 1] += right[i], i < count.
    void (*accumulateStereo)(int count, const float* left, const float* right, float* out);
};

/// [any] The rows that this processor can run, the slowest first.
std::vector<const Row*> UsableRows();

/// [render] The row in use: the last usable one, or the one that was selected.
const Row& SelectedRow();

/// [control] Makes a usable row the one in use for the whole process: for tests and benchmarks.
void SelectRow(const Row& row);

} // namespace kal::kernels
