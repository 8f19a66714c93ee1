// `kalhrtf import`: one head in every way that a SOFA file may hold it, and files that are no head.

#include "Kal/Space/KalHrtfSet.h"
#include "tests/kalhrtf/SofaFile.h"
#include "tests/support/Program.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

namespace kal::test {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr char kImport[] = KALHRTF " import --rings -45:9,0:19,45:9,90:1 --rate 48000 --json ";

using Change = std::function<void(SofaFile&)>;

SofaFile::Variable& Places(SofaFile& file)
{
    return file.variables["SourcePosition"];
}

void EachPlace(SofaFile& file, const std::function<void(double*)>& change)
{
    for (std::size_t i = 0; i < Places(file).values.size(); i += 3) change(&Places(file).values[i]);
}

void ToCartesian(SofaFile& file)
{
    Places(file).attributes = {{"Type", "cartesian"}, {"Units", "metre"}};
    EachPlace(file, [](double* p) {
        const double a = p[0] * kDegree, e = p[1] * kDegree, r = p[2];
        p[0] = r * std::cos(e) * std::cos(a);
        p[1] = r * std::cos(e) * std::sin(a);
        p[2] = r * std::sin(e);
    });
}

// Responses that are earlier by `shift` samples, as those of files are that store delays apart.
void Hasten(SofaFile& file, std::size_t measurement, std::size_t ear, int shift)
{
    SofaFile::Variable& responses = file.variables["Data.IR"];
    const std::size_t taps = responses.shape[2];
    const auto first = responses.values.begin() + static_cast<std::ptrdiff_t>((2 * measurement + ear) * taps);
    std::fill(std::copy(first + shift, first + static_cast<std::ptrdiff_t>(taps), first),
              first + static_cast<std::ptrdiff_t>(taps), 0.0);
}

TEST(SofaImport, OneHeadIsTheSameInWhateverFile)
{
    const Folder folder;
    const std::string input = folder / "in.sofa", output = folder / "out.kalhrtfd";
    const auto import = [&](SofaFile file, SofaFile::Layout layout) {
        file.Write(input, layout);
        const Outcome outcome = RunProgram(kImport + input + " -o " + output);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        return outcome.exitCode == 0 ? ReadHrtfSet(ReadFile(output)) : HrtfSet();
    };
    const HrtfSet expected = import(Ball(), SofaFile::Layout::Plain);

    using enum SofaFile::Layout;
    const Change same = [](SofaFile&) {};
    const std::pair<Change, SofaFile::Layout> cases[] = {
        {same, Chunked},
        {same, Compressed},
        {same, Strings},
        {same, Float},
        {same, LatestHdf5},
        {ToCartesian, Plain},
        {[](SofaFile& file) { // centimetres, and a listener who stands elsewhere
             ToCartesian(file);
             Places(file).attributes["Units"] = "centimetre, centimetre, centimetre";
             EachPlace(file, [](double* p) { p[0] = 100.0 * p[0] + 20.0, p[1] *= 100.0, p[2] *= 100.0; });
             file.variables["ListenerPosition"].values = {0.2, 0.0, 0.0};
         },
         Plain},
        {[](SofaFile& file) {
             Places(file).attributes["Units"] = "radian, radian, metre";
             EachPlace(file, [](double* p) { p[0] *= kDegree, p[1] *= kDegree; });
         },
         Plain},
        {[](SofaFile& file) { // azimuths -180 ... 180, and nothing that may be left out
             EachPlace(file, [](double* p) { p[0] = p[0] > 180.0 ? p[0] - 360.0 : p[0]; });
             Places(file).attributes.clear();
             for (const char* name :
                  {"ListenerPosition", "ListenerView", "ListenerUp", "ReceiverPosition", "Data.Delay"})
                 file.variables.erase(name);
         },
         Plain},
        {[](SofaFile& file) { // a listener who looks to the left
             EachPlace(file, [](double* p) { p[0] += 90.0; });
             file.variables["ListenerView"].values = {90.0, 0.0, 1.0};
             file.variables["ListenerView"].attributes = {{"Type", "spherical"}, {"Units", "degree, degree, metre"}};
         },
         Plain},
        {[](SofaFile& file) { // the right ear first
             file.variables["ReceiverPosition"].values = {0.0, -0.09, 0.0, 0.0, 0.09, 0.0};
             auto& responses = file.variables["Data.IR"];
             const auto taps = static_cast<std::ptrdiff_t>(responses.shape[2]);
             for (auto at = responses.values.begin(); at != responses.values.end(); at += 2 * taps)
                 std::swap_ranges(at, at + taps, at + taps);
         },
         Plain},
        {[](SofaFile& file) {
             file.variables["Data.Delay"].values = {7.0, 11.0};
             for (std::size_t i = 0; i < Places(file).shape[0]; ++i) Hasten(file, i, 0, 7), Hasten(file, i, 1, 11);
         },
         Plain},
        {[](SofaFile& file) {
             SofaFile::Variable& delay = file.variables["Data.Delay"];
             delay = {{Places(file).shape[0], 2}, {}};
             for (std::size_t i = 0; i < delay.shape[0]; ++i) {
                 const int left = static_cast<int>(i % 5), right = static_cast<int>(i % 7);
                 delay.values.insert(delay.values.end(), {1000.0 + left, 1000.0 + right});
                 Hasten(file, i, 0, left), Hasten(file, i, 1, right);
             }
         },
         Compressed}};
    for (const auto& [change, layout] : cases) {
        SCOPED_TRACE(&change - &cases[0].first);
        SofaFile file = Ball();
        change(file);
        const HrtfSet set = import(file, layout);
        ASSERT_EQ(set.size(), expected.size());
        for (std::size_t ring = 0; ring < set.size(); ++ring) {
            ASSERT_EQ(set[ring].angles.size(), expected[ring].angles.size());
            for (std::size_t i = 0; i < set[ring].angles.size(); ++i) {
                const HrtfAngle &a = set[ring].angles[i], &b = expected[ring].angles[i];
                ASSERT_EQ(a.azimuth, b.azimuth);
                for (std::size_t tap = 0; tap < b.left.size(); ++tap) {
                    ASSERT_NEAR(a.left[tap], b.left[tap], 1e-5f) << ring << ", " << i << ", " << tap;
                    ASSERT_NEAR(a.right[tap], b.right[tap], 1e-5f) << ring << ", " << i << ", " << tap;
                }
            }
        }
    }
}

TEST(SofaImport, RefusesWhatIsNoHeadInOneSentence)
{
    const auto set = [](const char* variable, std::size_t at, double value) -> Change {
        return [=](SofaFile& file) { file.variables[variable].values[at] = value; };
    };
    const auto reshape = [](const char* variable, std::vector<std::size_t> shape) -> Change {
        return [=](SofaFile& file) {
            std::size_t count = 1;
            for (const std::size_t length : shape) count *= length;
            file.variables[variable].shape = shape;
            file.variables[variable].values.resize(count);
        };
    };
    const std::pair<Change, const char*> cases[] = {
        {[](SofaFile& file) { file.attributes["SOFAConventions"] = "GeneralFIR"; }, "GeneralFIR"},
        {[](SofaFile& file) { file.attributes.clear(); }, "does not say that it is a SOFA file"},
        {[](SofaFile& file) { file.attributes["DataType"] = "TF"; }, "of type \"TF\""},
        {[](SofaFile& file) { file.variables.erase("Data.IR"); }, "no variable Data.IR"},
        {[](SofaFile& file) { file.variables.erase("SourcePosition"); }, "no variable SourcePosition"},
        {set("Data.IR", 777, std::numeric_limits<double>::quiet_NaN()), "Data.IR holds values that are no numbers"},
        {set("Data.IR", 777, 1e30), "beyond any level"},
        {set("SourcePosition", 5, std::numeric_limits<double>::infinity()), "SourcePosition holds values"},
        {set("SourcePosition", 4, 95.0), "cannot be"},
        {set("SourcePosition", 5, 0.0), "where the listener is"},
        {set("Data.SamplingRate", 0, 0.0), "sampling rate"},
        {set("Data.Delay", 1, -1e9), "delays that cannot be"},
        {[](SofaFile& file) { std::fill_n(file.variables["Data.IR"].values.begin(), 160, 0.0); }, "silent"},
        {reshape("Data.IR", {0, 2, 160}), "Data.IR is empty"},
        {reshape("Data.IR", {241, 1, 160}), "two ears"},
        {reshape("Data.IR", {241, 320}), "two ears"},
        {reshape("SourcePosition", {240, 3}), "three numbers a measurement"},
        {reshape("Data.Delay", {2, 2}), "one number an ear"},
        {reshape("ReceiverPosition", {2, 2, 1}), "three numbers an ear"},
        {[](SofaFile& file) { Places(file).attributes["Type"] = "cartesian"; }, "in units of \"degree\""},
        {[](SofaFile& file) { Places(file).attributes["Type"] = "polar"; }, "of type \"polar\""},
        {[](SofaFile& file) { Places(file).attributes["Units"] = "gon, gon, metre"; }, "in units of \"gon\""},
        // Numbers that are not what they are said to be: all of them then lie within some degrees.
        {[](SofaFile& file) { EachPlace(file, [](double* p) { p[0] *= kDegree, p[1] *= kDegree; }); }, "coordinates"},
        {[](SofaFile& file) {
             Places(file).attributes = {{"Type", "cartesian"}};
         },
         "coordinates"}};
    const Folder folder;
    const std::string input = folder / "in.sofa", output = folder / "out.kalhrtfd";
    const auto refuse = [&](const std::string& sentence) {
        WriteFile(output, "as it was");
        const Outcome outcome = RunProgram(kImport + input + " -o " + output);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.error.find(sentence), std::string::npos) << outcome.error;
        EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
        EXPECT_EQ(ReadFile(output), "as it was");
        EXPECT_EQ(folder.NumFiles(), 2u);
    };
    for (const auto& [change, sentence] : cases) {
        SCOPED_TRACE(sentence);
        SofaFile file = Ball();
        change(file);
        file.Write(input);
        refuse(sentence);
    }

