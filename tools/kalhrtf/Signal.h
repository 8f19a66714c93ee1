#pragma once

#include <vector>

namespace kal::hrtf {

/// A response in double precision.
using Signal = std::vector<double>;

/// The sum of squares.
double Energy(const Signal& signal);

/// A ratio of powers in decibels.
double Decibels(double ratio);

/// Where the response begins, in samples: the first place at which its band-limited course exceeds a tenth of its
/// largest sample. The response must not be silent.
double Onset(const Signal& signal);

/// The response `samples` later (earlier if negative), as long as before. What would leave it is lost; a whole number
/// of samples moves the values as they are, any other delays them as a band-limited signal.
Signal Shifted(const Signal& signal, double samples);

/// Samples of the lower rate that a response becomes longer by on either side when it is resampled, for the ringing of
/// the band's limit.
constexpr int kRinging = 64;

/// The same response at another rate: its spectrum in hertz stays. It begins later, by as much for every response
/// of these rates; at its own rate it stays as it is.
Signal Resampled(const Signal& signal, double from, double to);

/// |H|^2 at k / size of the rate, k = 0 ... size / 2, for responses up to `size` long.
Signal PowerSpectrum(const Signal& signal, int size);

/// The response without avoidable delay that has this power spectrum (shaped as PowerSpectrum's; no value below
/// zero). Its length is the spectrum's size.
/// Source: Oppenheim and Schafer, Discrete-Time Signal Processing: the folded real cepstrum.
Signal MinimumPhase(const Signal& powerSpectrum);

/// The first `length` samples of a signal through a filter.
Signal Filtered(const Signal& signal, const Signal& filter, std::size_t length);

} // namespace kal::hrtf
