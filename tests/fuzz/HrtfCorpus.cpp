// Writes the seeds of FuzzHrtf into a folder: small sets of every shape, sound and broken.

#include "tests/support/HrtfSet.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>

using kal::test::Append;
using kal::test::Bytes;
using kal::test::HrtfSet;

int main(int argc, char** argv)
{
    if (argc != 2) return 2;
    const std::vector<float> one = {1.0f}, two = {0.5f, -0.5f}, three(3, 0.1f), four = {0.1f, -0.2f, 0.3f, -1.0f};
    const HrtfSet sphere = {{-40.0f, {{0.0f, four, four}, {90.0f, two, two}, {180.0f, one, one}}},
                            {0.0f, {{0.0f, two, two}, {45.0f, four, four}}},
                            {90.0f, {{0.0f, std::vector<float>(32, 0.5f), std::vector<float>(32, -0.5f)}}}};
    std::string endless = "KALHRTFD";
    Append(endless, std::int32_t{0x7fffffff});
    Append(endless, 0.0f);
    std::string manyAngles = endless;
    Append(manyAngles, std::int32_t{0x7fffffff});
    Append(manyAngles, 0.0f);
    std::string longResponse = manyAngles;
    Append(longResponse, std::uint32_t{0x40000000});

    const std::map<std::string, std::string> seeds = {
        {"sphere", Bytes(sphere)},
        {"sphere-cut", Bytes(sphere).substr(0, 100)},
        {"sphere-and-more", Bytes(sphere) + std::string(5, '\0')},
        {"one-direction", Bytes({{0.0f, {{0.0f, one, one}}}})},
        {"no-ring", Bytes({})},
        {"no-angle", Bytes({{0.0f, {}}, {10.0f, {{0.0f, one, one}}}})},
        {"no-tap", Bytes({{0.0f, {{0.0f, {}, {}}}}})},
        {"three-taps", Bytes({{0.0f, {{0.0f, three, three}}}})},
        {"too-loud", Bytes({{0.0f, {{0.0f, {1.5f}, one}}}})},
        {"keys-descend", Bytes({{50.0f, {{90.0f, one, one}, {0.0f, two, two}}}, {-50.0f, {{0.0f, one, one}}}})},
        {"keys-infinite",
         Bytes({{-INFINITY, {{0.0f, one, one}, {INFINITY, two, two}}}, {INFINITY, {{0.0f, one, one}}}})},
        {"key-nan", Bytes({{0.0f, {{0.0f, one, one}, {NAN, two, two}}}})},
        {"endless-rings", endless},
        {"endless-angles", manyAngles},
        {"long-response", longResponse},
        {"signature", "KALHRTFD"},
    };
    for (const auto& [name, bytes] : seeds)
        std::ofstream(std::filesystem::path(argv[1]) / name, std::ios::binary) << bytes;
}
