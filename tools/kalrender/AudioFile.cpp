#include "AudioFile.h"

#include "OggPages.h"
#include "tools/support/Files.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kalrender {

/// What libsndfile writes through. It keeps to itself what happens to the bytes that it writes last, as it closes.
struct AudioFile::Sink {
    explicit Sink(const std::string& path) : file(std::fopen(path.c_str(), "w+b")) { Note(file != nullptr); }
    ~Sink() { Close(); }

    void Close()
    {
        if (file) Note(std::fclose(std::exchange(file, nullptr)) == 0);
    }
    void Note(bool isGood)
    {
        if (!isGood && error == 0) error = errno;
    }

    static Sink& Of(void* user) { return *static_cast<Sink*>(user); }
    static SF_VIRTUAL_IO& Operations()
    {
        static SF_VIRTUAL_IO operations = {
            [](void* user) {
                const auto here = std::ftell(Of(user).file);
                std::fseek(Of(user).file, 0, SEEK_END);
                const auto length = std::ftell(Of(user).file);
                std::fseek(Of(user).file, here, SEEK_SET);
                return sf_count_t{length};
            },
            [](sf_count_t offset, int whence, void* user) {
                Of(user).Note(std::fseek(Of(user).file, offset, whence) == 0);
                return sf_count_t{std::ftell(Of(user).file)};
            },
            [](void* bytes, sf_count_t count, void* user) {
                return static_cast<sf_count_t>(std::fread(bytes, 1, static_cast<std::size_t>(count), Of(user).file));
            },
            [](const void* bytes, sf_count_t count, void* user) {
                const std::size_t written = std::fwrite(bytes, 1, static_cast<std::size_t>(count), Of(user).file);
                Of(user).Note(written == static_cast<std::size_t>(count));
                return static_cast<sf_count_t>(written);
            },
            [](void* user) { return sf_count_t{std::ftell(Of(user).file)}; }};
        return operations;
    }

    std::FILE* file;
    int error = 0; ///< the first
};

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

AudioFile::AudioFile(const std::string& path, const AudioFormat& wanted)
    : name(path),
      format(wanted),
      file(path),
      sink(std::make_unique<Sink>(file.Path())),
      bits(format.container == "ogg" || format.bits == "float" ? 0 : std::stoi(format.bits)),
      sound(Open())
{
    if (sound.error() != SF_ERR_NO_ERROR) Fail();
    sound.command(SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE); // it holds the time of day
}

AudioFile::~AudioFile() = default;

SndfileHandle AudioFile::Open() const
{
    if (sink->error != 0) Fail();
    return {Sink::Operations(), sink.get(), SFM_WRITE, FormatCode(format), 2, format.samplingRate};
}

// What Vorbis makes of sound depends on how much it gets at a time.
void AudioFile::Write(const float* frames, int numFrames)
{
    constexpr std::size_t kChunk = 2 * 4096; // samples
    for (const float* const end = frames + 2 * static_cast<std::ptrdiff_t>(numFrames); frames != end;) {
        const float* const next = frames + std::min<std::ptrdiff_t>(end - frames, kChunk - chunk.size());
        chunk.insert(chunk.end(), frames, next);
        frames = next;
        if (chunk.size() == kChunk) WriteChunk();
    }
}

// Whole numbers are rounded here, to the nearest; libsndfile would cut them off when it is also to clip.
void AudioFile::WriteChunk()
{
    const auto numSamples = static_cast<sf_count_t>(chunk.size());
    sf_count_t written = 0;
    if (bits == 0) {
        written = sound.write(chunk.data(), numSamples);
    } else {
        const double fullScale = std::ldexp(1.0, bits - 1);
        whole.resize(chunk.size());
        for (std::size_t i = 0; i < whole.size(); ++i) {
            const double x = std::clamp(std::nearbyint(chunk[i] * fullScale), -fullScale, fullScale - 1.0);
            whole[i] = static_cast<int>(x) * (1 << (32 - bits)); // libsndfile takes the upper bits
        }
        written = sound.write(whole.data(), numSamples);
    }
    if (written != numSamples || sink->error != 0) Fail();
    chunk.clear();
}

void AudioFile::Close()
{
    WriteChunk();
    sound = SndfileHandle();
    sink->Close();
    if (sink->error != 0) Fail();
    if (format.container == "ogg") file.Write(WithSerialNumber(kal::tools::ReadFile(file.Path()), 1));
}

void AudioFile::Fail() const
{
    if (sink->error != 0)
        throw std::runtime_error(name + " cannot be written: " + std::system_category().message(sink->error) + ".");
    throw std::runtime_error(name + " cannot be written as " + format.container + " at " +
                             std::to_string(format.samplingRate) + " Hz: " + sound.strError());
}

} // namespace kalrender
