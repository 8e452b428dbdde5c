// Progress of long work, on stderr, only where someone watches it.
#ifndef KIV_TOOLS_KIV_PROGRESS_HPP_
#define KIV_TOOLS_KIV_PROGRESS_HPP_

#include <chrono>
#include <cstdint>
#include <string>

namespace kiv::cli {

bool stderrIsTerminal();
bool stdoutIsTerminal();

// One line "<label>: <done> of <total> (<percent>%)" on stderr, redrawn in place at most ten
// times a second while the work goes on, and erased when the progress ends. A progress that is not
// shown writes nothing at all; show it only when stderr is a terminal.
class Progress {
 public:
  Progress(std::string label, std::int64_t total, bool shown);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(std::int64_t done);

 private:
  void draw(std::int64_t done);

  const std::string label_;
  const std::int64_t total_;
  const bool shown_;
  std::chrono::steady_clock::time_point lastDrawn_;
};

}  // namespace kiv::cli

#endif  // KIV_TOOLS_KIV_PROGRESS_HPP_
