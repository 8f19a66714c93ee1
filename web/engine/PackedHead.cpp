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
    // Samples become twice as long, the rest stays.
    Unpacker() : bytes(sizeof kSignature + 2 * packedHeadSize), end(bytes.data())
    {
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
        for (; count > 0; --count) Write(static_cast<float>(Read<std::int16_t>()) / 32768.0f);
    }

    std::vector<unsigned char> Finish()
    {
        bytes.resize(static_cast<std::size_t>(end - bytes.data()));
        return std::move(bytes);
    }

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

    std::vector<unsigned char> bytes;
    unsigned char* end; ///< of what is written
    const unsigned char* next = packedHead;
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
    return head.Finish();
}

} // namespace kal::web
