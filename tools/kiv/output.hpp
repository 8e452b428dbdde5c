// The command's data output on stdout.
#ifndef KIV_TOOLS_KIV_OUTPUT_HPP_
#define KIV_TOOLS_KIV_OUTPUT_HPP_

#include <string_view>

namespace kiv::cli {

void printOut(std::string_view text);

// Flushes stdout; throws Failure(kCannotOpen) when anything written to it was lost (a full disk,
// a closed pipe).
void finishOutput();

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_OUTPUT_HPP_
