#include "AudioFile.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace kalrender {

namespace {

int FormatCode(const AudioFormat& format)
{
    if (format.container == "ogg") return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    const int samples = format.bits == "16"   ? SF_FORMAT_PCM_16
                        : format.bits == "24" ? SF_FORMAT_PCM_24
                                              : SF_FORMAT_FLOAT;
    return (format.container == "flac" ? SF_FORMAT_FLAC : SF_FORMAT_WAV) | samples;
}

} // namespace

AudioFile::AudioFile(const std::string& path, const AudioFormat& format)
    : name(path),
      file(path),
      bits(format.container == "ogg" || format.bits == "float" ? 0 : std::stoi(format.bits)),
      sound(file.TemporaryPath(), SFM_WRITE, FormatCode(format), 2, format.samplingRate)
{
    if (sound.error() != SF_ERR_NO_ERROR)
        throw std::runtime_error(path + ": " + format.container + " at " + std::to_string(format.samplingRate) +
                                 " Hz cannot be written: " + sound.strError());
    sound.command(SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE); // it holds the time of day
}

// Whole numbers are rounded here, to the nearest; libsndfile would cut them off when it is also to clip.
void AudioFile::Write(const float* frames, int numFrames)
{
    sf_count_t written = 0;
    if (bits == 0) {
        written = sound.writef(frames, numFrames);
    } else {
        const double fullScale = std::ldexp(1.0, bits - 1);
        whole.resize(2 * static_cast<std::size_t>(numFrames));
        for (std::size_t i = 0; i < whole.size(); ++i) {
            const double x = std::clamp(std::nearbyint(frames[i] * fullScale), -fullScale, fullScale - 1.0);
            whole[i] = static_cast<int>(x) * (1 << (32 - bits)); // libsndfile takes the upper bits
        }
        written = sound.writef(whole.data(), numFrames);
    }
    if (written != numFrames) throw std::runtime_error(name + ": it cannot be written: " + sound.strError());
}

void AudioFile::Commit()
{
    Close();
    file.Commit();
}

} // namespace kalrender
