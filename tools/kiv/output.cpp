#include "tools/kiv/output.hpp"

#include <cstdio>

#include "tools/kiv/failure.hpp"

namespace kiv::cli {

void printOut(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

void finishOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    throw Failure(ExitCode::kCannotOpen, "cannot write the output");
  }
}

}  // namespace kiv::cli
