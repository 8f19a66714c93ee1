#pragma once

#include "tools/kalhrtf/Head.h"
#include "tools/kalhrtf/Netcdf.h"

#include <vector>

namespace kal::hrtf {

/// A place in metres, as SOFA has it: x ahead, y to the left, z up.
struct Place {
    double x, y, z;
};

Place operator-(const Place& a, const Place& b);
double Dot(const Place& a, const Place& b);
Place Cross(const Place& a, const Place& b);
double Length(const Place& a);
Place Unit(const Place& a);

/// The unit vector to a direction.
Place TowardsUnit(const Direction& direction);

/// The places that a variable of a SOFA file holds, one or `count`, whichever coordinates and units they are in.
/// @throws tools::Failure with a sentence that begins with "it"
std::vector<Place> ReadPlaces(const NetcdfFile& file, const char* variable, std::size_t count);

/// The sources as a listener hears them who may stand anywhere and look anywhere: a direction and a distance each.
std::vector<Head::Measurement> ReadSources(const NetcdfFile& file, std::size_t count);

/// True if the first of two receivers is the right ear.
bool AreEarsSwapped(const NetcdfFile& file);

} // namespace kal::hrtf
