// The Kiv demo: reads a timeline feed (the sample that ships with Kiv, or any JSON file named on
// the command line, such as twitter.json), reads fields through key paths and the lenient
// getters, and writes JSON back.
//
//   kiv_demo [feed.json]
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "kiv/kiv.hpp"

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

bool readFile(const std::string& path, std::string* out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream content;
  content << in.rdbuf();
  *out = content.str();
  return true;
}

// Prints one status through key paths and lenient getters: ids may come as numbers or strings,
// counts as numbers, strings or nulls, and a missing path simply reads as nothing.
void printStatus(const kiv::Dictionary& status) {
  const long long id = kiv::kiv_valueForKey(status, "id").longLongValue();
  const kiv::Value& screenName = kiv::kiv_valueForKey(status, "user.screen_name");
  const kiv::Value& location = kiv::kiv_valueForKey(status, "user.profile.location");
  const int favorites = status.intForKey("favorite_count", -1);
  const int followers = kiv::kiv_valueForKey(status, "user.followers_count").intValue();
  const kiv::Array hashtags = kiv::kiv_valueForKey(status, "entities.hashtags").asArray();
  std::printf("  %lld @%-14s followers %-6d favorites %-5d hashtags %zu  location %s\n", id,
              screenName.description().c_str(), followers, favorites, hashtags.count(),
              location.isNull() ? "(null in the feed)" : location.description().c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string path = argc > 1 ? argv[1] : std::string(KIV_SAMPLE_DATA) + "/timeline.json";
  if (argc > 1 && (std::string(argv[1]) == "-h" || std::string(argv[1]) == "--help")) {
    std::printf("usage: %s [feed.json]\n", argv[0]);
    return 0;
  }
  std::string text;
  if (!readFile(path, &text)) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return 1;
  }

  const auto parseStart = Clock::now();
  kiv::Error error;
  const kiv::Dictionary feed = kiv::parseJSON(text, kiv::JSONContainers::kImmutable, &error).asDictionary();
  const double parseMs = millisecondsSince(parseStart);
  if (!feed) {
    std::fprintf(stderr, "%s is not a JSON object: %s\n", path.c_str(),
                 error.message.empty() ? "its top level is an array" : error.message.c_str());
    return 1;
  }
  const kiv::Array statuses = feed["statuses"].asArray();
  std::printf("Read %s: %zu bytes, %zu statuses, parsed in %.3f ms\n", path.c_str(), text.size(),
              statuses.count(), parseMs);

  std::printf("\nStatuses through key paths and lenient getters:\n");
  std::size_t shown = 0;
  for (const kiv::Value& status : statuses) {
    if (shown++ == 10) {
      std::printf("  ... and %zu more\n", statuses.count() - 10);
      break;
    }
    printStatus(status.asDictionary());
  }

  std::printf("\nThe first status written back as JSON:\n%s\n",
              statuses.firstObject().asDictionary().LxJSON2String().str().c_str());

  const auto writeStart = Clock::now();
  const kiv::String compact = feed.LxJSON2StringNilOptions();
  const double writeMs = millisecondsSince(writeStart);
  const bool sameAfterRoundTrip = kiv::parseJSON(compact.view()) == feed;
  std::printf("\nWhole feed written back: %zu bytes in %.3f ms; reads back equal: %s\n", compact.size(),
              writeMs, sameAfterRoundTrip ? "yes" : "no");
  return sameAfterRoundTrip ? 0 : 1;
}
