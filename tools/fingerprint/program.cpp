#include "tools/fingerprint/program.h"

#include "Kal/Base/KalInternals.h"
#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kInfinity = std::numeric_limits<float>::infinity();

/// Where denormals are not taken as zero, a gain of 1e30 would let this be heard.
constexpr float kDenormal = kal::platform::kFlushesDenormals ? 1e-40f : 0.0f;

/// The only source of chance. The standard's distributions differ between libraries; these are exact arithmetic.
/// Throws belong in separate statements or in braces: elsewhere compilers choose the order of evaluation.
class Dice {
public:
    explicit Dice(std::uint32_t seed) : engine(seed) {}

    std::uint32_t Bits() { return static_cast<std::uint32_t>(engine()); }
    int Below(int n) { return static_cast<int>(Bits() % static_cast<unsigned>(n)); }
    bool OneIn(int n) { return Below(n) == 0; }

    double Between(double low, double high)
    {
        const double fraction = (Bits() >> 8) * 0x1p-24;
        return low + (high - low) * fraction;
    }
    float Between(float low, float high) { return static_cast<float>(Between(double{low}, double{high})); }

    template<class T>
    T Of(std::initializer_list<T> list)
    {
        return list.begin()[Below(static_cast<int>(list.size()))];
    }

private:
    std::mt19937 engine;
};

/// Noise in any format and shape.
class Noise final : public kal::Buffer {
public:
    Noise(Dice& dice, bool isWild)
        : format(dice.Of({kal::AudioFormat::Unsigned8, kal::AudioFormat::Signed16, kal::AudioFormat::Float32})),
          channels(dice.OneIn(4) ? 2 : 1),
          rate(dice.Of({8000.0, 22050.0, 44100.0, 44100.0, 48000.0, 48000.0, 96000.0, 11025.5})),
          frames(dice.OneIn(3) ? dice.Of({0, 1, 2, 9, 10, 11, 12, 20}) : 20 + dice.Below(8000)),
          words(static_cast<std::size_t>(frames * channels))
    {
        for (std::uint32_t& word : words) word = dice.Bits();
        if (format != kal::AudioFormat::Float32) return;
        for (std::uint32_t& word : words)
            word = kal::BitCast<std::uint32_t>(static_cast<float>(word >> 8) * 0x1p-23f - 1.0f);
        for (int i = isWild ? 1 + frames / 500 : 0; i > 0 && !words.empty(); --i) {
            const auto at = static_cast<std::size_t>(dice.Below(static_cast<int>(words.size())));
            words[at] = kal::BitCast<std::uint32_t>(dice.Of({kNan, kInfinity, -kInfinity, 1e30f, -3e38f, kDenormal}));
        }
    }

    const void* GetData() const override { return words.empty() ? nullptr : words.data(); }
    kal::AudioFormat GetFormat() const override { return format; }
    std::int32_t GetNumChannels() const override { return channels; }
    double GetSamplingRate() const override { return rate; }
    std::int32_t GetNumSamples() const override { return frames; }

private:
    kal::AudioFormat format;
    int channels;
    double rate;
    int frames;
    std::vector<std::uint32_t> words; ///< one for each sample, also of the narrow formats, which use their beginning
};

/// A small HRTF data set of responses of several lengths.
std::string RandomHrtf(Dice& dice)
{
    std::string data = "KALHRTFD";
    const auto put = [&](auto value) { data.append(reinterpret_cast<const char*>(&value), sizeof value); };
    const std::int32_t numRings = 1 + dice.Below(4);
    put(numRings);
    for (std::int32_t ring = 0; ring < numRings; ++ring) {
        put(-60.0f + 35.0f * static_cast<float>(ring));
        const std::int32_t numAngles = 1 + dice.Below(6);
        put(numAngles);
        for (std::int32_t angle = 0; angle < numAngles; ++angle) {
            put(30.0f * static_cast<float>(angle));
            const std::uint32_t length = 1u << (dice.OneIn(4) ? dice.Below(6) : 6 + dice.Below(4));
            put(length);
            for (std::uint32_t i = 0; i < 2 * length; ++i)
                put(dice.Between(-1.0f, 1.0f) / static_cast<float>(1 + i % length));
        }
    }
    return data;
}

std::shared_ptr<kal::Engine> MakeEngine(Dice& dice, double samplingRate)
{
    kal::EngineParam param;
    param.samplingRate = samplingRate;
    std::string hrtf;
    const int kind = dice.Below(5);
    if (kind == 0) return std::make_shared<kal::Engine>(param);
    if (kind == 1) hrtf = RandomHrtf(dice);
    param.hrtfData = kind == 1 ? static_cast<const void*>(hrtf.data()) : kal::hrtfData;
    param.hrtfDataSize = kind == 1 ? static_cast<std::uint32_t>(hrtf.size()) : kal::hrtfDataSize;
    return std::make_shared<kal::Engine>(param);
}

