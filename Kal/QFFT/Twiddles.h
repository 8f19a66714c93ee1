#pragma once

#include <complex>
#include <memory>
#include <vector>

namespace qfft {

/// [control] The radices of the stages that make up a transform of `size` points, in order: 4 while it divides what is
/// left, then 2, then 3.
/// @throws qfft::Exception if another prime factor is left.
std::vector<unsigned> PlanRadices(unsigned size);

/// The twiddle factors of every stage of one length N, N - 1 in all. For a stage of radix R that follows stages whose
/// radices multiply to P, they are, for j = 1 ... R - 1 and within each j for m = 1 ... N / (P R),
///     exp(2 pi i j m P / N).
/// Tables are immutable and shared by all setups of a length.
class Twiddles {
public:
    /// [any] The tables of a length of at least 1: those in use, or new ones if there are none. Takes a lock.
    /// @throws qfft::Exception as PlanRadices does.
    static std::shared_ptr<const Twiddles> GetInstance(unsigned size);

    explicit Twiddles(unsigned size);

    std::vector<std::complex<float>> twiddles; ///< twiddleDouble, rounded
    std::vector<std::complex<double>> twiddleDouble;
    std::vector<unsigned> stageStarts; ///< per stage, the index of its first twiddle in either list
};

} // namespace qfft
