#include "SoundFile.h"

#include "tools/scene/SampleBuffer.h"

#include <limits>
#include <sndfile.hh>
#include <stdexcept>
#include <utility>
#include <vector>

namespace kalrender {

std::shared_ptr<const kal::Buffer> LoadSound(const std::string& path)
{
    SndfileHandle file(path);
    if (file.error() != SF_ERR_NO_ERROR) throw std::runtime_error(file.strError());
    const int channels = file.channels();
    if (channels < 1 || channels > 2)
        throw std::runtime_error("it has " + std::to_string(channels) + " channels, neither one nor two");
    if (file.frames() > std::numeric_limits<std::int32_t>::max() / channels) throw std::runtime_error("it is too long");
    std::vector<float> samples(static_cast<std::size_t>(file.frames() * channels));
    if (file.readf(samples.data(), file.frames()) != file.frames()) throw std::runtime_error("the file is cut");
    return std::make_shared<kalscene::SampleBuffer>(std::move(samples), channels, file.samplerate());
}

} // namespace kalrender
