#include "Kal/Base/KalException.h"
#include "Modules.h"
#include "Timeline.h"
#include "tools/kalrender/SoundFile.h"
#include "tools/scene/SampleBuffer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <pybind11/numpy.h>
#include <pybind11/stl.h>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

namespace py = pybind11;
using namespace py::literals;

namespace kalpython {

namespace {

using Frame = std::optional<std::int64_t>;
using Point = std::array<double, 3>;
using Loop = std::variant<bool, std::pair<std::int32_t, std::int32_t>>;

/// What Python holds of a buffer.
struct Samples {
    std::shared_ptr<const kal::Buffer> buffer;
};

std::string TextOf(py::handle object)
{
    return py::str(object);
}

std::vector<float> FloatsOf(const py::array& array)
{
    const auto values = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(array);
    std::vector<float> samples(values.data(), values.data() + values.size());
    if (array.dtype().kind() == 'i')
        for (float& x : samples) x /= 32768.0f;
    for (std::size_t i = 0; i < samples.size(); ++i)
        if (!std::isfinite(samples[i])) throw kal::Exception("sample %zu is not a finite number", i);
    return samples;
}

Samples SamplesOf(const py::array& array, double samplingRate)
{
    const py::dtype type = array.dtype();
    if (!(type.equal(py::dtype::of<float>()) || type.equal(py::dtype::of<std::int16_t>())))
        throw py::type_error("expected samples of float32 (-1 ... 1) or int16, found " + TextOf(type) +
                             ": convert them by .astype(numpy.float32)");
    const bool isFlat = array.ndim() == 1;
    if (!isFlat && !(array.ndim() == 2 && (array.shape(1) == 1 || array.shape(1) == 2)))
        throw py::value_error("expected samples of shape (frames,), (frames, 1) or (frames, 2), found " +
                              TextOf(array.attr("shape")));
    if (array.size() > std::numeric_limits<std::int32_t>::max()) throw py::value_error("too many samples");
    if (!(samplingRate > 0.0) || std::isinf(samplingRate))
        throw kal::Exception("Invalid sampling rate: %f", samplingRate);
    const int numChannels = isFlat ? 1 : static_cast<int>(array.shape(1));
    return {std::make_shared<kalscene::SampleBuffer>(FloatsOf(array), numChannels, samplingRate)};
}

kal::Vector3 VectorOf(const Point& p)
{
    return {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])};
}

void SetLoop(kal::ChannelParam& record, const Loop& loop, std::int32_t numFrames)
{
    if (const auto* range = std::get_if<1>(&loop)) {
        std::tie(record.loopStart, record.loopEnd) = *range;
        record.isLooped = true;
        if (record.loopStart < 0 || record.loopStart >= record.loopEnd || record.loopEnd > numFrames)
            throw kal::Exception("expected a loop (start, end) with 0 <= start < end <= %d, found (%d, %d)", numFrames,
                                 record.loopStart, record.loopEnd);
    } else if (std::get<bool>(loop)) {
        record.isLooped = true;
        record.loopEnd = numFrames;
    }
}

std::shared_ptr<Voice> Play(Timeline& timeline, const Samples& samples, Frame at, const std::optional<Point>& position,
                            double gain, double speed, double occlusion, double referenceDistance,
                            std::optional<double> roomSend, const Loop& loop, double start)
{
    const std::int32_t numFrames = samples.buffer->GetNumSamples();
    if (position && samples.buffer->GetNumChannels() != 1)
        throw py::value_error("expected a mono buffer: stereo is heard as recorded, without a position");
    if (!(start >= 0.0 && start <= numFrames))
        throw kal::Exception("expected a start within the buffer's %d frames, found %g", numFrames, start);
    kal::ChannelParam record;
    record.isSpatialized = position.has_value();
    record.position = start;
    SetLoop(record, loop, numFrames);
    const VoiceSettings settings = {speed,
                                    gain,
                                    roomSend.value_or(position ? 1.0 : 0.0),
                                    occlusion,
                                    referenceDistance,
                                    VectorOf(position.value_or(Point{}))};
    return timeline.Play(samples.buffer, record, settings, at);
}

void Change(Voice& voice, Frame at, const std::optional<Point>& position, std::optional<double> gain,
            std::optional<double> speed, std::optional<double> occlusion, std::optional<double> referenceDistance,
            std::optional<double> roomSend)
{
    VoiceChange change = {speed, gain, roomSend, occlusion, referenceDistance, {}};
    if (position) change.position = VectorOf(*position);
    voice.Change(change, at);
}

void SetRoom(Timeline& timeline, const Point& dimensions, double wetLevelA, double wetLevelB, Frame at)
{
    const auto [x, y, z] = dimensions;
    for (const double side : dimensions)
        if (!(side > 0.0 && side <= 1000.0))
            throw kal::Exception("expected lengths above 0, up to 1000 m, found %g", side);
    for (const double level : {wetLevelA, wetLevelB})
        if (!(level >= 0.0 && level <= 10.0)) throw kal::Exception("expected a level, 0 to 10, found %g", level);
    timeline.SetRoom({static_cast<float>(wetLevelA), static_cast<float>(x * y * z),
                      static_cast<float>(2.0 * (x * y + y * z + z * x)), static_cast<float>(std::max({x, y, z})),
                      static_cast<float>(wetLevelB)},
                     at);
}

