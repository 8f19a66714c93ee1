#include "tools/kalhrtf/Placement.h"

#include "tools/kalhrtf/Geometry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>

namespace kal::hrtf {
namespace {

constexpr double kSame = 0.01; // degrees

// The weights of three directions that add up to a fourth one, scaled to a sum of 1. None if it lies outside of them.
std::optional<std::array<double, 3>> Weights(const std::array<Place, 3>& corners, const Place& inside)
{
    const auto& [a, b, c] = corners;
    const double volume = Dot(a, Cross(b, c));
    if (std::fabs(volume) < 1e-9) return {}; // on one line
    std::array<double, 3> weights = {Dot(inside, Cross(b, c)) / volume, Dot(inside, Cross(c, a)) / volume,
                                     Dot(inside, Cross(a, b)) / volume};
    double sum = 0.0;
    for (double& weight : weights) {
        if (weight < -1e-6) return {};
        weight = std::max(weight, 0.0);
        sum += weight;
    }
    for (double& weight : weights) weight /= sum;
    return weights;
}

} // namespace

Signal Mixed(const std::vector<Ingredient>& ingredients)
{
    double onset = 0.0, energy = 0.0;
    for (const auto& part : ingredients) {
        onset += part.weight * part.onset;
        energy += part.weight * Energy(*part.signal);
    }
    if (ingredients.size() == 1) return *ingredients.front().signal;
    Signal mixed(ingredients.front().signal->size());
    for (const auto& part : ingredients) {
        const Signal aligned = Shifted(*part.signal, onset - part.onset);
        for (std::size_t i = 0; i < mixed.size(); ++i) mixed[i] += part.weight * aligned[i];
    }
    const double gain = std::sqrt(energy / std::max(Energy(mixed), 1e-6 * energy)); // responses may cancel
    for (double& x : mixed) x *= gain;
    return mixed;
}

Placement::Placement(const Head& head)
{
    std::map<std::pair<double, double>, const Head::Measurement*> farthest;
    for (const auto& measured : head.measurements) {
        const double a = measured.direction.azimuth, e = measured.direction.elevation;
        const bool isPole = std::fabs(e) > 90.0 - kSame; // where every azimuth is the same
        const std::pair key(isPole ? 0.0 : std::round((a == -180.0 ? 180.0 : a) / kSame), std::round(e / kSame));
        const Head::Measurement*& here = farthest[key];
        if (!here || here->distance < measured.distance) here = &measured;
    }
    for (const auto& [key, measured] : farthest)
        points.push_back({measured, Onset(measured->responses.left), Onset(measured->responses.right)});
    numNear = head.measurements.size() - points.size();
}

// Of the triangles that the nearest measurements make around a direction, the one whose corners are the nearest.
std::vector<Placement::Weighted> Placement::Enclosing(const Direction& direction) const
{
    std::vector<std::pair<double, const Point*>> nearest;
    for (const Point& point : points) nearest.emplace_back(AngleBetween(direction, point.measured->direction), &point);
    const std::size_t count = std::min<std::size_t>(16, nearest.size());
    std::partial_sort(nearest.begin(), nearest.begin() + static_cast<std::ptrdiff_t>(count), nearest.end(),
                      [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<Weighted> best = {{nearest.front().second, 1.0}};
    if (nearest.front().first < kSame) return best;

    std::vector<Place> places;
    for (std::size_t i = 0; i < count; ++i) places.push_back(TowardsUnit(nearest[i].second->measured->direction));
    double least = 3.0 * 90.0; // a triangle as large as an eighth of the sphere says nothing
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = i + 1; j < count; ++j)
            for (std::size_t k = j + 1; k < count; ++k) {
                const double sum = nearest[i].first + nearest[j].first + nearest[k].first;
                if (sum >= least) continue;
                const auto weights = Weights({places[i], places[j], places[k]}, TowardsUnit(direction));
                if (!weights) continue;
                least = sum;
                best.clear();
                for (const auto& [corner, weight] :
                     {std::pair(i, (*weights)[0]), std::pair(j, (*weights)[1]), std::pair(k, (*weights)[2])})
                    if (weight > 1e-6) best.push_back({nearest[corner].second, weight});
            }
    return best;
}

Placement::Placed Placement::At(const Direction& direction) const
{
    const std::vector<Weighted> enclosing = Enclosing(direction);
    Placed placed;
    placed.toNearest = 180.0;
    std::vector<Ingredient> left, right;
    for (const auto& [point, weight] : enclosing) {
        left.push_back({&point->measured->responses.left, point->leftOnset, weight});
        right.push_back({&point->measured->responses.right, point->rightOnset, weight});
        placed.toNearest = std::min(placed.toNearest, AngleBetween(direction, point->measured->direction));
    }
    placed.responses = {Mixed(left), Mixed(right)};
    placed.isOutside = enclosing.size() == 1 && placed.toNearest > 1.0;
    return placed;
}

} // namespace kal::hrtf
