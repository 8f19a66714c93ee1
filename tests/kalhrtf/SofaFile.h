#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

namespace kal::test {

/// A small head, and the ways in which a SOFA file may hold it.
struct SofaFile {
    struct Variable {
        std::vector<std::size_t> shape;
        std::vector<double> values;
        std::map<std::string, std::string> attributes = {};
    };

    std::map<std::string, std::string> attributes;
    std::map<std::string, Variable> variables;

    /// How the bytes are laid out.
    enum class Layout { Plain, Chunked, Compressed, Strings, Float, LatestHdf5 };

    void Write(const std::string& path, Layout layout = Layout::Plain) const;
};

/// A rigid ball with two ears, 48 kHz, measured every 15 degrees all around at 11 elevations; ear, nose and all are
/// symmetric but for what `lopsided` decibels the left ear is louder by.
SofaFile Ball(double lopsided = 0.0);

} // namespace kal::test
