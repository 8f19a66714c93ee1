#pragma once

#include <optional>

namespace kalmarble {

/// [background] The limit that a new round starts with: one more than before, up to the host's maximum.
int RaisedPolyphonyLimit(int limit, int maxPolyphonics);

/// What a measured round does to the polyphony limit.
struct PolyphonyAdjustment {
    int limit;                      ///< the new limit
    std::optional<int> loadPercent; ///< set when the load is to be reported
};

/// [background] Decides the limit after a round. With headroom (E <= D / 2) a limit that is fully used rises by two;
/// without, it falls to 0.8 count D / E, but not below 16.
/// @param elapsed E, seconds that the block took to make  @param duration D, seconds that it plays
/// @param count tracked sounds  @param limit the limit in force
PolyphonyAdjustment AdjustedPolyphonyLimit(double elapsed, double duration, int count, int limit, int maxPolyphonics);

/// [any] What a read that waited too long is to be reported with: the percentage, when it took more than a fifth of
/// the time that the block plays.
std::optional<int> LateReadPercent(double elapsed, double duration);

/// [any] elapsed as a percentage of duration, cut to an integer that holds it.
int LoadPercent(double elapsed, double duration);

} // namespace kalmarble
