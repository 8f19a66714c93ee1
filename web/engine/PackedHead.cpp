#include "PackedHead.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

extern "C" const unsigned char packedHead[];

namespace kal::web {

namespace {

/// Reads one value after another and writes the data set.
class Unpacker {
public:
    std::uint32_t Copy()
    {
        const auto value = Read<std::uint32_t>();
        Append(value);
        return value;
    }

    void Widen(std::uint32_t count)
    {
        for (; count > 0; --count) Append(static_cast<float>(Read<std::int16_t>()) / 32768.0f);
    }

    std::string bytes = "KALHRTFD";

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
    void Append(T value)
    {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }

    const unsigned char* next = packedHead;
};

} // namespace

std::string BuiltInHead()
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