class Program {
public:
    explicit Program(std::uint32_t seed)
        : dice(seed),
          isWild(dice.OneIn(6)),
          samplingRate(dice.Of({8000.0, 44100.0, 48000.0, 48000.0, 96000.0, 192000.0})),
          engine(MakeEngine(dice, samplingRate)),
          fixedBlock(dice.OneIn(2) ? 0 : AnyBlock()),
          loudness(dice.Of({0.03f, 0.1f, 0.3f, 3.0f})),
          crowd(dice.OneIn(8) ? 40 : 1 + dice.Below(8)),
          roomEvery(dice.Of({1, 2, 20, 1000}))
    {
        for (int i = 2 + dice.Below(6); i > 0; --i) buffers.push_back(std::make_shared<Noise>(dice, isWild));
    }

    std::vector<float> Run()
    {
        const int frames = 10000 + dice.Below(25000);
        Play(frames);
        if (dice.OneIn(6)) {
            FallSilent();
            Play(frames / 2);
        }
        return played;
    }

private:
    struct Voice {
        std::shared_ptr<kal::Channel> channel;
        kal::ChannelParam param; ///< as scheduled last
        int numFrames;           ///< of its buffer
    };

    int AnyBlock() { return dice.Of({0, 1, 7, 64, 100, 256, 441, 480, 512, 1000, 3000}); }

    void Play(int frames)
    {
        constexpr int kMostBlocks = 300;
        for (int blocks = 0; frames > 0 && blocks < kMostBlocks; ++blocks) {
            const int block = fixedBlock ? fixedBlock : AnyBlock();
            std::erase_if(voices, [](const Voice& voice) { return !voice.channel->IsPlaying(); });
            if (static_cast<int>(voices.size()) < crowd && !dice.OneIn(3)) StartVoice();
            for (Voice& voice : voices)
                if (dice.OneIn(3)) Change(voice, block);
            if (dice.OneIn(roomEvery)) ChangeRoom();
            Render(block);
            frames -= block;
        }
    }

    /// Nothing plays until the room has rung out and sleeps.
    void FallSilent()
    {
        for (Voice& voice : voices) {
            voice.channel->Stop(0.0);
            voice.param.shouldStop = true;
        }
        for (auto& room : engine->reverbSettings) room.rt60 = 0.01f;
        constexpr int kBlock = 3000, kLongestLine = 32768;
        for (int frames = static_cast<int>(1.5 * samplingRate) + 3 * kLongestLine; frames > 0; frames -= kBlock)
            Render(kBlock);
    }

    void Render(int frames)
    {
        const std::size_t before = played.size();
        played.resize(before + 2 * static_cast<std::size_t>(frames));
        engine->Prerender();
        engine->Render(played.data() + before, frames);
        if (!(kal::Peak(played.size() - before, played.data() + before) <= 1.0f))
            throw std::range_error("a sample is not within full scale");
    }

    void StartVoice()
    {
        const auto& buffer = buffers[static_cast<std::size_t>(dice.Below(static_cast<int>(buffers.size())))];
        Voice voice{nullptr, {}, buffer->GetNumSamples()};
        voice.param.isLooped = dice.OneIn(2);
        voice.param.isSpatialized = !dice.OneIn(3);
        Fill(voice);
        voice.param.position = dice.OneIn(2) ? 0.0 : AnyPosition(voice.numFrames);
        const double delay = dice.OneIn(2) ? 0.0 : dice.Between(0.0, dice.Of({10.0, 500.0, 4000.0}));
        voice.channel = engine->CreateChannel(delay, buffer, voice.param);
        voices.push_back(voice);
    }

    /// Schedules one change or several, some of them for the same frame.
    void Change(Voice& voice, int block)
    {
        double time = AnyTime(block);
        for (int i = dice.OneIn(4) ? 4 : 1; i > 0; --i) {
            if (dice.OneIn(2)) time = AnyTime(block);
            const int kind = dice.Below(16);
            if (kind == 0) {
                voice.channel->Stop(time);
                voice.param.shouldStop = true;
            } else if (kind <= 2) {
                voice.param.position = AnyPosition(voice.numFrames);
                voice.channel->Seek(time, voice.param.position);
            } else {
                if (kind <= 8)
                    voice.param.sourcePosition = AnyPlace(); // as a source moves
                else
                    Fill(voice);
                voice.channel->UpdateChannelParam(time, voice.param);
            }
        }
    }

    double AnyTime(int block)
    {
        const int inside = dice.Below(std::max(1, block));
        const double beyond = block + dice.Between(0.0, 3000.0);
        return dice.Of({0.0, double(inside), double(inside), inside + 0.75, double(block), beyond});
    }

    double AnyPosition(int numFrames)
    {
        if (isWild && dice.OneIn(4)) return dice.Of({-1e300, 1e300, double{kInfinity}, -1e10, 4294967296.0, -0.0});
        const double inside = dice.Between(0.0, double(numFrames));
        const double before = -dice.Between(0.0, 30.0);
        return dice.Of({0.0, inside, inside, std::floor(inside), before, numFrames - 2.5, numFrames + 5.25, 1e6, 1e12});
    }

