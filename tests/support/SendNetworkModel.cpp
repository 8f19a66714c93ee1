#include "tests/support/SendNetworkModel.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kal::test {

namespace {

bool IsPrime(int n)
{
    for (int d = 2; d * d <= n; ++d)
        if (n % d == 0) return false;
    return n >= 2;
}

double Past(const std::vector<double>& history, std::size_t frames)
{
    return frames <= history.size() ? history[history.size() - frames] : 0.0;
}

} // namespace

void ReverbModel::Set(double rate, double size, double delayRange, double rt60, double hfRatio, double hfReference)
{
    delays.clear();
    const double ratio = std::pow(delayRange + 1.0, 1.0 / 16.0);
    double target = size * rate;
    int prime = 0;
    for (int k = 0; k < 16; ++k) {
        int candidate = std::max(static_cast<int>(target), prime + 1);
        while (!IsPrime(candidate)) ++candidate;
        prime = candidate;
        delays.push_back(prime + 1);
        target = prime * ratio;
    }
    decay = std::pow(10.0, -3.0 * std::sqrt(delayRange + 1.0) * size / rt60);
    const double q = std::pow(decay / 4.0, 1.0 / hfRatio - 1.0);
    const double w = 2.0 * std::acos(-1.0) * std::min(hfReference / rate, 0.49);
    const double c = std::cos(w), s = std::sin(w);
    lpfCoef = std::min(((c - 1) * q * q + q * std::sqrt(2 * (1 - c) - q * q * s * s)) / (1 - q * q), 0.9);
}

std::vector<double> ReverbModel::ProcessSample(double x)
{
    std::vector<double> read(16), taps;
    for (std::size_t k = 0; k < 16; ++k) read[k] = Past(written[k], static_cast<std::size_t>(delays[k]));
    for (std::size_t i = 0; i < 16; ++i) {
        double mixed = 0.0;
        for (std::size_t j = 0; j < 16; ++j) mixed += std::popcount(i & j) % 2 == 0 ? read[j] : -read[j];
        dampState[i] = (1.0 - lpfCoef) * dampState[i] + lpfCoef * mixed * decay / 4.0;
        const double w = dampState[i] + (i == 0 ? x : i == 2 ? -x : 0.0);
        // A one-pole high shelf, the inverse of the damping.
        const double a = (1.0 - lpfCoef) / (1.0 + lpfCoef);
        if (i < 8) taps.push_back((w - a * Past(written[i], 1)) / (1.0 - a));
        written[i].push_back(w);
    }
    return taps;
}

std::vector<double> SendNetworkModel::Room::Process(double x, double fastCoef, double slowCoef)
{
    history.push_back(x);
    fast += (Past(history, preDelay + 1) - fast) * fastCoef;
    slow += (fast - slow) * slowCoef;
    auto taps = reverb.ProcessSample(fast - slow);
    for (double& tap : taps) tap *= gain;
    gain += (level - gain) * 0.1;
    return taps;
}

SendNetworkModel::SendNetworkModel(double samplingRate, const ReverbSettings& settings) : rate(samplingRate), rooms(3)
{
    const int lengths[] = {7, 37, 97, 157, 1, 3, 5, 55};
    const double coefs[] = {0.3, 0.2, 0.1, 0.1, 0.6, 0.6, 0.6, 0.6};
    for (std::size_t i = 0; i < 8; ++i) diffusers.push_back({static_cast<std::size_t>(lengths[i]), coefs[i], {}, {}});
    Set(settings);
}

void SendNetworkModel::Set(const ReverbSettings& settings)
{
    const double delayRanges[] = {1.65, 1.8, 1.65}, hfRatios[] = {0.9, 0.95, 0.8};
    for (std::size_t i = 0; i < 3; ++i) {
        const ReverbSetting& s = settings[i];
        rooms[i].reverb.Set(rate, s.size, delayRanges[i], s.rt60, hfRatios[i], 8000.0);
        rooms[i].preDelay = static_cast<std::size_t>(static_cast<float>(rate) * s.preDelay);
        rooms[i].level = s.level;
    }
}

SendNetworkModel::Frame SendNetworkModel::ProcessSample(double x)
{
    const auto wetShort = rooms[0].Process(x, 1.0, 0.0);
    for (Diffuser& d : diffusers) {
        const double y = (x - Past(d.y, d.length)) * d.coef + Past(d.x, d.length);
        d.x.push_back(x);
        d.y.push_back(y);
        x = y;
    }
    const auto wetMid = rooms[1].Process(x, 0.3, 0.01);
    const auto wetLong = rooms[2].Process(x, 0.1, 0.02);
    return {wetLong[6] + wetMid[1] + wetShort[0], wetLong[7] + wetMid[5] + wetShort[2]};
}

} // namespace kal::test
