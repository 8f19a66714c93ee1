#include "PackedHead.h"

#include <cstdint>
#include <cstring>
#include <utility>

extern "C" const unsigned char packedHead[];
extern "C" const std::uint32_t packedHeadSize;

namespace kal::web {

namespace {

constexpr char kSignature[] = {'K', 'A', 'L', 'H', 'R', 'T', 'F', 'D'};

/// Reads one value after another and writes the data set.
class Unpacker {
public:
    Unpacker() : next(packedHead)
    {
        const auto numSamples = Read<std::uint32_t>();
        lower = next;
        upper = lower + numSamples;
        next = upper + numSamples;
        const std::size_t rest = packedHeadSize - static_cast<std::size_t>(next - packedHead);
        bytes.resize(sizeof kSignature + rest + sizeof(float) * numSamples);
        end = bytes.data();
        for (const char letter : kSignature) Write(letter);
    }

    std::uint32_t Copy()
    {
        const auto value = Read<std::uint32_t>();
        Write(value);
        return value;
    }

    void Widen(std::uint32_t count)
    {
        for (; count > 0; --count) {
            const auto sample = static_cast<std::int16_t>(*lower++ | *upper++ << 8);
            Write(static_cast<float>(sample) / 32768.0f);
        }
    }

    std::vector<unsigned char> bytes;

private:
    template<class T>
    T Read()
    {
        T value;
        std::memcpy(&value, next, sizeof value);
        next += sizeof value;
        return value;
    }

    template<class T>
    void Write(T value)
    {
        std::memcpy(end, &value, sizeof value);
        end += sizeof value;
    }

    unsigned char* end; ///< of what is written
    const unsigned char* next;
    const unsigned char *lower, *upper; ///< bytes of the next sample
};

} // namespace

std::vector<unsigned char> BuiltInHead()
{
    Unpacker head;
    for (std::uint32_t rings = head.Copy(); rings > 0; --rings) {
        head.Copy(); // elevation
        for (std::uint32_t angles = head.Copy(); angles > 0; --angles) {
            head.Copy(); // azimuth
            head.Widen(2 * head.Copy());
        }
    }
    return std::move(head.bytes);
}

} // namespace kal::web
