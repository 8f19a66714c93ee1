// Runs the built program as its users do.

#include "tests/support/Measure.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sndfile.hh>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;
using kal::test::SignalToErrorDb;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

const std::string kBells = R"({"length": 0.6, "room": {"dimensions": [4, 3, 5]}, "sounds": [
    {"name": "bell", "synth": {"kind": "pluck"}, "position": [{"at": 0, "value": [-1, 0, -1]}, {"at": 0.5, "value": [1, 1, 0]}]},
    {"name": "hiss", "synth": {"kind": "noise"}, "position": [1, 0, 1], "gain": 0.3, "start": 0.1, "loop": true, "stop": 0.4}]})";

std::string Content(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::vector<float> Samples(const std::string& path)
{
    SndfileHandle file(path);
    EXPECT_EQ(file.error(), 0) << path << ": " << file.strError();
    std::vector<float> samples(static_cast<std::size_t>(file.frames() * file.channels()));
    file.read(samples.data(), static_cast<sf_count_t>(samples.size()));
    return samples;
}

class Kalrender : public testing::Test {
protected:
    void SetUp() override
    {
        fs::remove_all(folder);
        fs::create_directory(folder);
        fs::current_path(folder);
        std::ofstream("bells.json") << kBells;
    }
    void TearDown() override
    {
        fs::current_path("/");
        fs::remove_all(folder);
    }

    // @returns the exit code; `said` is what went to standard error
    int Shell(const std::string& command)
    {
        const int status = std::system(("{ " + command + "; } 2>said").c_str());
        said = Content("said");
        fs::remove("said");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int Run(const std::string& arguments) { return Shell(KALRENDER " " + arguments); }

    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
        return names;
    }

    fs::path folder = fs::temp_directory_path() / ("kalrender_test." + std::to_string(getpid()));
    std::string said;
};

TEST_F(Kalrender, WritesTheSameFileEveryTimeWhateverTheBlock)
{
    for (const std::string ending : {"wav", "flac", "ogg"}) {
        ASSERT_EQ(Run("-q bells.json -o a." + ending), 0) << said;
        ASSERT_EQ(Run("-q bells.json --block 1 -o b." + ending), 0);
        ASSERT_EQ(Run("-q bells.json --block 999 -f " + ending + " -o - | cat >c." + ending), 0);
        EXPECT_EQ(Shell("cmp a." + ending + " b." + ending + " && cmp a." + ending + " c." + ending), 0);
    }
    EXPECT_EQ(said, "");
    EXPECT_THAT(Content("a.wav"), testing::Not(HasSubstr("PEAK"))) << "a chunk with the time of day";
}

TEST_F(Kalrender, WritesEveryFormat)
{
    ASSERT_EQ(Run("-q bells.json -o exact.wav"), 0);
    const auto exact = Samples("exact.wav");
    ASSERT_EQ(exact.size(), 2u * 28800);
    struct Case {
        const char* arguments;
        const char* file;
        int format;
        double step; // half of it is the error
    };
    for (const Case& c : {Case{"-b 16", "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1.0 / 32768},
                          {"--bits=24", "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1.0 / 8388608},
                          {"", "a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 1.0 / 8388608},
                          {"-f flac -b 16", "odd", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1.0 / 32768}}) {
        ASSERT_EQ(Run(std::string("-q bells.json ") + c.arguments + " -o " + c.file), 0) << said;
        EXPECT_EQ(SndfileHandle(c.file).format(), c.format);
        const auto samples = Samples(c.file);
        ASSERT_EQ(samples.size(), exact.size());
        for (std::size_t i = 0; i < exact.size(); ++i) ASSERT_NEAR(samples[i], exact[i], 0.501 * c.step);
    }
    ASSERT_EQ(Run("-q bells.json -r 44100 -o a.ogg"), 0);
    EXPECT_EQ(SndfileHandle("a.ogg").samplerate(), 44100);
    EXPECT_EQ(Samples("a.ogg").size(), 2u * 26460);
}

TEST_F(Kalrender, RefusesWithoutLeavingAnything)
{
    std::ofstream("bad.json")
        << R"({"length": 0, "sounds": [{"file": "none.wav", "gain": [{"at": 1, "value": 1}, {"at": 0, "value": 1}]}]})";
    std::ofstream("out.wav") << "precious";
    EXPECT_EQ(Run("bad.json --report r.json --plot p.png --stems -o out.wav"), 1);
    EXPECT_THAT(said, HasSubstr("bad.json: /sounds/0/gain/1/at: expected"));
    EXPECT_THAT(said,
                HasSubstr("bad.json: /sounds/0/file: expected a sound file that can be read, found \"none.wav\""));
    EXPECT_THAT(said, HasSubstr("bad.json: /length: expected a time above 0"));
    EXPECT_EQ(Content("out.wav"), "precious");

    std::ofstream("bad.kalhrtfd") << "KALHRTFD";
    for (const auto& [arguments, text] : std::map<std::string, std::string>{
             {"bells.json -o none/out.wav", "none/out.wav cannot be written: No such file"},
             {"bells.json -o out.ogg -r 300000", "out.ogg cannot be written as ogg at 300000 Hz"},
             {"bells.json -o x.wav --hrtf bad.kalhrtfd", "bad.kalhrtfd: Invalid KAL HRTF data: file truncated."},
             {"bells.json -o x.wav --hrtf none", "none cannot be read: No such file"},
             {"none.json -o x.wav", "none.json: there is no such file"}}) {
        EXPECT_EQ(Run(arguments), 1) << arguments;
        EXPECT_THAT(said, HasSubstr(text));
    }
    for (const std::string arguments :
         {"", "--frob", "bells.json -o a.mp3", "bells.json -b 12", "bells.json -o a.flac -b float",
          "bells.json bad.json -o a.wav", "bells.json -o - --stems", "bells.json -o - --report -",
          "bells.json --plot a.gif", "bells.json ./bells.json", "bells.json -t 0"})
        EXPECT_EQ(Run(arguments), 2) << arguments;
    // A rendering that is interrupted, which playing makes long enough.
    std::ofstream("long.json") << R"({"length": 600, "sounds": [{"synth": {"kind": "click"}}]})";
    EXPECT_EQ(Shell("SDL_AUDIODRIVER=dummy timeout -s HUP 1 " KALRENDER " long.json --play -o long.wav; test $? -ne 0"),
              0);
    // No room for the last block of 1024 bytes, which an encoder writes when all has been said.
    for (const std::string ending : {"wav", "flac", "ogg"})
        EXPECT_EQ(Shell("trap '' XFSZ; " KALRENDER " -q bells.json -o - -f " + ending + " >full && " +
                        "(ulimit -f $((($(stat -c %s full) - 1) / 1024)); " KALRENDER " -q bells.json -o cut." +
                        ending + "); code=$?; rm full; exit $code"),
                  1);
    EXPECT_THAT(said, HasSubstr("cut.ogg cannot be written: File too large"));
    EXPECT_THAT(Files(), UnorderedElementsAre("bells.json", "bad.json", "long.json", "out.wav", "bad.kalhrtfd"));
}

TEST_F(Kalrender, WritesStemsThatAddUpToTheMix)
{
    ASSERT_EQ(Run("-q bells.json --stems -o mix.wav"), 0);
    EXPECT_THAT(Files(), UnorderedElementsAre("bells.json", "mix.wav", "mix.bell.wav", "mix.hiss.wav"));
    auto sum = Samples("mix.bell.wav");
    const auto other = Samples("mix.hiss.wav");
    ASSERT_EQ(sum.size(), other.size());
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += other[i];
    EXPECT_GT(SignalToErrorDb(sum, Samples("mix.wav")), 100.0);
}

// A sine near 1 kHz of amplitude 1/4 in both ears: EBU R 128 weighs it by next to nothing, so its loudness is its
// peak's level, -12.04; its RMS lies 3.01 dB below. Then three times as loud as full scale, which the limiter holds.
TEST_F(Kalrender, ReportsWhatIsHeard)
{
    std::ofstream("sine.json")
        << R"({"length": 2, "sounds": [{"synth": {"kind": "tone", "frequency": 997, "duration": 3},
        "place": "none", "gain": 0.25}, {"synth": {"kind": "tone"}, "place": "none", "gain": 0, "stop": 1}]})";
    ASSERT_EQ(Run("-q sine.json -o sine.wav --report r.json --plot p.svg"), 0) << said;
    const auto report = nlohmann::json::parse(Content("r.json"));
    for (const int ear : {0, 1}) {
        EXPECT_NEAR(report["peakDbfs"][ear], -12.04, 0.01);
        EXPECT_NEAR(report["rmsDbfs"][ear], -15.05, 0.01);
    }
    EXPECT_NEAR(report["integratedLufs"], -12.04, 0.1);
    EXPECT_EQ(report["frames"], 96000);
    EXPECT_EQ(report["voices"], (nlohmann::json{{"started", 2}, {"mostAtATime", 2}}));
    EXPECT_EQ(report["limitedFrames"], 0);
    EXPECT_THAT(Content("p.svg"), HasSubstr("azimuth, right"));

    std::ofstream("loud.json")
        << R"({"length": 1, "gain": 2, "sounds": [{"synth": {"kind": "tone"}, "place": "none", "gain": 3}]})";
    ASSERT_EQ(Run("-q loud.json -o loud.wav --report r.json --plot p.png"), 0);
    const auto loud = nlohmann::json::parse(Content("r.json"));
    EXPECT_GT(loud["limitedFrames"], 10);
    EXPECT_GT(loud["clippedFrames"], 1000);
    EXPECT_NEAR(loud["peakDbfs"][0], 6.02, 0.01);
    EXPECT_TRUE(Content("p.png").starts_with("\x89PNG"));
}

