#include "kiv/foundation/log.hpp"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <utility>

namespace kiv {
namespace {

// Never destroyed: code that runs at exit (a flush of background writes) may still log.
std::mutex& sinkMutex() {
  static std::mutex* m = new std::mutex();
  return *m;
}

LogSink& currentSink() {
  static LogSink* sink = new LogSink();
  return *sink;
}

void writeToStderr(std::string_view line) {
  std::string text(line);
  text.push_back('\n');
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

void log(std::string_view line) {
  std::lock_guard<std::mutex> lock(sinkMutex());
  if (currentSink()) {
    currentSink()(line);
  } else {
    writeToStderr(line);
  }
}

LogSink setLogSink(LogSink sink) {
  std::lock_guard<std::mutex> lock(sinkMutex());
  return std::exchange(currentSink(), std::move(sink));
}

void abortWithAssertion(std::string_view assertionText) {
  const std::string line = "Assertion failed: " + std::string(assertionText);
  {
    std::lock_guard<std::mutex> lock(sinkMutex());
    if (currentSink()) currentSink()(line);
  }
  writeToStderr(line);
  std::abort();
}

}  // namespace kiv
