#pragma once

#include "Kal/KalEngine.h"
#include "Kal/Space/KalBearing.h"
#include "Samples.h"
#include "Voice.h"
#include "include/KALMarble.h"
#include "libkalmarble/Listener.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace kal::web {

/// What was heard since the report before.
struct Report {
    struct Measured {
        int voice;
        Bearing direction; ///< the measured one that it is heard from
    };

    double peak[2] = {}, rms[2] = {}; ///< linear
    std::uint64_t numLimitedFrames = 0;
    unsigned numVoices = 0; ///< that play now
    unsigned numSides = 0;  ///< sides of measured directions in use
    std::vector<Measured> measured;
    std::vector<int> ended; ///< voices
};

/// An engine that is told everything by frames of the output, however far ahead, and passes it on in the block in which
/// it is due; what is late happens with the next frame. Listener, room and gains are those of the library's binding.
/// Everything happens on one thread, that of the audio: messages come between two blocks.
///
/// Voices and buffers go by numbers of the caller's choice. A change of a voice that has ended does nothing.
class Stage {
public:
    /// [control] @param samplingRate Hz  @param head a data set as Spatializer reads it, needed for the call only
    /// Throws what Engine's constructor throws and "The head has no measured directions."
    Stage(double samplingRate, std::span<const unsigned char> head);

    /// [control] A new buffer, not yet filled; it may be filled until a voice begins to play it. Throws "Invalid
    /// channel count: %d", "Invalid buffer length: %d", "Invalid sampling rate: %f".
    Samples& AddBuffer(int id, int numChannels, std::int32_t numFrames, double rate);

    /// [control] Voices that play it play on.
    void RemoveBuffer(int id) { buffers.erase(id); }

    /// [control] Begins a voice. Throws "There is no buffer %d." and "Invalid loop position."
    void Add(int id, int buffer, const VoiceStart& start, const VoiceSettings& settings, std::int64_t frame);

    /// [control] Changes of a voice.
    void Set(int id, const VoiceSettings& change, std::int64_t frame);
    void Seek(int id, double position, std::int64_t frame);
    void Stop(int id, std::int64_t frame);

    /// [control] Places the listener. A number that is none leaves its own as it is.
    void PlaceListener(const Vector3& eye, const Vector3& front, const Vector3& up, std::int64_t frame);

    /// [control] Changes the room; all zero is the open air.
    void SetRoom(const KalReverbParam& room, std::int64_t frame);

    /// [control] Goes on with another head: voices fade over to it within the next block at their positions, and what
    /// they have sounded rings out as it was. Of more than three such tails the oldest are faded out. Throws what the
    /// constructor throws, and then nothing has changed.
    void ChangeHead(std::span<const unsigned char> head);

    /// [render] Renders the next numFrames frames, of which `frame` is the first one's number. What cannot be done when
    /// it is due, for want of memory, say, is told by TakeProblem.
    void Render(std::int64_t frame, float* left, float* right, int numFrames);

    /// [render] What went wrong in the blocks so far, or an empty text.
    std::string TakeProblem() { return std::exchange(problem, {}); }

    /// [render] What was heard since the last call.
    Report TakeReport();

private:
    using Event = std::function<void(double time)>; ///< takes frames from the start of the next block

    /// An engine of before, which rings out, or is faded out once there are too many.
    struct Ringing {
        std::shared_ptr<Engine> engine;
        int quietFrames = 0; ///< without a sound, the latest ones
        int fadedFrames = 0;
    };

    /// Where the listener is to be.
    struct View {
        Vector3 eye, front, up;
    };

    std::shared_ptr<Engine> EngineWith(std::span<const unsigned char> head) const;
    int PrepareBlock(int numFrames);
    void RunDue(std::int64_t end);
    void Begin(Voice& voice, double time);
    void Tell(Voice& voice, double time);
    void TellAll(double time);
    void HandOver(Voice& voice);
    void Place(const View& view, double time);
    void RingOut(int numFrames);
    void AddTail(Ringing& tail, bool isFaded);
    void Measure(const float* frames, int numFrames);
    void ForgetEnded();
    template<class Action>
    void Attempt(Action action);

    double samplingRate;
    std::shared_ptr<Engine> engine;
    bool isUnheard = true;        ///< the engine has not made a sound yet
    std::vector<Ringing> ringing; ///< the oldest first
    std::map<int, std::shared_ptr<Samples>> buffers;
    std::map<int, Voice> voices;
    std::multimap<std::int64_t, Event> events;    ///< by frame
    std::map<std::int64_t, KalReverbParam> rooms; ///< by frame
    std::map<int, VoiceSettings> lateChanges;     ///< of voices: one event each, however long no block comes
    std::optional<View> lateView;
    kalmarble::Listener listener;
    Vector3 listenerUp; ///< as it was given
    float roomSize = 0.0f;
    std::int64_t position = 0; ///< frame of the next block
    std::vector<float> block, ringingBlock;
    std::string problem;

    Report report;          ///< so far
    double squares[2] = {}; ///< sums of them
    std::int64_t numMeasured = 0;
    std::uint64_t limitedBefore = 0; ///< by engines of before
};

} // namespace kal::web
