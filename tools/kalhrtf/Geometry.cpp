#include "tools/kalhrtf/Geometry.h"

#include "tools/support/Cli.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numbers>

namespace kal::hrtf {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

/// What the three numbers of a place are multiplied by, to be radians and metres or metres alone.
struct Coordinates {
    bool areSpherical = false;
    double first = 1.0, last = 1.0;
};

double MetresOf(const std::string& unit, const char* variable)
{
    if (unit.rfind("met", 0) == 0 || unit == "m") return 1.0;
    if (unit.rfind("centimet", 0) == 0 || unit == "cm") return 0.01;
    if (unit.rfind("millimet", 0) == 0 || unit == "mm") return 0.001;
    throw tools::Failure(std::string("it gives ") + variable + " in units of \"" + unit + "\".");
}

double RadiansOf(const std::string& unit, const char* variable)
{
    if (unit.rfind("deg", 0) == 0) return kDegree;
    if (unit.rfind("rad", 0) == 0) return 1.0;
    throw tools::Failure(std::string("it gives angles of ") + variable + " in units of \"" + unit + "\".");
}

std::vector<std::string> Words(const std::string& text)
{
    std::vector<std::string> words(1);
    for (const char c : text) {
        if (std::isalpha(static_cast<unsigned char>(c)))
            words.back() += c;
        else if (!words.back().empty())
            words.emplace_back();
    }
    if (words.back().empty()) words.pop_back();
    return words;
}

// Units may stand once for all three or one by one, with commas or without; what is not said is degrees and metres.
Coordinates ReadCoordinates(const NetcdfFile& file, const char* variable)
{
    const std::string type = Lower(file.Text(variable, "Type"));
    Coordinates is;
    // A source without a type is spherical by the convention, everything else is not.
    is.areSpherical = type == "spherical" || (type.empty() && std::string(variable) == "SourcePosition");
    if (!is.areSpherical && !type.empty() && type != "cartesian")
        throw tools::Failure(std::string("it gives ") + variable + " in coordinates of type \"" + type + "\".");
    const std::vector<std::string> units = Words(Lower(file.Text(variable, "Units")));
    if (is.areSpherical) {
        is.first = units.empty() ? kDegree : RadiansOf(units.front(), variable);
        is.last = units.size() < 2 ? 1.0 : MetresOf(units.back(), variable);
    } else {
        is.first = is.last = units.empty() ? 1.0 : MetresOf(units.front(), variable);
    }
    return is;
}

Place ToPlace(const double* values, std::size_t stride, const Coordinates& is, const char* variable)
{
    const double a = values[0] * is.first, b = values[stride] * is.first, c = values[2 * stride] * is.last;
    if (!is.areSpherical) return {a, b, c};
    if (std::fabs(b) > 90.01 * kDegree || std::fabs(a) > 720.01 * kDegree || c < 0.0)
        throw tools::Failure(std::string("its ") + variable + " holds angles or distances that cannot be.");
    return {c * std::cos(b) * std::cos(a), c * std::cos(b) * std::sin(a), c * std::sin(b)};
}

const Place& At(const std::vector<Place>& places, std::size_t i)
{
    return places.size() == 1 ? places.front() : places[i];
}

std::vector<Place> PlacesOr(const NetcdfFile& file, const char* variable, std::size_t count, const Place& otherwise)
{
    return file.Has(variable) ? ReadPlaces(file, variable, count) : std::vector{otherwise};
}

} // namespace

Place operator-(const Place& a, const Place& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

double Dot(const Place& a, const Place& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

Place Cross(const Place& a, const Place& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double Length(const Place& a)
{
    return std::sqrt(Dot(a, a));
}

Place Unit(const Place& a)
{
    const double length = Length(a);
    return {a.x / length, a.y / length, a.z / length};
}

Place TowardsUnit(const Direction& direction)
{
    const double a = direction.azimuth * kDegree, e = direction.elevation * kDegree;
    return {std::cos(e) * std::cos(a), -std::cos(e) * std::sin(a), std::sin(e)};
}

double AngleBetween(const Direction& a, const Direction& b)
{
    const Place u = TowardsUnit(a), v = TowardsUnit(b);
    return std::atan2(Length(Cross(u, v)), Dot(u, v)) / kDegree; // exact for small angles too
}

std::vector<Place> ReadPlaces(const NetcdfFile& file, const char* variable, std::size_t count)
{
    const NetcdfFile::Values values = file.Read(variable);
    const auto& shape = values.shape;
    if (shape.size() != 2 || shape[1] != 3 || (shape[0] != 1 && shape[0] != count))
        throw tools::Failure(std::string("its ") + variable + " does not have three numbers a measurement.");
    const Coordinates is = ReadCoordinates(file, variable);
    std::vector<Place> places;
    for (std::size_t i = 0; i < shape[0]; ++i) places.push_back(ToPlace(&values.data[3 * i], 1, is, variable));
    return places;
}

std::vector<Head::Measurement> ReadSources(const NetcdfFile& file, std::size_t count)
{
    const auto sources = ReadPlaces(file, "SourcePosition", count);
    const auto listeners = PlacesOr(file, "ListenerPosition", count, {0.0, 0.0, 0.0});
    const auto views = PlacesOr(file, "ListenerView", count, {1.0, 0.0, 0.0});
    const auto ups = PlacesOr(file, "ListenerUp", count, {0.0, 0.0, 1.0});
    std::vector<Head::Measurement> measurements(count);
    for (std::size_t i = 0; i < count; ++i) {
        const Place towards = At(sources, i) - At(listeners, i), left = Cross(At(ups, i), At(views, i));
        const double distance = Length(towards);
        if (!(distance > 1e-6)) throw tools::Failure("it has a source where the listener is.");
        if (!(Length(left) > 1e-6)) throw tools::Failure("its listener has no view, or looks straight up.");
        const double x = Dot(towards, Unit(At(views, i))), y = Dot(towards, Unit(left)),
                     z = Dot(towards, Unit(Cross(At(views, i), left)));
        // A millionth of a degree is far below any measurement's and far above the arithmetic's error.
        const auto degrees = [](double radians) { return std::round(radians / kDegree * 1e6) / 1e6; };
        measurements[i].direction = {degrees(std::atan2(-y, x)), degrees(std::atan2(z, std::hypot(x, y)))};
        measurements[i].distance = distance;
    }
    return measurements;
}

bool AreEarsSwapped(const NetcdfFile& file)
{
    constexpr char kName[] = "ReceiverPosition";
    if (!file.Has(kName)) return false;
    const NetcdfFile::Values values = file.Read(kName);
    const auto& shape = values.shape; // receivers, coordinates, and perhaps measurements
    if (shape.size() < 2 || shape.size() > 3 || shape[0] != 2 || shape[1] != 3)
        throw tools::Failure("its ReceiverPosition does not have three numbers an ear.");
    const std::size_t stride = shape.size() == 3 ? shape[2] : 1;
    const Coordinates is = ReadCoordinates(file, kName);
    const Place first = ToPlace(values.data.data(), stride, is, kName),
                second = ToPlace(values.data.data() + 3 * stride, stride, is, kName);
    return first.y < second.y - 1e-6;
}

} // namespace kal::hrtf
