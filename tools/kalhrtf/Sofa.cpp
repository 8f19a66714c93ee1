#include "tools/kalhrtf/Apart.h"
#include "tools/kalhrtf/Geometry.h"
#include "tools/support/Cli.h"
#include "tools/support/Files.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kal::hrtf {
namespace {

using tools::Failure;

// Anything measured is far inside; sums of squares stay finite.
constexpr double kLoudest = 1e6;
constexpr double kLongestDelay = 1e5; // samples

void CheckConvention(const NetcdfFile& file)
{
    const std::string conventions = file.Text(nullptr, "Conventions"), kind = file.Text(nullptr, "SOFAConventions");
    if (conventions != "SOFA") throw Failure("it does not say that it is a SOFA file.");
    if (kind != "SimpleFreeFieldHRIR")
        throw Failure("its convention is \"" + kind + "\"; what can be read is SimpleFreeFieldHRIR.");
    const std::string type = file.Text(nullptr, "DataType");
    if (!type.empty() && type != "FIR")
        throw Failure("its data are of type \"" + type + "\"; what can be read is FIR.");
}

double ReadSamplingRate(const NetcdfFile& file)
{
    const std::vector<double> rates = file.Read("Data.SamplingRate").data;
    const auto [least, most] = std::minmax_element(rates.begin(), rates.end());
    if (*least != *most) throw Failure("its measurements differ in sampling rate.");
    if (!(*least >= 4000.0 && *least <= 1e6))
        throw Failure("its sampling rate of " + std::to_string(*least) + " Hz cannot be.");
    return *least;
}

// Samples by measurement and ear.
std::vector<double> ReadDelays(const NetcdfFile& file, std::size_t count)
{
    if (!file.Has("Data.Delay")) return std::vector<double>(2 * count);
    NetcdfFile::Values values = file.Read("Data.Delay");
    if (values.shape.size() != 2 || values.shape[1] != 2 || (values.shape[0] != 1 && values.shape[0] != count))
        throw Failure("its Data.Delay does not have one number an ear.");
    for (const double delay : values.data)
        if (std::fabs(delay) > kLongestDelay) throw Failure("its Data.Delay holds delays that cannot be.");
    std::vector<double> delays;
    const std::size_t stride = values.shape[0] == 1 ? 0 : 2;
    for (std::size_t i = 0; i < count; ++i)
        delays.insert(delays.end(), {values.data[i * stride], values.data[i * stride + 1]});
    return delays;
}

Signal Delayed(const double* samples, std::size_t count, double delay, std::size_t room)
{
    Signal signal(samples, samples + count);
    for (const double x : signal)
        if (std::fabs(x) > kLoudest) throw Failure("its Data.IR holds samples beyond any level.");
    if (std::all_of(signal.begin(), signal.end(), [](double x) { return x == 0.0; }))
        throw Failure("its Data.IR holds a response that is silent.");
    signal.resize(room);
    return Shifted(signal, delay);
}

Head ReadSofa(std::string_view bytes)
{
    const NetcdfFile file(bytes);
    CheckConvention(file);
    const NetcdfFile::Values responses = file.Read("Data.IR");
    if (responses.shape.size() != 3 || responses.shape[1] != 2)
        throw Failure("its Data.IR is not made of measurements of two ears.");
    const std::size_t count = responses.shape[0], length = responses.shape[2];

    Head head;
    head.samplingRate = ReadSamplingRate(file);
    head.title = file.Text(nullptr, "DatabaseName") + " " + file.Text(nullptr, "ListenerShortName");
    head.measurements = ReadSources(file, count);

    const std::vector<double> delays = ReadDelays(file, count);
    const auto [least, most] = std::minmax_element(delays.begin(), delays.end());
    const double common = std::floor(*least); // what all have in common says nothing
    const std::size_t room = length + static_cast<std::size_t>(std::ceil(*most - common));
    if (room > (std::size_t{1} << 26) / (2 * count)) throw Failure("its responses and delays are too long.");
    const bool swapped = AreEarsSwapped(file);
    for (std::size_t i = 0; i < count; ++i) {
        const auto ear = [&](std::size_t receiver) {
            const std::size_t row = 2 * i + receiver;
            return Delayed(&responses.data[row * length], length, delays[row] - common, room);
        };
        head.measurements[i].responses = {ear(swapped ? 1 : 0), ear(swapped ? 0 : 1)};
    }
    return head;
}

// A head as bytes, from one process to the other.
class Parcel {
public:
    Parcel() = default;
    explicit Parcel(std::string packed) : bytes(std::move(packed)) {}

    void Put(const void* data, std::size_t size) { bytes.append(static_cast<const char*>(data), size); }
    void Take(void* data, std::size_t size)
    {
        std::memcpy(data, bytes.data() + taken, size);
        taken += size;
    }
    std::string bytes;

private:
    std::size_t taken = 0;
};

std::string Pack(const Head& head)
{
    Parcel parcel;
    const std::size_t sizes[] = {head.measurements.size(), head.measurements.front().responses.left.size(),
                                 head.title.size()};
    parcel.Put(sizes, sizeof sizes);
    parcel.Put(&head.samplingRate, sizeof head.samplingRate);
    parcel.Put(head.title.data(), head.title.size());
    for (const auto& [direction, distance, responses] : head.measurements) {
        parcel.Put(&direction, sizeof direction);
        parcel.Put(&distance, sizeof distance);
        for (const Signal* ear : {&responses.left, &responses.right})
            parcel.Put(ear->data(), ear->size() * sizeof(double));
    }
    return std::move(parcel.bytes);
}

Head Unpack(std::string packed)
{
    Parcel parcel(std::move(packed));
    std::size_t sizes[3];
    parcel.Take(sizes, sizeof sizes);
    Head head;
    parcel.Take(&head.samplingRate, sizeof head.samplingRate);
    head.title.resize(sizes[2]);
    parcel.Take(head.title.data(), sizes[2]);
    head.measurements.resize(sizes[0]);
    for (auto& [direction, distance, responses] : head.measurements) {
        parcel.Take(&direction, sizeof direction);
        parcel.Take(&distance, sizeof distance);
        for (Signal* ear : {&responses.left, &responses.right}) {
            ear->resize(sizes[1]);
            parcel.Take(ear->data(), sizes[1] * sizeof(double));
        }
    }
    return head;
}

} // namespace

Head LoadSofa(const std::string& path)
{
    const std::string bytes = tools::ReadFile(path), name = path == "-" ? "Standard input" : path;
    try {
        return Unpack(RunApart([&] { return Pack(ReadSofa(bytes)); },
                               "it is damaged in a way that the library for its format does not survive."));
    } catch (const Failure& failure) {
        throw Failure(name + " is no head that can be imported: " + failure.what());
    }
}

} // namespace kal::hrtf
