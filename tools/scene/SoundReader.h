#pragma once

#include "SceneReader.h"
#include "SchemaCheck.h"

#include <map>
#include <string>
#include <vector>

namespace kalscene {

/// The frame of a time that the schema has passed: seconds, rounded to the nearest frame, or {"frame": n}.
std::int64_t FrameOf(const nlohmann::json& time, double rate);

/// Reads curves that the schema has passed: one value, a list of key points, or an object of points and interpolation.
class CurveReader {
public:
    CurveReader(double samplingRate, std::vector<Fault>& faultList) : rate(samplingRate), faults(faultList) {}

    Curve<1> Scalar(const nlohmann::json& value, const std::string& path)
    {
        return Read<1>(value, path, [](const nlohmann::json& x) { return Curve<1>::Value{x.get<double>()}; });
    }
    Curve<3> Path(const nlohmann::json& value, const std::string& path)
    {
        return Read<3>(value, path, [](const nlohmann::json& x) { return x.get<Curve<3>::Value>(); });
    }

    /// @param numbers makes a Curve<N>::Value of a key point's value, or of the key point itself when it has none
    template<std::size_t N, class Numbers>
    Curve<N> Read(const nlohmann::json& value, const std::string& path, Numbers numbers)
    {
        const bool isObject = value.is_object() && value.contains("points");
        const nlohmann::json& points = isObject ? value["points"] : value;
        if (!points.is_array() || !points[0].is_object()) return Curve<N>(numbers(points));

        Curve<N> curve;
        curve.keys.clear();
        if (isObject) curve.interpolation = InterpolationOf(value.value("interpolation", "linear"));
        for (const nlohmann::json& point : points) {
            curve.keys.push_back(
                {FrameOf(point["at"], rate), numbers(point.contains("value") ? point["value"] : point)});
            if (curve.keys.size() > 1 && curve.keys.back().frame < curve.keys[curve.keys.size() - 2].frame)
                faults.push_back(
                    {path + (isObject ? "/points/" : "/") + std::to_string(curve.keys.size() - 1) + "/at",
                     "expected a time not before that of the key point above, found " + Excerpt(point["at"])});
        }
        return curve;
    }

private:
    static Interpolation InterpolationOf(const std::string& name)
    {
        return name == "hold" ? Interpolation::Hold : name == "smooth" ? Interpolation::Smooth : Interpolation::Linear;
    }

    double rate;
    std::vector<Fault>& faults;
};

/// Reads sounds that the schema has passed, and what they play.
class SoundReader {
public:
    SoundReader(const ReadParam& readParam, CurveReader& curveReader, std::vector<Fault>& faultList)
        : param(readParam), curves(curveReader), faults(faultList)
    {
    }

    /// A fault leaves the sound incomplete.
    Sound Read(const nlohmann::json& document, const std::string& path);

    /// Every sound file once.
    std::vector<std::string> Files() const;

private:
    std::shared_ptr<const kal::Buffer> Load(const nlohmann::json& document, const std::string& path);
    void ReadPlaying(const nlohmann::json& document, const std::string& path, Sound& sound);
    void ReadStarts(const nlohmann::json& document, const std::string& path, Sound& sound);

    const ReadParam& param;
    CurveReader& curves;
    std::vector<Fault>& faults;
    std::map<std::string, std::shared_ptr<const kal::Buffer>> buffers; ///< by file; null: it cannot be read
};

} // namespace kalscene
