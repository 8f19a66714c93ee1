#pragma once

#include "tools/support/PendingFile.h"

#include <cstdio>
#include <memory>
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
    ~AudioFile();

    /// @throws std::runtime_error
    void Write(const float* frames, int numFrames);

    /// Nothing more will be written. @throws std::runtime_error
    void Close();

    /// Lets the file appear, once it is closed. @throws std::runtime_error
    void Commit() { file.Commit(); }

private:
    struct Sink;

    SndfileHandle Open() const; ///< from what is declared before `sound`
    void WriteChunk();
    [[noreturn]] void Fail() const;

    std::string name;
    AudioFormat format;
    kal::tools::PendingFile file;
    std::unique_ptr<Sink> sink;
    int bits; ///< of a sample; 0: floats
    SndfileHandle sound;
    std::vector<float> chunk; ///< frames that are yet to be written
    std::vector<int> whole;
};

} // namespace kalrender
