#pragma once

#include "tools/kalhrtf/Report.h"
#include "tools/kalhrtf/Sets.h"

#include <optional>

namespace kal::hrtf {

/// Which half of a head becomes the set, whose other half is the mirror image of it.
enum class Side { Right, Left, Mean };

struct ImportSettings {
    double samplingRate = kUsualRate; ///< Hz, of the set
    int taps = 128;                   ///< a power of two
    Side side = Side::Right;
    Grid grid;
    std::optional<HrtfSet> timbre; ///< a set whose mean spectrum the new one takes on
};

/// Makes a set of a head; what was lost on the way goes into the report.
/// @throws tools::Failure
HrtfSet Import(const Head& head, const ImportSettings& settings, Report& report);

/// A set of responses of any length and level: cut to the taps from `lead` before the earliest onset on, the last of
/// them faded out. What that loses goes into the report.
HrtfSet Cut(const std::vector<std::vector<Pair>>& responses, const Grid& grid, int lead, int taps, Report& report);

} // namespace kal::hrtf
