#pragma once

#include "OutputFile.h"

#include <sndfile.hh>
#include <string>
#include <vector>

namespace kalrender {

struct AudioFormat {
    std::string container; ///< "wav", "flac" or "ogg"
    std::string bits;      ///< "16", "24" or "float"; of no meaning for Ogg
    int samplingRate = 48000;
};

/// Writes a stereo sound file, complete or not at all. Samples beyond full scale are clipped where bits are whole.
class AudioFile {
public:
    /// @throws std::runtime_error if it cannot be made, or the format cannot hold such sound
    AudioFile(const std::string& path, const AudioFormat& format);

    /// @throws std::runtime_error
    void Write(const float* frames, int numFrames);

    /// Nothing more will be written.
    void Close() { sound = SndfileHandle(); }

    /// Lets the file appear. @throws std::runtime_error
    void Commit();

private:
    std::string name;
    OutputFile file;
    int bits; ///< of a sample; 0: floats
    SndfileHandle sound;
    std::vector<int> whole;
};

} // namespace kalrender
