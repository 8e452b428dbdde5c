#include "kiv/foundation/internal/platform.hpp"

#include <version>

#if defined(__linux__)
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

#if !defined(__cpp_lib_to_chars)
#include <locale.h>
#include <stdlib.h>

#include <cerrno>
#include <cmath>
#include <cstddef>
#include <string>
#endif

namespace kiv::platform {

void lowerCurrentThreadPriority() noexcept {
#if defined(__linux__)
  // On Linux a thread is a schedulable entity of its own, named by its thread id.
  setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 10);
#endif
}

bool utcTime(std::time_t t, std::tm& out) noexcept { return gmtime_r(&t, &out) != nullptr; }

#if defined(__cpp_lib_to_chars)

std::from_chars_result fromChars(const char* first, const char* last, double& value) noexcept {
  return std::from_chars(first, last, value);
}

std::from_chars_result fromChars(const char* first, const char* last, float& value) noexcept {
  return std::from_chars(first, last, value);
}

#else

namespace {

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// The length of the text at `first` that std::from_chars reads in the general format: an optional
// "-", then "inf", "nan" and their longer forms, left to strtod to measure, or digits with an
// optional "." and an exponent that counts only with digits. 0 when there is no number.
std::size_t numberLength(const char* first, const char* last) noexcept {
  const char* p = first;
  if (p != last && *p == '-') ++p;
  if (p != last && (*p == 'i' || *p == 'I' || *p == 'n' || *p == 'N')) return static_cast<std::size_t>(last - first);
  std::size_t digits = 0;
  while (p != last && isDigit(*p)) ++p, ++digits;
  if (p != last && *p == '.') {
    ++p;
    while (p != last && isDigit(*p)) ++p, ++digits;
  }
  if (digits == 0) return 0;
  if (p != last && (*p == 'e' || *p == 'E')) {
    const char* q = p + 1;
    if (q != last && (*q == '+' || *q == '-')) ++q;
    if (q != last && isDigit(*q)) {
      while (q != last && isDigit(*q)) ++q;
      p = q;
    }
  }
  return static_cast<std::size_t>(p - first);
}

// strtod or strtof in the "C" locale over a copy of the number's text (strtod needs a NUL and
// would also read hexadecimal and leading blanks), with std::from_chars's results.
template <class Float, class Strtod>
std::from_chars_result fromCharsInCLocale(const char* first, const char* last, Float& value,
                                          Strtod strtodInLocale) noexcept {
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t{});
  const std::size_t length = numberLength(first, last);
  if (length == 0) return {first, std::errc::invalid_argument};
  try {
    const std::string text(first, length);
    char* end = nullptr;
    errno = 0;
    const Float parsed = strtodInLocale(text.c_str(), &end, cLocale);
    const char* const stop = first + (end - text.c_str());
    if (stop == first) return {first, std::errc::invalid_argument};
    // ERANGE also marks subnormal results; from_chars keeps those.
    if (errno == ERANGE && (std::isinf(parsed) || parsed == 0)) return {stop, std::errc::result_out_of_range};
    value = parsed;
    return {stop, std::errc{}};
  } catch (...) {  // the copy's std::bad_alloc
    return {first, std::errc::not_enough_memory};
  }
}

}  // namespace

std::from_chars_result fromChars(const char* first, const char* last, double& value) noexcept {
  return fromCharsInCLocale(first, last, value, &strtod_l);
}

std::from_chars_result fromChars(const char* first, const char* last, float& value) noexcept {
  return fromCharsInCLocale(first, last, value, &strtof_l);
}

#endif

}  // namespace kiv::platform
