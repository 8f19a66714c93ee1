#include "tools/kalhrtf/Netcdf.h"

#include "tools/support/Cli.h"

#include <netcdf.h>
#include <netcdf_mem.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

namespace kal::hrtf {
namespace {

constexpr std::size_t kMostValues = std::size_t{1} << 26;
constexpr std::size_t kLongestText = 1 << 16;

[[noreturn]] void Fail(const std::string& sentence)
{
    throw tools::Failure(sentence);
}

// Text that a terminal and JSON take, whatever stands in the file.
std::string Printable(const std::string& text)
{
    using nlohmann::json;
    std::string valid = json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace));
    std::replace_if(
        valid.begin(), valid.end(), [](unsigned char c) { return c < ' ' || c == 127; }, '?');
    return valid;
}

} // namespace

NetcdfFile::NetcdfFile(std::string_view bytes)
{
    // netCDF takes the memory as changeable, yet leaves it alone with NC_NOWRITE.
    if (nc_open_mem("head", NC_NOWRITE, bytes.size(), const_cast<char*>(bytes.data()), &file) != NC_NOERR)
        Fail("it is no netCDF-4 file, as SOFA files are, or it is damaged.");
}

NetcdfFile::~NetcdfFile()
{
    nc_close(file);
}

int NetcdfFile::Find(const char* variable) const
{
    int id = 0;
    return nc_inq_varid(file, variable, &id) == NC_NOERR ? id : -1;
}

bool NetcdfFile::Has(const char* variable) const
{
    return Find(variable) >= 0;
}

NetcdfFile::Values NetcdfFile::Read(const char* variable) const
{
    const std::string name = variable;
    const int id = Find(variable);
    if (id < 0) Fail("it has no variable " + name + ".");

    int rank = 0, dimensions[NC_MAX_VAR_DIMS];
    if (nc_inq_var(file, id, nullptr, nullptr, &rank, dimensions, nullptr) != NC_NOERR)
        Fail("its variable " + name + " is damaged.");
    Values values;
    std::size_t count = 1;
    for (int i = 0; i < rank; ++i) {
        std::size_t length = 0;
        if (nc_inq_dimlen(file, dimensions[i], &length) != NC_NOERR) Fail("its variable " + name + " is damaged.");
        if (length == 0) Fail("its variable " + name + " is empty.");
        if (length > kMostValues / count) Fail("its variable " + name + " is too large.");
        count *= length;
        values.shape.push_back(length);
    }
    values.data.resize(count);
    if (const int error = nc_get_var_double(file, id, values.data.data()))
        Fail(error == NC_ECHAR || error == NC_EBADTYPE ? "its variable " + name + " holds no numbers."
                                                       : "its variable " + name + " is damaged.");
    if (!std::all_of(values.data.begin(), values.data.end(), [](double x) { return std::isfinite(x); }))
        Fail("its variable " + name + " holds values that are no numbers.");
    return values;
}

std::string NetcdfFile::Text(const char* variable, const char* attribute) const
{
    const int id = variable ? Find(variable) : NC_GLOBAL;
    nc_type type = NC_NAT;
    std::size_t length = 0;
    if ((variable && id < 0) || nc_inq_att(file, id, attribute, &type, &length) != NC_NOERR || length > kLongestText)
        return "";
    std::string text;
    if (type == NC_CHAR) {
        text.resize(length);
        if (nc_get_att_text(file, id, attribute, text.data()) != NC_NOERR) return "";
    } else if (type == NC_STRING && length == 1) {
        char* only = nullptr;
        if (nc_get_att_string(file, id, attribute, &only) != NC_NOERR || !only) return "";
        text = only;
        nc_free_string(1, &only);
    }
    text.resize(std::min(text.size(), text.find('\0'))); // some writers count the end
    return Printable(text);
}

} // namespace kal::hrtf
