#pragma once

#include <cstdint>

/// Plays the program of a seed with the kernels in use and returns the FNV-1a hash, 64 bits, of the bit patterns of all
/// its output. A program is an engine at some rate, sounds, voices, rooms, and what happens to them from block to
/// block; the same seed gives the same program on every platform. Throws std::range_error for output that is not within
/// full scale.
std::uint64_t Fingerprint(std::uint32_t seed);