TEST_F(Kalrender, RendersManyScenesAndGoesOnAfterABadOne)
{
    for (int i = 0; i < 6; ++i) std::ofstream("scene" + std::to_string(i) + ".json") << (i == 2 ? "{}" : kBells);
    EXPECT_EQ(Run("scene?.json -j 3 -f flac -b 16 -o out/"), 1);
    EXPECT_THAT(said, HasSubstr("scene2.json: expected a \"sounds\" in it"));
    EXPECT_THAT(said, HasSubstr("out/scene5.flac: 0.60 s, peak"));
    EXPECT_THAT(said, testing::Not(HasSubstr("\033")));
    int number = 0;
    for (const auto& entry : fs::directory_iterator("out")) {
        EXPECT_EQ(Content(entry.path()), Content("out/scene0.flac"));
        ++number;
    }
    EXPECT_EQ(number, 5);
}

TEST_F(Kalrender, TakesOtherHeadsAndKernels)
{
    ASSERT_EQ(Run("-q bells.json -o a.wav"), 0);
    ASSERT_EQ(Run("-q bells.json -o same.wav --hrtf " KAL_SOURCE_DIR "/data/hrtf.kalhrtfd"), 0) << said;
    EXPECT_EQ(Content("a.wav"), Content("same.wav"));
    ASSERT_EQ(Run("-q bells.json -o generic.wav --kernels Generic --report r.json"), 0) << said;
    EXPECT_GT(SignalToErrorDb(Samples("generic.wav"), Samples("a.wav")), 90.0);
    EXPECT_EQ(nlohmann::json::parse(Content("r.json"))["kernels"], "Generic");
}

