#pragma once

namespace kal {

extern "C" {

/// The HRTF data set built into the library, in the format that Spatializer reads, and one zero byte after it. It
/// starts on a 64-byte boundary.
extern const unsigned char hrtfData[];

/// Bytes of hrtfData, the zero byte included.
extern const unsigned hrtfDataSize;

} // extern "C"

} // namespace kal