    Ball().Write(input, SofaFile::Layout::Compressed);
    const std::string whole = ReadFile(input);
    for (std::size_t size = 0; size < whole.size(); size += whole.size() / 12) {
        SCOPED_TRACE(size);
        WriteFile(input, whole.substr(0, size));
        refuse("it is");
    }
    std::filesystem::remove(input);
    WriteFile(folder / "other", "");
    EXPECT_EQ(RunProgram(kImport + input + " -o " + output).exitCode, 1);
}

TEST(SofaImport, SidesAndTheirDifferenceAreThoseOfTheHead)
{
    const Folder folder;
    const std::string input = folder / "in.sofa", output = folder / "out.kalhrtfd";
    Ball(6.0).Write(input);
    const auto ild = [&](const char* side, double azimuth) {
        const Outcome outcome = RunProgram(kImport + input + " -o " + output + " --side " + side);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        EXPECT_NEAR(nlohmann::json::parse(outcome.out)["asymmetry_db"].get<double>(), 6.0, 0.05);
        const HrtfSet set = ReadHrtfSet(ReadFile(output));
        const auto energy = [](const std::vector<float>& ear) {
            double sum = 0.0;
            for (const float x : ear) sum += static_cast<double>(x) * x;
            return sum;
        };
        for (const HrtfAngle& angle : set[1].angles)
            if (angle.azimuth == azimuth) return 10.0 * std::log10(energy(angle.right) / energy(angle.left));
        return 0.0;
    };
    // The louder ear is the far one of sources on the right, the near one of those on the left.
    const double even = 0.5 * (ild("right", 60.0) + ild("left", 60.0));
    EXPECT_NEAR(ild("left", 60.0) - ild("right", 60.0), 12.0, 0.1);
    EXPECT_NEAR(ild("mean", 60.0), even, 0.3);
    for (const char* side : {"right", "left", "mean"})
        for (const double azimuth : {0.0, 180.0}) EXPECT_NEAR(ild(side, azimuth), 0.0, 1e-6);
}

} // namespace
} // namespace kal::test
