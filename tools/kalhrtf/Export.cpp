#include "tools/kalhrtf/Commands.h"
#include "tools/kalhrtf/Sets.h"
#include "tools/support/Cli.h"
#include "tools/support/PendingFile.h"

#include <netcdf.h>
#include <netcdf_mem.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>

namespace kal::hrtf {
namespace {

constexpr char kBuiltInTitle[] = "KEMAR dummy head, compact set";
constexpr char kBuiltInLicense[] = "Provided free with no restrictions on use, provided the authors are cited when the "
                                   "data is used in any research or "
                                   "commercial application. Copyright 1994 by the MIT Media Laboratory";
constexpr char kBuiltInReferences[] =
    "Bill Gardner and Keith Martin, HRTF Measurements of a KEMAR Dummy-Head Microphone, MIT Media Lab Perceptual "
    "Computing Technical Report 280, May 1994";

struct Arguments {
    std::string set, output, title, license;
    double rate = kUsualRate;
};

void Require(int error)
{
    if (error != NC_NOERR)
        throw tools::Failure(std::string("The SOFA file cannot be made: ") + nc_strerror(error) + ".");
}

/// A SOFA file in memory.
class SofaWriter {
public:
    SofaWriter() { Require(nc_create_mem("set", NC_NETCDF4, 1 << 20, &file)); }

    void Text(int variable, const char* name, const std::string& text) const
    {
        Require(nc_put_att_text(file, variable, name, text.size(), text.c_str()));
    }

    int Dimension(const char* name, std::size_t length) const
    {
        int id = 0;
        Require(nc_def_dim(file, name, length, &id));
        return id;
    }

    int Variable(const char* name, const std::vector<int>& dimensions, const std::vector<double>& values,
                 const char* type = nullptr, const char* units = nullptr) const
    {
        int id = 0;
        Require(nc_def_var(file, name, NC_DOUBLE, static_cast<int>(dimensions.size()), dimensions.data(), &id));
        if (values.size() > 1000) Require(nc_def_var_deflate(file, id, 1, 1, 9));
        if (type) Text(id, "Type", type);
        if (units) Text(id, "Units", units);
        Require(nc_put_var_double(file, id, values.data()));
        return id;
    }

    std::string Finish() const
    {
        NC_memio memory{};
        Require(nc_close_memio(file, &memory));
        std::string bytes(static_cast<const char*>(memory.memory), memory.size);
        std::free(memory.memory);
        return bytes;
    }

private:
    int file = 0;
};

/// All measurements of the sphere, the mirror images included.
struct Sphere {
    std::vector<double> places, samples;
    std::size_t count = 0, taps = 0;

    void Add(double azimuth, double elevation, const std::vector<float>& left, const std::vector<float>& right)
    {
        places.insert(places.end(), {azimuth, elevation, 1.0}); // the set knows no distance
        for (const auto* ear : {&left, &right}) {
            samples.insert(samples.end(), ear->begin(), ear->end());
            samples.resize(samples.size() + taps - ear->size());
        }
        ++count;
    }
};

// Azimuths of SOFA grow to the left.
Sphere SphereOf(const HrtfSet& set)
{
    Sphere sphere;
    for (const HrtfRing& ring : set)
        for (const HrtfAngle& angle : ring.angles) sphere.taps = std::max(sphere.taps, angle.left.size());
    for (const HrtfRing& ring : set) {
        for (const HrtfAngle& angle : ring.angles) {
            const double azimuth = angle.azimuth, elevation = ring.elevation;
            sphere.Add(std::fmod(360.0 - azimuth, 360.0), elevation, angle.left, angle.right);
            const bool isMiddle = azimuth == 0.0 || azimuth == 180.0 || std::fabs(elevation) == 90.0;
            if (!isMiddle) sphere.Add(azimuth, elevation, angle.right, angle.left);
        }
    }
    return sphere;
}

std::string SofaOf(const HrtfSet& set, const Arguments& arguments)
{
    const Sphere sphere = SphereOf(set);
    const bool isBuiltIn = arguments.set == kBuiltIn;
    const auto either = [&](const std::string& given, const char* builtIn, const char* otherwise) {
        return !given.empty() ? given : std::string(isBuiltIn ? builtIn : otherwise);
    };
    char now[32];
    const std::time_t time = std::time(nullptr);
    std::tm parts{};
    std::strftime(now, sizeof now, "%Y-%m-%d %H:%M:%S", gmtime_r(&time, &parts));

    SofaWriter writer;
    for (const auto& [name, text] : std::initializer_list<std::pair<const char*, std::string>>{
             {"Conventions", "SOFA"},
             {"Version", "1.0"},
             {"SOFAConventions", "SimpleFreeFieldHRIR"},
             {"SOFAConventionsVersion", "1.0"},
             {"DataType", "FIR"},
             {"RoomType", "free field"},
             {"Title", either(arguments.title, kBuiltInTitle, "KALHRTFD set")},
             {"License",
              either(arguments.license, kBuiltInLicense, "No license provided, ask the author for permission")},
             {"References", either("", kBuiltInReferences, "")},
             {"DateCreated", now},
             {"DateModified", now},
             {"APIName", "netCDF"},
             {"APIVersion", nc_inq_libvers()},
             {"ApplicationName", "kalhrtf"},
             {"ApplicationVersion", KAL_VERSION},
             {"AuthorContact", ""},
             {"Organization", ""},
             {"DatabaseName", ""},
             {"ListenerShortName", ""},
             {"Comment", "One half of the sphere is the mirror image of the other."},
             {"History", "Exported from a KALHRTFD set"},
             {"Origin", ""}})
        writer.Text(NC_GLOBAL, name, text);

    const int one = writer.Dimension("I", 1), coordinates = writer.Dimension("C", 3), ears = writer.Dimension("R", 2),
              emitters = writer.Dimension("E", 1), taps = writer.Dimension("N", sphere.taps),
              measurements = writer.Dimension("M", sphere.count);
    writer.Variable("ListenerPosition", {one, coordinates}, {0, 0, 0}, "cartesian", "metre");
    writer.Variable("ListenerView", {one, coordinates}, {1, 0, 0}, "cartesian", "metre");
    writer.Variable("ListenerUp", {one, coordinates}, {0, 0, 1});
    writer.Variable("ReceiverPosition", {ears, coordinates, one}, {0, 0.09, 0, 0, -0.09, 0}, "cartesian", "metre");
    writer.Variable("EmitterPosition", {emitters, coordinates, one}, {0, 0, 0}, "cartesian", "metre");
    writer.Variable("SourcePosition", {measurements, coordinates}, sphere.places, "spherical", "degree, degree, metre");
    writer.Variable("Data.IR", {measurements, ears, taps}, sphere.samples);
    writer.Variable("Data.SamplingRate", {one}, {arguments.rate}, nullptr, "hertz");
    writer.Variable("Data.Delay", {one, ears}, {0, 0});
    return writer.Finish();
}

} // namespace

void AddExport(CLI::App& app)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("export", "Write a set as a SOFA file, both halves of the sphere");
    command->add_option("SET", arguments->set, "the set, - for standard input, or built-in")->required();
    command->add_option("-o,--output", arguments->output, "the file to write, - for standard output")
        ->type_name("FILE")
        ->required();
    AddRate(*command, "-r,--rate", arguments->rate, "the rate that the set is for");
    command->add_option("--title", arguments->title, "its title");
    command->add_option("--license", arguments->license, "its terms of use");
    command->callback(
        [arguments] { tools::WriteFile(arguments->output, SofaOf(LoadSoundingSet(arguments->set), *arguments)); });
}

} // namespace kal::hrtf
