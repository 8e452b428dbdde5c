// The exit codes of the kiv command, and the failure that ends a command with one of them.
#ifndef KIV_TOOLS_KIV_FAILURE_HPP_
#define KIV_TOOLS_KIV_FAILURE_HPP_

#include <stdexcept>
#include <string>
#include <utility>

namespace kiv::cli {

enum class ExitCode : int {
  kOk = 0,
  kUsage = 1,        // the command line is wrong
  kCannotOpen = 2,   // a file cannot be opened, read or written, or is not a SQLite database
  kNoSuchTable = 3,  // the named table does not exist, or lacks what the command needs
  kNoRow = 4,        // `get` found no row
  kFindings = 5,     // `check` found something wrong
};

// Thrown where a command cannot go on: the command line prints "kiv: <message>" on stderr and
// exits with the code. Nothing else in the command throws.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  ExitCode code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_FAILURE_HPP_
