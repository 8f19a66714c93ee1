#include "tools/scene/SceneReader.h"

#include <gmock/gmock.h>
#include <string>

namespace kalscene {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> Faults(const std::string& text)
{
    try {
        ReadScene(text, {});
    } catch (const SceneError& error) {
        return error.Messages();
    }
    return {};
}

std::vector<std::string> FaultsOfSound(const std::string& members)
{
    return Faults(R"({"length": 1, "sounds": [{"synth": {"kind": "tone"}, )" + members + "}]}");
}

TEST(SceneReader, NamesThePlaceAndWhatWasExpectedThere)
{
    struct Case {
        const char *members, *fault;
    };
    for (const Case& c : {
             Case{R"("gain": "loud")",
                  R"(scene: /sounds/0/gain: expected a linear gain (0 to 1000) or key points of it, found "loud")"},
             {R"("gain": [{"at": 0, "value": 1}, {"at": 1, "value": -1}])",
              "/sounds/0/gain/1/value: expected a linear gain"},
             {R"("gain": [{"at": 2, "value": 1}, {"at": 1, "value": 1}])",
              "/sounds/0/gain/1/at: expected a time not before"},
             {R"("speed": 0)", "/sounds/0/speed: expected a speed (0.001 to 1000)"},
             {R"("gian": 1)", "/sounds/0/gian: unknown here; expected one of copies, file, from, gain"},
             {R"("position": [1, 2])", "/sounds/0/position: expected [x, y, z] or key points of it, found [1,2]"},
             {R"("position": {"interpolation": "cubic", "points": [{"at": 0, "value": [0, 0, 0]}]})",
              R"(/sounds/0/position/interpolation: expected "hold", "linear" or "smooth", found "cubic")"},
             {R"("start": "now")", "/sounds/0/start: expected a time or a list of times"},
             {R"("start": [{"frame": 1.5}])", "/sounds/0/start/0/frame: expected a whole number of frames"},
             {R"("stop": 0)", "/sounds/0/stop: expected a time after every start, found 0"},
             {R"("from": 1.5)", "/sounds/0/from: expected a time within the sound, which has 48000 frames, found 1.5"},
             {R"("loop": {"start": 0.5, "end": 0.5})", "/sounds/0/loop: expected a start before the end"},
             {R"("seek": [{"at": 1}])", R"(/sounds/0/seek/0: expected a "to" in it)"},
             {R"("file": "a.wav")", R"(/sounds/0: expected a sound with either a "file" or a "synth")"},
             {R"("name": "a/b")", "/sounds/0/name: expected a name that can be part of a file's"},
         })
        EXPECT_THAT(FaultsOfSound(c.members), ElementsAre(HasSubstr(c.fault)));

    EXPECT_THAT(Faults("{\n  \"sounds\": [}"), ElementsAre(HasSubstr("scene: line 2, column 14: syntax error")));
    EXPECT_THAT(Faults("[]"), ElementsAre(HasSubstr(R"(scene: expected a scene: an object with "sounds", found [])")));
    EXPECT_THAT(Faults(R"({"sounds": [{"synth": {"kind": "tone"}, "loop": true}]})"),
                ElementsAre(HasSubstr(R"(/sounds/0: expected a "stop")")));
}

TEST(SceneReader, ReportsAllFaultsAtOnce)
{
    EXPECT_THAT(
        Faults(R"({"length": -1, "step": 0, "sounds": [{"file": 3}, {"synth": {"kind": "hum"}, "gain": null}]})"),
        ElementsAre(HasSubstr("/length"), HasSubstr("/sounds/0/file"), HasSubstr("/sounds/1/gain"),
                    HasSubstr("/sounds/1/synth/kind"), HasSubstr("/step")));
    EXPECT_THAT(
        Faults(R"({"length": 1, "sounds": [{"file": "none.wav"}, {"file": ")" KAL_SOURCE_DIR R"(/README.md"},
                           {"synth": {"kind": "tone"}, "name": "x"}, {"synth": {"kind": "tone"}, "name": "x"}]})"),
        ElementsAre(HasSubstr(R"(/sounds/0/file: expected a sound file that can be read, found "none.wav": there is)"),
                    HasSubstr("it is not a WAV file"), HasSubstr("/sounds/3/name: expected a name of its own")));
}

TEST(SceneReader, TakesTimesInSecondsAndFrames)
{
    ReadParam param;
    param.samplingRate = 44100;
    const Scene scene = ReadScene(R"({"length": 2, "sounds": [
        {"synth": {"kind": "tone"}, "start": [0.5, {"frame": 7}], "loop": {"start": 0.25, "end": {"frame": 40000}}},
        {"synth": {"kind": "tone"}}]})",
                                  param);
    EXPECT_EQ(scene.length, 88200);
    EXPECT_EQ(scene.sounds[0].starts[0].frame, 22050);
    EXPECT_EQ(scene.sounds[0].starts[1].frame, 7);
    EXPECT_EQ(scene.sounds[0].loop->start, 12000) << "frames of the sound, which has 48 kHz";
    EXPECT_EQ(scene.sounds[0].loop->end, 40000);
    EXPECT_EQ(scene.sounds[0].name, "tone");
    EXPECT_EQ(scene.sounds[1].name, "tone-2");
}

} // namespace
} // namespace kalscene
