#include "tools/kiv/progress.hpp"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace kiv::cli {
namespace {

constexpr std::chrono::milliseconds kRedrawInterval(100);

}  // namespace

bool stderrIsTerminal() { return ::isatty(STDERR_FILENO) == 1; }
bool stdoutIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

Progress::Progress(std::string label, std::int64_t total, bool shown)
    : label_(std::move(label)), total_(total), shown_(shown) {
  if (shown_) draw(0);
}

Progress::~Progress() {
  // Back to the start of the line, and the line cleared.
  if (shown_) std::fputs("\r\033[K", stderr);
}

void Progress::update(std::int64_t done) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - lastDrawn_ >= kRedrawInterval) draw(done);
}

void Progress::draw(std::int64_t done) {
  const auto percent = static_cast<long long>(total_ > 0 ? 100.0 * static_cast<double>(done) / static_cast<double>(total_) : 100.0);
  std::fprintf(stderr, "\r%s: %lld of %lld (%lld%%)", label_.c_str(), static_cast<long long>(done),
               static_cast<long long>(total_), percent);
  std::fflush(stderr);
  lastDrawn_ = std::chrono::steady_clock::now();
}

}  // namespace kiv::cli