    kal::Vector3 AnyPlace()
    {
        if (isWild && dice.OneIn(4))
            return {dice.Of({kNan, kInfinity, 1e30f, kDenormal}), 0.0f, dice.Of({kNan, -1.0f})};
        if (dice.OneIn(4))
            return dice.Of<kal::Vector3>({{0, 0, 0},
                                          {-0.0f, -0.0f, -0.0f},
                                          {0, 1, 0},
                                          {0, -2, 0},
                                          {0, 0, -1},
                                          {-0.0f, 0, -1},
                                          {0, 0, 3},
                                          {1, 0, 0},
                                          {-1, 0, 0},
                                          {-1e-6f, 0, -2}});
        if (dice.OneIn(4)) { // as far from one measured direction as from another, where the last bit decides
            const float side = dice.Of({1.0f, -1.0f}), height = dice.Of({0.0f, 1.0f, -1.0f, 3.0f, 5.0f, 8.0f});
            return {side * dice.Of({0.0f, 1.0f}), height, dice.Of({1.0f, -1.0f})};
        }
        const float reach = dice.Of({0.1f, 2.0f, 2.0f, 50.0f});
        return {dice.Between(-reach, reach), dice.Between(-reach, reach), dice.Between(-reach, reach)};
    }

    /// All of a record but what is fixed for the voice's life and what is scheduled otherwise.
    void Fill(Voice& voice)
    {
        kal::ChannelParam& param = voice.param;
        param.speed = dice.Between(0.01, dice.Of({1.0, 2.0, 20.0}));
        if (dice.OneIn(2)) param.speed = dice.Of({1.0, 1.0, 0.01, 0.5, 2.0, 3.0, 7.999, 20.0});
        param.gain = dice.Between(-0.1f, 1.0f) * loudness;
        param.reverbSendGain = dice.OneIn(3) ? 0.0f : dice.Between(0.0f, 0.5f) * loudness;
        param.lowpassCoef = dice.OneIn(2) ? dice.Of({1.0f, 1.0f, 0.0f, 0.001f, 2.0f, -0.5f, 2.5f})
                                          : dice.Between(0.0f, dice.Of({1.0f, 2.0f}));
        param.sourcePosition = AnyPlace();
        param.referenceDistanceSq = dice.Of({0.0f, 1.0f, 4.0f, 100.0f});
        param.loopStart = dice.OneIn(3) ? 0 : dice.Below(voice.numFrames + 1) - 3;
        const int longest = dice.Of({1, 2, 30, voice.numFrames + 1, 20000});
        param.loopEnd = param.loopStart + 1 + dice.Below(longest);
        if (dice.OneIn(3)) param.loopEnd = std::max(param.loopStart + 1, voice.numFrames);
        if (!isWild || !dice.OneIn(3)) return;
        param.speed = dice.Of({param.speed, 1e-9, 1e9, 1e300});
        param.gain = dice.Of({param.gain, kInfinity, 1e30f, kDenormal});
        param.reverbSendGain = dice.Of({param.reverbSendGain, kNan, -kInfinity, 1e30f});
        param.lowpassCoef = dice.Of({param.lowpassCoef, kNan, kInfinity, -1e30f});
        param.referenceDistanceSq = dice.Of({kNan, -1.0f, kInfinity, kDenormal});
    }

    void ChangeRoom()
    {
        constexpr float kLargest[] = {0.001f, 0.013f, 0.036f}; // for which the reverbs are laid out at every rate
        for (std::size_t i = 0; i < engine->reverbSettings.size(); ++i) {
            kal::ReverbSetting& room = engine->reverbSettings[i];
            room.level = dice.Between(0.0f, 0.5f);
            room.size = dice.OneIn(4) ? 0.0f : dice.Between(0.0f, kLargest[i]);
            room.rt60 = dice.OneIn(3) ? dice.Of({0.0f, 0.01f, 3.0f, 100.0f}) : dice.Between(0.0f, 2.0f);
            room.preDelay = dice.OneIn(4) ? dice.Of({0.0f, 0.9999f, 1.0f, 1.5f}) : dice.Between(0.0f, 0.1f);
            if (!isWild || !dice.OneIn(3)) continue;
            room.level = dice.Of({room.level, kNan, kInfinity, 1e30f});
            room.rt60 = dice.Of({room.rt60, kNan, -1.0f});
            room.preDelay = dice.Of({room.preDelay, kNan, -1.0f});
        }
    }

    Dice dice;
    bool isWild; ///< whether there are numbers that no sound should have
    double samplingRate;
    std::shared_ptr<kal::Engine> engine;
    int fixedBlock; ///< frames; 0 for blocks of all lengths
    float loudness;
    int crowd;     ///< voices at most
    int roomEvery; ///< blocks, on average
    std::vector<std::shared_ptr<Noise>> buffers;
    std::vector<Voice> voices;
    std::vector<float> played;
};

} // namespace

std::vector<float> Samples(std::uint32_t seed)
{
    return Program(seed).Run();
}
