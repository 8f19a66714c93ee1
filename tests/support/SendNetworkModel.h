#pragma once

#include "Kal/Room/KalSendNetwork.h"

#include <vector>

namespace kal::test {

/// The reverb's difference equations in double, taken literally: whole histories instead of rings, a matrix product of
/// 256 terms, primes found by division.
class ReverbModel {
public:
    ReverbModel() : written(16), dampState(16) {}

    /// Sizes and coefficients from the next frame on; what is in the lines stays.
    void Set(double samplingRate, double size, double delayRange, double rt60, double hfRatio, double hfReference);

    std::vector<double> ProcessSample(double x); ///< eight taps

    std::vector<int> delays; ///< of the lines, frames
    double decay;            ///< gain of a pass
    double lpfCoef;

private:
    std::vector<std::vector<double>> written; ///< per line, every frame so far
    std::vector<double> dampState;
};

/// The whole send network in double, one frame at a time.
class SendNetworkModel {
public:
    SendNetworkModel(double samplingRate, const ReverbSettings& settings);

    /// The room from the next frame on.
    void Set(const ReverbSettings& settings);

    struct Frame {
        double left, right;
    };
    Frame ProcessSample(double x);

private:
    struct Diffuser {
        std::size_t length;
        double coef;
        std::vector<double> x, y;
    };

    struct Room {
        ReverbModel reverb;
        std::size_t preDelay = 0; ///< frames
        double level = 0.0, gain = 0.0, fast = 0.0, slow = 0.0;
        std::vector<double> history;

        std::vector<double> Process(double x, double fastCoef, double slowCoef);
    };

    double rate;
    std::vector<Diffuser> diffusers;
    std::vector<Room> rooms; ///< short, middle, long
};

} // namespace kal::test
