#pragma once

namespace qfft {

/// [any] Writes "source: expression" to the standard error stream and aborts.
[[noreturn]] void AssertionFailed(const char* source, const char* expression);

} // namespace qfft

/// States an invariant of the library itself: in every build a broken one ends the process, naming the source path
/// (without its ending) and the expression. Never used for what a host can do wrong.
#define KAL_ASSERT(source, ...) ((__VA_ARGS__) ? static_cast<void>(0) : ::qfft::AssertionFailed(source, #__VA_ARGS__))
