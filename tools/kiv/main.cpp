// kiv: inspect, query, check and expire a Kiv database file from the shell.
#include "tools/kiv/command_line.hpp"

int main(int argc, char** argv) { return kiv::cli::runCommandLine(argc, argv); }
