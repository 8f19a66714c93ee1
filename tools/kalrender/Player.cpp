#include "Player.h"

#include "tools/support/Terminal.h"

#include <SDL2/SDL.h>
#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace kalrender {

using kal::tools::Terminal;

namespace {

constexpr double kAhead = 0.2; // s that may wait to be played

// -60 ... 0 dB in 30 characters: the bar is the RMS, the mark the peak.
std::string Bar(float rms, float peak)
{
    static constexpr int kWidth = 30;
    const auto column = [](float x) {
        const double decibels = 20.0 * std::log10(std::max(double{x}, 1e-6));
        return std::clamp(static_cast<int>((decibels + 60.0) * kWidth / 60.0), 0, kWidth);
    };
    std::string bar(static_cast<std::size_t>(kWidth), ' ');
    std::fill_n(bar.begin(), column(rms), '=');
    if (const int mark = column(peak)) bar[static_cast<std::size_t>(mark - 1)] = '|';
    return Terminal::Coloured(peak > 0.999f ? "31" : "32", bar);
}

} // namespace

Player::Player(int rate, bool withLevels) : samplingRate(rate), showsLevels(withLevels && Terminal::IsThere())
{
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_AudioSpec wanted = {};
    wanted.freq = samplingRate;
    wanted.format = AUDIO_F32SYS;
    wanted.channels = 2;
    wanted.samples = 1024;
    if (SDL_Init(SDL_INIT_AUDIO) == 0) device = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    if (device == 0) {
        const std::string reason = SDL_GetError();
        SDL_Quit();
        throw std::runtime_error("no sound device: " + reason);
    }
    SDL_PauseAudioDevice(device, 0);
}

Player::~Player()
{
    SDL_CloseAudioDevice(device);
    SDL_Quit();
}

// In pieces, so that the levels are those of what is about to be heard.
void Player::Play(const float* frames, int numFrames, const Meter::Levels& levels,
                  const std::function<bool()>& isCancelled)
{
    WaitUntilLeft(kAhead, isCancelled);
    if (SDL_QueueAudio(device, frames, static_cast<Uint32>(2 * sizeof(float)) * static_cast<Uint32>(numFrames)) != 0)
        throw std::runtime_error(std::string("the sound device stopped: ") + SDL_GetError());
    if (!showsLevels) return;
    Terminal::Show("L [" + Bar(levels.rms[0], levels.peak[0]) + "]  R [" + Bar(levels.rms[1], levels.peak[1]) + "]");
}

void Player::Finish(const std::function<bool()>& isCancelled)
{
    WaitUntilLeft(0.0, isCancelled);
}

void Player::WaitUntilLeft(double seconds, const std::function<bool()>& isCancelled) const
{
    const auto bytes = static_cast<Uint32>(seconds * samplingRate) * Uint32{2 * sizeof(float)};
    while (SDL_GetQueuedAudioSize(device) > bytes && !isCancelled()) SDL_Delay(5);
}

} // namespace kalrender
