// The program `kalhrtf`, run as its users run it.

#include "Kal/Space/KalHrtf.h"
#include "Kal/Space/KalHrtfSet.h"
#include "tests/support/Program.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>

namespace kal::test {
namespace {

using Json = nlohmann::json;

constexpr char kProgram[] = KALHRTF " ";

Outcome Kalhrtf(const std::string& arguments)
{
    return RunProgram(kProgram + arguments);
}

Json JsonOf(const std::string& arguments)
{
    const Outcome outcome = Kalhrtf(arguments + " --json");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    return Json::parse(outcome.out, nullptr, false);
}

// The public file of the head that the shipped set was made of: 512 taps of all directions, before the loudspeaker's
// own colour was taken out of them.
TEST(Kalhrtf, TheShippedHeadsOwnFileBecomesTheShippedSet)
{
    const Folder folder;
    const std::string plain = folder / "plain.kalhrtfd", alike = folder / "alike.kalhrtfd";
    const Json report = JsonOf("import " KEMAR " -o " + plain);
    EXPECT_EQ(report["measurements"], 710);
    EXPECT_EQ(report["directions_outside"], 0);
    EXPECT_LT(report["to_nearest_max_degrees"], 0.5);
    EXPECT_LT(report["asymmetry_db"], 1e-3);
    EXPECT_LT(report["lost_db"], -20.0);
    JsonOf("import " KEMAR " --timbre built-in -o " + alike);
    for (const auto& [set, level] : {std::pair(plain, 1.4), std::pair(alike, 0.15)}) {
        const Json diff = JsonOf("diff built-in " + set);
        EXPECT_EQ(diff["common"], 368);
        EXPECT_LT(diff["itd_max_samples"], 0.3);
        EXPECT_LT(diff["level_max_db"], level);
        EXPECT_LT(std::abs(diff["level_mean_db"].get<double>()), 0.3);
    }
    EXPECT_EQ(Kalhrtf("check " + plain).exitCode, 0);

    // A length that holds more loses less, up to the whole.
    double lost = 0.0;
    for (const char* taps : {"64", "128", "256", "1024"}) {
        const Json longer = JsonOf("import " KEMAR " -o " + plain + " --taps " + taps);
        EXPECT_LT(longer["lost_db"].get<double>(), lost - 3.0);
        lost = longer["lost_db"];
    }
    EXPECT_LT(lost, -60.0);
}

TEST(Kalhrtf, ASetForAnotherRateIsTheSameHead)
{
    const Folder folder;
    for (const std::string rate : {"48000", "96000"}) {
        const std::string set = folder / rate;
        EXPECT_EQ(Kalhrtf("resample built-in -r " + rate + " -o " + set).exitCode, 0);
        const Json diff =
            JsonOf("diff built-in " + set + " --second-rate " + rate + " --max-spectrum 0.1 --max-itd 0.25");
        EXPECT_LT(diff["level_max_db"], 0.05);
        EXPECT_GT(JsonOf("diff built-in " + set)["itd_max_samples"], 2.0) << "as an engine at 44100 Hz would play it";
        EXPECT_EQ(Kalhrtf("resample " + set + " --from " + rate + " -r 44100 -o " + folder / "back").exitCode, 0);
        EXPECT_EQ(Kalhrtf("diff built-in " + folder / "back" + " --max-spectrum 0.2 --max-itd 0.25").exitCode, 0);
    }
    const Outcome loud = Kalhrtf("resample built-in -r 22050 --json -o " + folder / "low");
    EXPECT_GT(Json::parse(loud.out)["softer_db"], 1.0) << "fewer samples carry the same sound";
    EXPECT_EQ(Kalhrtf("check " + folder / "low").exitCode, 0);
}

TEST(Kalhrtf, WhatItExportsItImportsAgain)
{
    const Folder folder;
    const std::string sofa = folder / "a.sofa", set = folder / "a.kalhrtfd";
    ASSERT_EQ(Kalhrtf("export built-in -o " + sofa).exitCode, 0);
    const Json report = JsonOf("import " + sofa + " --taps 256 -o " + set);
    EXPECT_EQ(report["measurements"], 710);
    EXPECT_LT(report["asymmetry_db"], 1e-6);
    EXPECT_LT(report["lost_db"], -90.0);
    const Outcome diff = Kalhrtf("diff built-in " + set + " --max-itd 0.001 --max-level 0.001 --max-spectrum 0.01");
    EXPECT_EQ(diff.exitCode, 0) << diff.out;
}

TEST(Kalhrtf, WorksInPipes)
{
    const std::string program = kProgram;
    const Outcome outcome = RunProgram("cat " KEMAR " | " + program + "import - -o - --rings -30:7,0:13,90:1 | " +
                                       program + "resample - -r 48000 -o - | " + program + "export - -r 48000 -o - | " +
                                       program + "import - -r 48000 --rings 0:13 -o - | " + program + "info - --json");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    const Json info = Json::parse(outcome.out);
    EXPECT_EQ(info["directions"], 13);
    EXPECT_NEAR(info["itd_samples"]["max"].get<double>(), 31.0, 2.0);
    EXPECT_NE(outcome.error.find("measurements: 710"), std::string::npos) << "reports go where no file goes";
    EXPECT_EQ(RunProgram(program + "export built-in -o - >/dev/full").exitCode, 1);
}

TEST(Kalhrtf, InfoTellsOfTheShippedSetWhatIsKnownOfIt)
{
    const Json info = JsonOf("info");
    EXPECT_EQ(info["directions"], 368);
    EXPECT_EQ(info["rings"].size(), 14u);
    EXPECT_EQ(info["rings"][9]["last_azimuth"], 176.0);
    EXPECT_EQ(info["taps"]["max"], 128.0);
    EXPECT_NEAR(info["peak"].get<double>(), 0.930664, 1e-6);
    EXPECT_EQ(info["sha256"], "3071a3b68c22ab80dc0f1cfeb077ef321d35f8e10f435fbfbeb5eb459feaf3ea");
    EXPECT_EQ(info["itd_samples"]["min"], 0.0);
    EXPECT_NEAR(info["itd_samples"]["max"].get<double>(), 28.0, 1.0);
}

TEST(Kalhrtf, CheckNamesEachRuleThatIsBroken)
{
    const HrtfSet whole = ReadHrtfSet({reinterpret_cast<const char*>(hrtfData), hrtfDataSize});
    const std::pair<std::function<void(HrtfSet&)>, const char*> cases[] = {
        {[](HrtfSet& set) { set.clear(); }, "no ring"},
        {[](HrtfSet& set) { set[3].angles.clear(); }, "elevation -10 has no direction"},
        {[](HrtfSet& set) { std::swap(set[3], set[4]); }, "does not stand above"},
        {[](HrtfSet& set) { set.back().elevation = 100.0f; }, "within -90 to 90"},
        {[](HrtfSet& set) { std::swap(set[4].angles[3].azimuth, set[4].angles[4].azimuth); }, "15, that is not beyond"},
        {[](HrtfSet& set) { set[4].angles.back().azimuth = 190.0f; }, "within 0 to 180"},
        {[](HrtfSet& set) { std::fill_n(set[0].angles[0].left.begin(), 128, 0.0f); }, "silent"},
        {[](HrtfSet& set) {
             for (HrtfRing& ring : set)
                 for (HrtfAngle& angle : ring.angles) std::swap(angle.left, angle.right);
         },
         "ears are swapped"},
        {[](HrtfSet& set) { set[0].angles[0].left[0] = 1.5f; }, "bad data"}};
    const Folder folder;
    const std::string file = folder / "set";
    for (const auto& [spoil, sentence] : cases) {
        HrtfSet set = whole;
        spoil(set);
        WriteFile(file, WriteHrtfSet(set));
        const Outcome outcome = Kalhrtf("check --json " + file);
        EXPECT_EQ(outcome.exitCode, 1) << sentence;
        const Json report = Json::parse(outcome.out);
        EXPECT_EQ(report["good"], false);
        EXPECT_NE(report["violations"].dump().find(sentence), std::string::npos) << outcome.out;
    }
    WriteFile(file, WriteHrtfSet(whole).substr(0, 1000));
    EXPECT_EQ(Kalhrtf("check " + file).out, "Invalid KAL HRTF data: file truncated.\n");
    for (const char* command : {"info ", "diff built-in ", "resample -r 48000 -o /dev/null ", "export -o /dev/null "})
        EXPECT_EQ(Kalhrtf(command + file).error, "kalhrtf: " + file + ": Invalid KAL HRTF data: file truncated.\n");
}

TEST(Kalhrtf, DrawsOneSetOrTwo)
{
    const Folder folder;
    for (const auto& [name, start] :
         {std::pair("a.png", "\x89PNG"), std::pair("a'b.svg", "<?xml"), std::pair("a.pdf", "%PDF")}) {
        const std::string quoted = std::string("\"").append(folder / name).append("\"");
        EXPECT_EQ(Kalhrtf("plot built-in built-in --elevation 30 -o " + quoted).exitCode, 0);
        const std::string picture = ReadFile(folder / name);
        EXPECT_EQ(picture.substr(0, 4), std::string(start).substr(0, 4));
        EXPECT_GT(picture.size(), 10000u);
    }
    EXPECT_EQ(Kalhrtf("plot built-in -o " + folder / "a.gif").exitCode, 1);
    EXPECT_EQ(RunProgram("PATH=/nowhere " + std::string(kProgram) + "plot built-in -o " + folder / "b.png").exitCode,
              1);
    EXPECT_EQ(folder.NumFiles(), 3u);
}

TEST(Kalhrtf, TellsWrongArgumentsFromWrongInput)
{
    const Folder folder;
    for (const char* wrong : {"", "listen", "import", "import x.sofa", "import x -o y --taps 100",
                              "import x -o y --side up", "import x -o y --rate 0", "resample built-in -o y",
                              "diff built-in", "info a b", "diff built-in built-in --max-itd -1"}) {
        const Outcome outcome = Kalhrtf(wrong);
        EXPECT_EQ(outcome.exitCode, 2) << wrong;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.error.rfind("kalhrtf: ", 0), 0u) << outcome.error;
    }
    const std::string absent = folder / "absent";
    for (const std::string& wrong :
         {"info " + absent, "check " + absent, "export built-in -o " + absent + "/a.sofa",
          "import " KEMAR " --rings 0:5,-10:5 -o " + absent, "import " KEMAR " --rings nothing -o " + absent}) {
        const Outcome outcome = Kalhrtf(wrong);
        EXPECT_EQ(outcome.exitCode, 1) << wrong;
        EXPECT_NE(outcome.error, "");
    }
    EXPECT_EQ(folder.NumFiles(), 0u);

    EXPECT_NE(Kalhrtf("import --help").out.find("--timbre"), std::string::npos);
    EXPECT_EQ(Kalhrtf("--version").out.rfind("kalhrtf ", 0), 0u);
    const Outcome completed =
        RunProgram("bash -c 'eval \"$(" + std::string(kProgram) + "--bash-completion)\"; " +
                   "COMP_WORDS=(kalhrtf import --t); COMP_CWORD=2; _kalhrtf; echo ${COMPREPLY[@]}'");
    EXPECT_EQ(completed.out, "--taps --timbre\n") << completed.error;
}

} // namespace
} // namespace kal::test
