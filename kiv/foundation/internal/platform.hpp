// The few operating-system and standard-library services that Kiv needs beyond portable C++20,
// each behind one function. Everything platform-specific lives in platform.cpp; the rest of the
// library calls only these.
#ifndef KIV_FOUNDATION_INTERNAL_PLATFORM_HPP_
#define KIV_FOUNDATION_INTERNAL_PLATFORM_HPP_

#include <charconv>
#include <ctime>

namespace kiv::platform {

// Lowers the calling thread's scheduling priority below that of the application's own threads,
// for background work. Best effort: where the platform offers no per-thread priority (only Linux
// and Android do here), the thread keeps its priority.
void lowerCurrentThreadPriority() noexcept;

// The calendar fields of `t` in UTC; false (and `out` unchanged) when they cannot be represented.
bool utcTime(std::time_t t, std::tm& out) noexcept;

// std::from_chars for floating point in the general format: the longest decimal number at
// `first` ("." as separator, optional exponent, no leading "+"), read as the nearest value.
// ec is std::errc::invalid_argument when there is no number and std::errc::result_out_of_range
// (with `value` unchanged) when it overflows or underflows to zero. The standard library's own
// where it has one; elsewhere (libc++ before version 17) strtod in the "C" locale.
std::from_chars_result fromChars(const char* first, const char* last, double& value) noexcept;
std::from_chars_result fromChars(const char* first, const char* last, float& value) noexcept;

}  // namespace kiv::platform

#endif  // KIV_FOUNDATION_INTERNAL_PLATFORM_HPP_
