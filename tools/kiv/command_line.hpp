// The `kiv` command line: its arguments parsed, the command run, failures turned into messages
// on stderr and exit codes (see failure.hpp).
#ifndef KIV_TOOLS_KIV_COMMAND_LINE_HPP_
#define KIV_TOOLS_KIV_COMMAND_LINE_HPP_

namespace kiv::cli {

// Runs `kiv` with main's arguments and returns the exit code.
int runCommandLine(int argc, char** argv);

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_COMMAND_LINE_HPP_
