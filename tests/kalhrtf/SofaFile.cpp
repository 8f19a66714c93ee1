#include "tests/kalhrtf/SofaFile.h"

#include <hdf5.h>
#include <hdf5_hl.h>
#include <netcdf.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace kal::test {
namespace {

void Require(bool done)
{
    if (!done) throw std::runtime_error("A test file cannot be written");
}

void PutText(int file, int variable, const std::string& name, const std::string& text, bool asString)
{
    const char* string = text.c_str();
    Require((asString ? nc_put_att_string(file, variable, name.c_str(), 1, &string)
                      : nc_put_att_text(file, variable, name.c_str(), text.size(), string)) == NC_NOERR);
}

// As software writes that knows nothing of netCDF: newest version of the format, no named dimensions.
void WriteHdf5(const SofaFile& sofa, const std::string& path)
{
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access);
    for (const auto& [name, text] : sofa.attributes)
        Require(H5LTset_attribute_string(file, "/", name.c_str(), text.c_str()) >= 0);
    for (const auto& [name, variable] : sofa.variables) {
        const std::vector<hsize_t> shape(variable.shape.begin(), variable.shape.end());
        Require(H5LTmake_dataset_double(file, name.c_str(), static_cast<int>(shape.size()), shape.data(),
                                        variable.values.data()) >= 0);
        for (const auto& [key, text] : variable.attributes)
            Require(H5LTset_attribute_string(file, name.c_str(), key.c_str(), text.c_str()) >= 0);
    }
    H5Fclose(file);
    H5Pclose(access);
}

} // namespace

void SofaFile::Write(const std::string& path, Layout layout) const
{
    if (layout == Layout::LatestHdf5) return WriteHdf5(*this, path);
    int file = 0;
    Require(nc_create(path.c_str(), NC_NETCDF4 | NC_CLOBBER, &file) == NC_NOERR);
    for (const auto& [name, text] : attributes) PutText(file, NC_GLOBAL, name, text, layout == Layout::Strings);
    std::map<std::size_t, int> dimensions;
    for (const auto& [name, variable] : variables) {
        std::vector<int> ids;
        for (const std::size_t length : variable.shape) {
            const auto [known, isNew] = dimensions.try_emplace(length, 0);
            std::string dimension = "D"; // a length of 0 makes it unlimited
            dimension += std::to_string(length);
            if (isNew) Require(nc_def_dim(file, dimension.c_str(), length, &known->second) == NC_NOERR);
            ids.push_back(known->second);
        }
        int id = 0;
        const nc_type type = layout == Layout::Float ? NC_FLOAT : NC_DOUBLE;
        Require(nc_def_var(file, name.c_str(), type, static_cast<int>(ids.size()), ids.data(), &id) == NC_NOERR);
        std::vector<std::size_t> chunks = variable.shape;
        chunks.front() = std::max<std::size_t>(chunks.front() / 3, 1);
        if (layout == Layout::Chunked) Require(nc_def_var_chunking(file, id, NC_CHUNKED, chunks.data()) == NC_NOERR);
        if (layout == Layout::Compressed) Require(nc_def_var_deflate(file, id, 1, 1, 9) == NC_NOERR);
        for (const auto& [key, text] : variable.attributes) PutText(file, id, key, text, layout == Layout::Strings);
        if (!variable.values.empty()) Require(nc_put_var_double(file, id, variable.values.data()) == NC_NOERR);
    }
    Require(nc_close(file) == NC_NOERR);
}

SofaFile Ball(double lopsided)
{
    constexpr double kRate = 48000.0, kRadius = 0.0875, kSound = 343.0, kDegree = std::numbers::pi / 180.0;
    constexpr std::size_t kTaps = 160;
    std::vector<double> places, samples;
    for (int elevation = -60; elevation <= 90; elevation += 15) {
        for (int azimuth = 0; azimuth < (elevation == 90 ? 15 : 360); azimuth += 15) {
            places.insert(places.end(), {static_cast<double>(azimuth), static_cast<double>(elevation), 1.5});
            for (const double side : {1.0, -1.0}) {
                const double towards = side * std::sin(azimuth * kDegree) * std::cos(elevation * kDegree);
                const double angle = std::acos(std::clamp(towards, -1.0, 1.0)); // from the ear
                // Woodworth: straight to the near side, around the ball to the far side.
                const double path =
                    angle < std::numbers::pi / 2 ? 1.0 - std::cos(angle) : 1.0 + angle - std::numbers::pi / 2;
                const double arrival = 20.0 + path * kRadius / kSound * kRate;
                const double width = 0.9 + 0.4 * angle,
                             level = (0.3 - 0.08 * angle) * std::pow(10.0, side > 0.0 ? lopsided / 20.0 : 0.0);
                for (std::size_t i = 0; i < kTaps; ++i) {
                    const double x = (static_cast<double>(i) - arrival) / width;
                    samples.push_back(level * (1.0 - x * x) * std::exp(-x * x / 2.0));
                }
            }
        }
    }
    const std::size_t count = places.size() / 3;
    const auto cartesian = [](double x, double y, double z) {
        return SofaFile::Variable{{1, 3}, {x, y, z}, {{"Type", "cartesian"}, {"Units", "metre"}}};
    };
    SofaFile file;
    file.attributes = {
        {"Conventions", "SOFA"},           {"Version", "1.0"},  {"SOFAConventions", "SimpleFreeFieldHRIR"},
        {"SOFAConventionsVersion", "1.0"}, {"DataType", "FIR"}, {"DatabaseName", "Ball"}};
    file.variables = {
        {"ListenerPosition", cartesian(0.0, 0.0, 0.0)},
        {"ListenerView", cartesian(1.0, 0.0, 0.0)},
        {"ListenerUp", {{1, 3}, {0.0, 0.0, 1.0}}},
        {"ReceiverPosition",
         {{2, 3, 1}, {0.0, 0.09, 0.0, 0.0, -0.09, 0.0}, {{"Type", "cartesian"}, {"Units", "metre"}}}},
        {"SourcePosition", {{count, 3}, places, {{"Type", "spherical"}, {"Units", "degree, degree, metre"}}}},
        {"Data.IR", {{count, 2, kTaps}, samples}},
        {"Data.SamplingRate", {{1}, {kRate}, {{"Units", "hertz"}}}},
        {"Data.Delay", {{1, 2}, {0.0, 0.0}}}};
    return file;
}

} // namespace kal::test
