#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace qfft {

/// Element type of a transform's arrays.
enum class DataType : std::int32_t {
    Single = 0, ///< float
    Double = 1, ///< double
};

/// What a setup is asked for.
struct FFTParam {
    bool backward = false;            ///< the sign of the exponent: false is -, true is +
    std::vector<unsigned> size;       ///< length per dimension, slowest first, each 2^a 3^b
    std::int32_t inputAlignment = 4;  ///< bytes that the caller promises for its input; accepted, not used
    std::int32_t parallel = 1;        ///< transforms done at once, 1
    std::int32_t outputAlignment = 4; ///< bytes that the caller promises for its output; accepted, not used
    std::int32_t dataType = 0;        ///< a DataType
};

/// The arrays of one transform, split into real and imaginary parts: as many elements as the setup has points, of the
/// setup's data type; arrays on 64-byte boundaries are the fastest. A transform may be done in place: each output may
/// be either of the inputs. Other overlaps are not allowed.
struct FFTInput {
    const void* inReal;
    const void* inImag;
    void* outReal;
    void* outImag;
};

/// A planned complex transform, unnormalised in both directions:
///     X[k] = sum over j of x[j] exp(-+2 pi i j k / N), - forward and + backward,
/// so that a forward transform followed by a backward one multiplies by the number of points.
class FFTSetup {
public:
    virtual ~FFTSetup() = default;

    /// [render] Transforms one set of arrays. Any number of threads may use one setup at once, on arrays of their own.
    /// Working memory is 64 KiB of stack; only transforms whose points take more than that (8192 in single precision,
    /// 4096 in double) allocate, for the length of the call.
    virtual void Transform(const FFTInput& input) const = 0;
};

/// [control] Plans a transform.
/// @throws qfft::Exception if the request has no dimension, a length that is zero or has a prime factor other than 2
/// and 3, an unknown data type, or more than one dimension and parallel transforms.
std::unique_ptr<FFTSetup> CreateFFTSetup(const FFTParam& param);

} // namespace qfft
