#pragma once

#include <functional>
#include <string>

namespace kal::hrtf {

/// Runs work in a process of its own that may take 4 GiB of memory and 20 s of processor time, and returns its
/// result.
/// @throws tools::Failure with the text of the exception that work ended with, or the given one if the process did not
/// survive
std::string RunApart(const std::function<std::string()>& work, const std::string& ifItDies);

} // namespace kal::hrtf
