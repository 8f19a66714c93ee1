#pragma once

#include <cstdint>

namespace kal {

/// A point or direction. In the listener frame +x is right, +y up and +z ahead.
struct Vector3 {
    float x = 0.0f, y = 0.0f, z = 0.0f;
};

/// Sample encoding of a buffer, with the value that a read yields for an element e.
enum class AudioFormat : std::int32_t {
    Unsigned8 = 0, ///< (e - 128) / 128
    Signed16 = 1,  ///< e / 32768
    Float32 = 2,   ///< e
};

/// [any] Sample data that a voice plays: immutable while any voice holds it, interleaved when it has two channels.
/// There is no virtual destructor on purpose: implementations are made as shared objects of their own type and live as
/// long as the shared pointers to them.
class Buffer {
public:
    virtual const void* GetData() const = 0; ///< first element, aligned for its type; null when there are no frames
    virtual AudioFormat GetFormat() const = 0;
    virtual std::int32_t GetNumChannels() const = 0; ///< 1 or 2
    virtual double GetSamplingRate() const = 0;      ///< Hz
    virtual std::int32_t GetNumSamples() const = 0;  ///< frames

protected:
    ~Buffer() = default;
};

} // namespace kal
