// A host in C++17: a tone that never ends circles the listener, fades and stops, while a thread plays the part of the
// audio callback. Prints twenty times a second what either ear gets.
//
//     circling_host [SECONDS]

#include "KALMarble.h"
#include "kal_voice.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kSamplingRate = 48000;
constexpr int kBlockFrames = 480; // 10 ms

double Seconds()
{
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

/// A context that destroys itself; its calls are those of KalContext, without the first argument.
class Sound {
public:
    explicit Sound(const KalInitParam& parameters)
    {
        if (const char* error = KalInitialize(1, KAL_INTERFACE_VERSION, &kal)) throw std::runtime_error(error);
        kal.init(kal.priv, &parameters);
        Check();
    }
    ~Sound() { kal.destroy(kal.priv); }
    Sound(const Sound&) = delete;
    Sound& operator=(const Sound&) = delete;

    void Check() const
    {
        if (const char* error = kal.checkError(kal.priv)) throw std::runtime_error(error);
    }

    KalContext kal;
};

/// Takes a block every 10 ms, as a sound card does, and keeps how loud it was at either ear.
class Device {
public:
    explicit Device(const KalContext& kal) : thread([this, &kal] { Run(kal); }) {}
    ~Device()
    {
        isRunning = false;
        thread.join();
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// dB, of the latest block; ear 0 is the left one.
    double Level(int ear) const { return level[ear]; }

private:
    void Run(const KalContext& kal)
    {
        std::vector<float> stream(std::size_t{2} * kBlockFrames);
        const auto period = std::chrono::milliseconds(10);
        for (auto due = Clock::now(); isRunning; std::this_thread::sleep_until(due += period)) {
            kal.render(kal.priv, stream.data(), kBlockFrames);
            double energy[2] = {1e-12, 1e-12};
            for (std::size_t i = 0; i < stream.size(); ++i) energy[i % 2] += double{stream[i]} * stream[i];
            for (int ear = 0; ear < 2; ++ear) level[ear] = 10 * std::log10(energy[ear] / kBlockFrames);
        }
    }

    std::atomic<double> level[2] = {-120, -120};
    std::atomic<bool> isRunning{true};
    std::thread thread;
};

} // namespace

int main(int argc, char** argv)
try {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 8;
    std::vector<float> tone(48000); // whole periods, so that it loops without a seam
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = float(0.3 * std::sin(2 * 3.14159265358979 * 300 * double(i) / 48000));

    const Sound sound({kSamplingRate, nullptr, nullptr, 2, 64, nullptr, nullptr});
    Device device(sound.kal);
    KalVoice voice = kalVoice(tone.data(), int(tone.size()), kSamplingRate);
    voice.isLooped = 1;

    const KalVector3 eye = {0, 0, 0}, front = {0, 0, -1}, up = {0, 1, 0};
    const KalReverbParam room = {0.5f, 75, 110, 5, 0.5f};
    const double start = Seconds();
    double rightward = 0; // dB by which the ear on the sound's side was louder, summed up
    for (int step = 0; !voice.isOver; ++step) {
        const double time = Seconds() - start, angle = 2 * 3.14159265358979 * time / 4; // once around in four seconds
        voice.position = {float(2 * std::sin(angle)), 0, float(2 * std::cos(angle))};
        if (time >= seconds) kalVoiceStop(&voice);
        sound.kal.respatialize(sound.kal.priv, &eye, &front, &up, &room);
        kalVoiceUpdate(&voice, &sound.kal, Seconds());
        std::this_thread::sleep_for(std::chrono::milliseconds(16));
        if (step % 3 != 0) continue;
        const double left = device.Level(0), right = device.Level(1);
        rightward += (right - left) * std::sin(angle);
        std::printf("%5.2f s  %4.0f degrees  left %6.1f dB  right %6.1f dB\n", time,
                    std::remainder(angle, 6.2831853) * 57.29578, left, right);
    }
    sound.Check();
    return rightward > 0 ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "circling_host: %s\n", error.what());
    return 1;
}
