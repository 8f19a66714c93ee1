#pragma once

#include <cstdint>
#include <vector>

/// Plays the program of a seed with the kernels in use and returns all its output, left and right in turn. A program is
/// an engine at some rate, sounds, voices, rooms, and what happens to them from block to block; the same seed gives the
/// same program on every platform, but that denormals are zeros where they would not be taken as such. Throws
/// std::range_error for output that is not within full scale.
std::vector<float> Samples(std::uint32_t seed);