py::array_t<float> Render(Timeline& timeline, std::int64_t numFrames)
{
    if (numFrames < 0)
        throw py::value_error("expected a number of frames, 0 or more, found " + std::to_string(numFrames));
    py::array_t<float> out({static_cast<py::ssize_t>(numFrames), py::ssize_t{2}});
    float* const data = out.mutable_data();
    const py::gil_scoped_release released;
    timeline.Render(data, numFrames);
    return out;
}

} // namespace

void AddEngine(py::module_& module)
{
    py::class_<Samples>(module, "Buffer", R"(Samples that voices play: a copy, which never changes.

samples: shape (frames,), (frames, 1) or (frames, 2); float32, full scale -1 ... 1, or int16
sampling_rate: Hz)")
        .def(py::init(&SamplesOf), "samples"_a, "sampling_rate"_a = 48000.0)
        .def_static(
            "from_file", [](const std::string& path) { return Samples{kalrender::LoadSound(path)}; }, "path"_a,
            "Reads a sound file of any format that libsndfile knows, mono or stereo.")
        .def_property_readonly("frames", [](const Samples& s) { return s.buffer->GetNumSamples(); })
        .def_property_readonly("channels", [](const Samples& s) { return s.buffer->GetNumChannels(); })
        .def_property_readonly(
            "sampling_rate", [](const Samples& s) { return s.buffer->GetSamplingRate(); }, "Hz");

    py::class_<Voice, std::shared_ptr<Voice>>(module, "Voice", R"(One playing of a buffer, made by Engine.play.

at: the frame of the output at which a call takes effect, however far ahead; by default the next one that is rendered,
or the voice's first. A frame that is rendered already is a ValueError.)")
        .def("change", &Change, "at"_a = py::none(), py::kw_only(), "position"_a = py::none(), "gain"_a = py::none(),
             "speed"_a = py::none(), "occlusion"_a = py::none(), "reference_distance"_a = py::none(),
             "room_send"_a = py::none(), "Changes what is given, as in Engine.play; the rest stays.")
        .def("seek", &Voice::Seek, "position"_a, "at"_a = py::none(), "Jumps to a position: frames of the buffer.")
        .def("stop", &Voice::Stop, "at"_a = py::none(), "Ends the voice, without a fade.")
        .def_property_readonly("playing", &Voice::IsPlaying, "False for good once it has ended.");

    py::class_<Timeline, std::shared_ptr<Timeline>>(module, "Engine", R"(Mixes voices into two ears.

sampling_rate: of the output, Hz
hrtf: head-related responses as the bytes of a .kalhrtfd file; empty: those built in
threads: that render, 1 to 256. With one, the same calls give the same bits.)")
        .def(py::init([](double rate, const py::bytes& hrtf, unsigned threads) {
                 kal::EngineParam{rate, 2, threads}.Validate();
                 if (threads == 0) throw py::value_error("expected 1 thread or more, found 0");
                 return std::make_shared<Timeline>(rate, std::string(hrtf), threads);
             }),
             "sampling_rate"_a = 48000.0, "hrtf"_a = py::bytes(), "threads"_a = 1)
        .def("play", &Play, "buffer"_a, "at"_a = py::none(), py::kw_only(), "position"_a = py::none(), "gain"_a = 1.0,
             "speed"_a = 1.0, "occlusion"_a = 0.0, "reference_distance"_a = 1.0, "room_send"_a = py::none(),
             "loop"_a = false, "start"_a = 0.0, R"(Begins a voice.

at: frame of the output; by default the next one that is rendered
position: (x, y, z) as the listener hears it, metres: +x right, +y up, +z ahead; None: heard as recorded.
    A placed voice comes 128 frames later than others: so long the convolution gathers.
gain: linear, 0 to 1000. A placed voice glides to a new one, a tenth of the way with each frame.
speed: of the playback, 0.001 to 1000; 2 is an octave up
occlusion: 0 (open) to 1 (closed): the low-pass coefficient is 1 - occlusion
reference_distance: metres up to which it is as loud as recorded
room_send: factor on the gain, into the room, 0 to 1000; by default 1 for placed voices and 0 for others
loop: True for all of the buffer, or (start, end): frames of it, end being one past the loop
start: where in the buffer it begins, frames)")
        .def("set_room", &SetRoom, "dimensions"_a, "wet_level_a"_a = 1.0, "wet_level_b"_a = 1.0, "at"_a = py::none(),
             "Changes the room at a frame. dimensions: its lengths, metres; wet levels, 0 to 10: of the reverberation, "
             "to\n"
             "the fourth and to the third power. Before the first call there is next to no reverberation.")
        .def("render", &Render, "frames"_a,
             "Renders the next frames: float32, shape (frames, 2), left and right, within -1 ... 1. The interpreter's\n"
             "lock is free meanwhile.")
        .def_property_readonly("position", &Timeline::Position, "The next frame to be rendered.")
        .def_property_readonly("limited_frames", &Timeline::NumLimitedFrames, "That the limiter held at full scale.")
        .def_property_readonly("sampling_rate", &Timeline::SamplingRate, "Hz");
}

} // namespace kalpython