// The dummy device plays in real time, into nothing.
TEST_F(Kalrender, PlaysAndWatches)
{
    EXPECT_EQ(Shell("SDL_AUDIODRIVER=dummy " KALRENDER " -q bells.json --play"), 0) << said;
    EXPECT_EQ(Shell("SDL_AUDIODRIVER=none " KALRENDER " -q bells.json --play"), 1);
    EXPECT_THAT(said, HasSubstr("no sound device"));
    EXPECT_THAT(Files(), UnorderedElementsAre("bells.json"));

    const std::string until = "for i in $(seq 300); do sleep 0.1; ";
    EXPECT_EQ(
        Shell(
            KALRENDER " -q bells.json --watch -o a.wav 2>errors & pid=$!; " + until +
            "test -e a.wav && break; done; cp a.wav first.wav; "
            "sed s/-1,/1,/ bells.json >new; mv new bells.json; " +
            until +
            "cmp -s a.wav first.wav || break; done; "
            "echo '{' >bells.json; " +
            until +
            "test -s errors && break; done; kill -INT $pid; wait $pid; code=$?; cat errors >&2; rm errors; exit $code"),
        0);
    EXPECT_THAT(said, HasSubstr("bells.json: line 2, column 1: syntax error"));
    EXPECT_NE(Samples("a.wav"), Samples("first.wav"));
    EXPECT_THAT(Files(), UnorderedElementsAre("bells.json", "a.wav", "first.wav"));
}

TEST_F(Kalrender, DocumentsItself)
{
    EXPECT_EQ(Shell(KALRENDER " --help >help && " KALRENDER " --version >version"), 0);
    EXPECT_THAT(Content("help"), HasSubstr("--stems"));
    EXPECT_THAT(Content("version"), HasSubstr("kalrender 1."));
    EXPECT_EQ(Shell("bash -c '. " + fs::path(KALRENDER).parent_path().string() +
                    "/kalrender.bash; COMP_WORDS=(kalrender --kernels S); "
                    "COMP_CWORD=2; _kalrender; test \"${COMPREPLY[*]}\" = SSE2'"),
              0);
    EXPECT_EQ(
        Shell("man -l --warnings " + fs::path(KALRENDER).parent_path().string() + "/kalrender.1 | grep -q -e --stems"),
        0);
    EXPECT_EQ(said, "");
}

} // namespace
