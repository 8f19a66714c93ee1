#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kal::hrtf {

/// What netCDF reads from a file in memory. Every failure is a tools::Failure whose sentence begins with "it".
class NetcdfFile {
public:
    /// A variable's values, the last dimension running fastest.
    struct Values {
        std::vector<std::size_t> shape;
        std::vector<double> data;
    };

    explicit NetcdfFile(std::string_view bytes); ///< which must outlive it
    ~NetcdfFile();
    NetcdfFile(const NetcdfFile&) = delete;
    NetcdfFile& operator=(const NetcdfFile&) = delete;

    bool Has(const char* variable) const;

    /// All values of a variable, at most 2^26. They are finite.
    Values Read(const char* variable) const;

    /// A text of a variable, or of the file itself for a null variable. What is missing or no text is empty.
    std::string Text(const char* variable, const char* attribute) const;

private:
    int Find(const char* variable) const;

    int file = 0;
};

} // namespace kal::hrtf
