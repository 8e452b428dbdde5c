// The log sink: one line per message, to stderr unless the application (or a test) replaces it.
//
// Every layer that reports something reports it here, one complete line per call, without the
// trailing newline. The sink may be called from any thread; calls are serialised.
#ifndef KIV_FOUNDATION_LOG_HPP_
#define KIV_FOUNDATION_LOG_HPP_

#include <functional>
#include <string_view>

namespace kiv {

// Receives each line, without its newline.
using LogSink = std::function<void(std::string_view line)>;

// Writes one line through the current sink.
void log(std::string_view line);

// Replaces the sink and returns the previous one; an empty function restores stderr.
LogSink setLogSink(LogSink sink);

// Prints the text of a failed assertion through the log sink and to stderr, then stops the
// process with std::abort(). Used where the library must not go on (a reentrant call that would
// deadlock, a statement that fails while crashing on errors is requested).
[[noreturn]] void abortWithAssertion(std::string_view assertionText);

}  // namespace kiv

#endif  // KIV_FOUNDATION_LOG_HPP_
