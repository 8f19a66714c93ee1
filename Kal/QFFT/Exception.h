#pragma once

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <string>

namespace qfft {

/// A standard exception whose text is formatted as by printf, cut at 4095 characters. Tag makes each layer's type its
/// own, so that a handler can tell them apart.
template<class Tag>
class PrintfException : public std::exception {
public:
    /// [control] @param format as printf takes it, with what it names behind
    [[gnu::format(printf, 2, 3)]] explicit PrintfException(const char* format, ...)
    {
        char buffer[4096];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(buffer, sizeof buffer, format, arguments);
        va_end(arguments);
        text = buffer;
    }

    const char* what() const noexcept override { return text.c_str(); }

private:
    std::string text;
};

/// Thrown for a transform that cannot be built.
using Exception = PrintfException<struct ExceptionTag>;

} // namespace qfft
