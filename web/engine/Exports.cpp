// What the module kalmarble.wasm exports. One instance of it holds one stage. Calls that only do something return
// whether they could; what was wrong is told by `problem`. Times are frames of the audio context.

#include "Export.h"
#include "Kal/Space/KalHrtfSet.h"
#include "PackedHead.h"
#include "Stage.h"
#include "libkalmarble/RoomReverb.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace kal::web {

namespace {

constexpr int kMostFrames = 4096; // rendered at a time

std::unique_ptr<Stage> stage;

std::int64_t Frame(double time)
{
    return static_cast<std::int64_t>(time);
}

Vector3 Vector(double x, double y, double z)
{
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

} // namespace

/// Sets the stage up, with the head of these bytes; null: the one built in.
KAL_EXPORT(create)
bool Create(double samplingRate, const unsigned char* head, std::size_t headSize)
{
    return Done(
        [&] { WithHead(head, headSize, [&](auto data) { stage = std::make_unique<Stage>(samplingRate, data); }); });
}

/// Where the samples of a new buffer go, interleaved; null on failure.
KAL_EXPORT(buffer)
float* AddBuffer(int id, int numChannels, int numFrames, double rate)
{
    return Guarded<float*>(nullptr, [&] { return stage->AddBuffer(id, numChannels, numFrames, rate).Data(); });
}

KAL_EXPORT(forget)
void ForgetBuffer(int id)
{
    stage->RemoveBuffer(id);
}

/// @param place 0 (world), 1 (listener) or 2 (none)  @param loopEnd 0: it plays once
KAL_EXPORT(add)
bool Add(int id, int buffer, int place, double offset, int loopStart, int loopEnd, double x, double y, double z,
         double gain, double speed, double occlusion, double referenceDistance, double at)
{
    return Done([&] {
        stage->Add(id, buffer, {static_cast<Place>(place), offset, loopEnd > 0, loopStart, loopEnd},
                   {Vector(x, y, z), gain, speed, occlusion, referenceDistance}, Frame(at));
    });
}

/// What is not a number stays as it is.
KAL_EXPORT(set)
bool Set(int id, double x, double y, double z, double gain, double speed, double occlusion, double referenceDistance,
         double at)
{
    return Done([&] { stage->Set(id, {Vector(x, y, z), gain, speed, occlusion, referenceDistance}, Frame(at)); });
}

KAL_EXPORT(seek)
bool Seek(int id, double position, double at)
{
    return Done([&] { stage->Seek(id, position, Frame(at)); });
}

KAL_EXPORT(stop)
bool Stop(int id, double at)
{
    return Done([&] { stage->Stop(id, Frame(at)); });
}

/// What is not a number stays as it is.
KAL_EXPORT(listener)
bool PlaceListener(double eyeX, double eyeY, double eyeZ, double frontX, double frontY, double frontZ, double upX,
                   double upY, double upZ, double at)
{
    return Done([&] {
        stage->PlaceListener(Vector(eyeX, eyeY, eyeZ), Vector(frontX, frontY, frontZ), Vector(upX, upY, upZ),
                             Frame(at));
    });
}

KAL_EXPORT(room)
bool SetRoom(double wetA, double volume, double area, double size, double wetB, double at)
{
    return Done([&] {
        stage->SetRoom({static_cast<float>(wetA), static_cast<float>(volume), static_cast<float>(area),
                        static_cast<float>(size), static_cast<float>(wetB)},
                       Frame(at));
    });
}

/// Goes on with another head; null: the one built in.
KAL_EXPORT(head)
bool ChangeHead(const unsigned char* bytes, std::size_t size)
{
    return Done([&] { WithHead(bytes, size, [](auto data) { stage->ChangeHead(data); }); });
}

/// Renders the next numFrames frames, of which `frame` is the first one's number.
/// @returns the left ones, then the right ones, until the next call; null on failure
KAL_EXPORT(render)
const float* Render(double frame, int numFrames)
{
    static float planes[2 * kMostFrames];
    return Guarded<const float*>(nullptr, [&] {
        const int count = std::clamp(numFrames, 0, kMostFrames);
        stage->Render(Frame(frame), planes, planes + count, count);
        Problem() += stage->TakeProblem();
        return planes;
    });
}

/// What was heard since the last call, as numbers, until the next: peaks and RMS of left and right, limited frames,
/// voices, sides, the number of placed voices, for each its id, azimuth and elevation; the number of voices that ended,
/// their ids.
KAL_EXPORT(report)
const double* TakeReport()
{
    static std::vector<double> numbers;
    return Guarded<const double*>(nullptr, [] {
        const Report report = stage->TakeReport();
        numbers = {report.peak[0], report.peak[1], report.rms[0], report.rms[1]};
        const auto append = [](auto number) { numbers.push_back(static_cast<double>(number)); };
        append(report.numLimitedFrames);
        append(report.numVoices);
        append(report.numSides);
        append(report.measured.size());
        for (const auto& [voice, direction] : report.measured) {
            append(voice);
            append(direction.azimuth);
            append(direction.elevation);
        }
        append(report.ended.size());
        for (const int voice : report.ended) append(voice);
        return numbers.data();
    });
}

/// The directions that a head is heard from: their number, then azimuth and elevation of each. It needs no stage. Null
/// when the head is refused, as `create` and `head` would.
KAL_EXPORT(directions)
const double* Directions(const unsigned char* bytes, std::size_t size)
{
    static std::vector<double> numbers;
    return Guarded<const double*>(nullptr, [&] {
        HrtfSet set;
        WithHead(bytes, size, [&](auto data) {
            set = ReadHrtfSet({reinterpret_cast<const char*>(data.data()), data.size()});
        });
        numbers = {0.0};
        const auto append = [](float azimuth, float elevation) {
            numbers.insert(numbers.end(), {azimuth, elevation});
            ++numbers[0];
        };
        for (const HrtfRing& ring : set) {
            for (const HrtfAngle& angle : ring.angles) {
                append(angle.azimuth, ring.elevation);
                if (angle.azimuth > 0.0f && angle.azimuth < 180.0f) append(-angle.azimuth, ring.elevation);
            }
        }
        return numbers.data();
    });
}

/// Seconds in which a reverb of a room falls by 60 dB. @param reverb 0 (short), 1 (middle) or 2 (long). Needs no stage.
KAL_EXPORT(rt60)
double Rt60(double volume, double area, int reverb)
{
    const KalReverbParam room = {0.0f, static_cast<float>(volume), static_cast<float>(area), 0.0f, 0.0f};
    return kalmarble::RoomReverb(room)[static_cast<std::size_t>(std::clamp(reverb, 0, 2))].rt60;
}

} // namespace kal::web
