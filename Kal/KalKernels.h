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

struct Row {
    const char* name;
    int numLanes; ///< frames that are processed together

    /// Advances a reverb's network; `in` is its input. numFrames is a multiple of numLanes and no line is shorter than
    /// numLanes.
    void (*advanceNetwork)(NetworkRun& run, int numFrames, const float* in);
};

/// [any] The rows that this processor can run, the slowest first.
std::vector<const Row*> UsableRows();

/// [render] The row in use: the last usable one, or the one that was selected.
const Row& SelectedRow();

/// [control] Makes a usable row the one in use for the whole process: for tests and benchmarks.
void SelectRow(const Row& row);

} // namespace kal::kernels
