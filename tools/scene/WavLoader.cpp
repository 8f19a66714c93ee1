#include "SampleBuffer.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace kalscene {

namespace {

template<class T>
T Read(std::string_view bytes, std::size_t offset)
{
    T value;
    if (offset + sizeof value > bytes.size()) throw std::runtime_error("the file is cut");
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

template<class T, class Convert>
std::vector<float> Samples(std::string_view bytes, Convert convert)
{
    std::vector<float> samples(bytes.size() / sizeof(T));
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = convert(Read<T>(bytes, i * sizeof(T)));
    return samples;
}

} // namespace

std::shared_ptr<const kal::Buffer> ReadWav(std::string_view bytes)
{
    if (bytes.size() < 12 || bytes.substr(0, 4) != "RIFF" || bytes.substr(8, 4) != "WAVE")
        throw std::runtime_error("it is not a WAV file");

    int channels = 0, kind = 0;
    double rate = 0.0;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::string_view id = bytes.substr(at, 4);
        const std::size_t size = Read<std::uint32_t>(bytes, at + 4);
        at += 8;
        if (id == "fmt ") {
            const int format = Read<std::uint16_t>(bytes, at), bits = Read<std::uint16_t>(bytes, at + 14);
            channels = Read<std::uint16_t>(bytes, at + 2);
            rate = Read<std::uint32_t>(bytes, at + 4);
            kind = format == 3 && bits == 32 ? 32 : format == 1 && (bits == 8 || bits == 16) ? bits : 0;
            if (kind == 0) throw std::runtime_error("its samples are neither 8 nor 16 bits nor 32-bit floats");
            if (channels < 1 || channels > 2) throw std::runtime_error("it has neither one nor two channels");
        } else if (id == "data" && kind != 0) {
            const std::size_t frame = static_cast<std::size_t>(channels) * static_cast<std::size_t>(kind) / 8;
            const std::string_view data = bytes.substr(at, std::min(size, bytes.size() - at) / frame * frame);
            std::vector<float> samples =
                kind == 8    ? Samples<std::uint8_t>(data, [](int x) { return float(x - 128) / 128.0f; })
                : kind == 16 ? Samples<std::int16_t>(data, [](int x) { return float(x) / 32768.0f; })
                             : Samples<float>(data, [](float x) { return x; });
            return std::make_shared<SampleBuffer>(std::move(samples), channels, rate);
        }
        at += size + size % 2;
    }
    throw std::runtime_error("it holds no samples");
}

std::shared_ptr<const kal::Buffer> LoadWav(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("there is no such file, or it cannot be read");
    return ReadWav(std::string(std::istreambuf_iterator<char>(file), {}));
}

} // namespace kalscene
