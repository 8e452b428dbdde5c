// The Kiv demo, end to end: a timeline feed's JSON text becomes values, then typed models, then
// rows in a SQLite file, and comes back by key, by condition and all at once.
//
//   kiv_demo [--db FILE] [FEED.json]
//
// Without arguments it reads the sample feed that ships with Kiv (examples/data/timeline.json)
// and keeps it in a fresh file in the system's temporary directory. FEED.json may be any file in
// the shape of a timeline search result, such as twitter.json.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "examples/hand_written_pipeline.hpp"
#include "examples/timeline_models.hpp"
#include "kiv/kiv.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using timeline::TimelineClassMap;
using timeline::TimelineStatus;

double microsecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

struct Options {
  std::string feed = std::string(KIV_SAMPLE_DATA) + "/timeline.json";
  std::string database;
  bool freshDatabase = true;
};

bool parseOptions(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--db" && i + 1 < argc) {
      options->database = argv[++i];
      options->freshDatabase = false;
    } else if (arg.starts_with("-")) {
      return false;
    } else {
      options->feed = arg;
    }
  }
  if (options->database.empty()) {
    options->database = (std::filesystem::temp_directory_path() / "kiv-demo.db").string();
  }
  return true;
}

bool readFile(const std::string& path, std::string* out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream content;
  content << in.rdbuf();
  *out = content.str();
  return true;
}

std::string text(const kiv::Value& value) { return value.description(); }

// 1. Values: fields read through key paths and the lenient getters. Ids may come as numbers or
// strings, counts as numbers, strings or nulls; a missing path reads as nothing.
void showValues(const kiv::Array& statuses) {
  std::printf("\n1. Values, through key paths and lenient getters\n");
  for (std::size_t i = 0; i < statuses.count() && i < 5; ++i) {
    const kiv::Dictionary status = statuses[i].asDictionary();
    const kiv::Value& location = kiv::kiv_valueForKey(status, "user.profile.location");
    std::printf("  %lld @%-14s favorites %-5d followers %-6d location %s\n",
                static_cast<long long>(kiv::kiv_valueForKey(status, "id").longLongValue()),
                text(kiv::kiv_valueForKey(status, "user.screen_name")).c_str(),
                status.intForKey("favorite_count", -1),
                kiv::kiv_valueForKey(status, "user.followers_count").intValue(),
                location.isNull() ? "null in the feed" : text(location).c_str());
  }
}

// 2. Models: every status becomes a TimelineStatus with its user, hashtags and date; only the
// properties that were set travel back into JSON.
kiv::Array mapModels(const kiv::Array& statuses) {
  std::printf("\n2. Models\n");
  const auto start = Clock::now();
  const kiv::MutableArray models = kiv::MutableArray::array(statuses.count());
  for (const kiv::Value& json : statuses) {
    models.addObject(kiv::Value(kiv::kiv_modelFromDictionary<TimelineStatus>(json.asDictionary())));
  }
  std::printf("  mapped %zu statuses into models in %.0f us\n", models.count(), microsecondsSince(start));
  if (models.empty()) return models;
  const auto& first = static_cast<const TimelineStatus&>(*models.firstObject().object());
  std::printf("  the first status: %s\n", timeline::describeSetProperties(first).c_str());
  std::printf("  its user: %s\n", timeline::describeSetProperties(*first.user()).c_str());
  std::printf("  written back as JSON:\n%s\n", kiv::kiv_dictionaryFromModel(&first).LxJSON2String().str().c_str());
  return models;
}

std::int64_t rowCount(kiv::KivContext& context, const std::string& table) {
  const kiv::OxDbRows rows = context.storage().database()->executeQuery("SELECT count(*) AS n FROM " + table);
  return rows.empty() ? 0 : rows.front()->longLongValueForKey("n");
}

// 3. Storage: the models and their users kept in the SQLite file through KivContext, read back
// by key (from the memory cache, then from the table), by condition and all at once, and expired.
bool storeModels(const kiv::Array& statuses, const kiv::Array& models, const std::string& databasePath) {
  std::printf("\n3. Storage in %s\n", databasePath.c_str());
  kiv::KivContext& context = kiv::KivContext::shareInstance();
  auto start = Clock::now();
  context.registerMapper(&TimelineClassMap::kivClass());
  context.registerDbPath(databasePath);
  context.registerClass({TimelineClassMap::kStatusType, TimelineClassMap::kUserType});
  std::printf("  opened the file and made the tables of 2 types in %.0f us\n", microsecondsSince(start));
  // Told after each committed write, on the storage's own queue.
  const kiv::KivObservation observation = context.observe([](const kiv::KivChange& change) {
    const std::string_view name = change.modelClass ? change.modelClass->name() : "every class";
    std::printf("    observer: %.*s %zu saved, %zu deleted%s\n", static_cast<int>(name.size()), name.data(),
                change.savedKeys.size(), change.deletedKeys.size(),
                change.unnamedRowsChanged ? ", and rows changed that cannot be named" : "");
  });

  const kiv::MutableArray users = kiv::MutableArray::array(models.count());
  for (const kiv::Value& model : models) users.addObject(kiv::Value(model.objectAs<TimelineStatus>()->user()));
  start = Clock::now();
  context.quickSaveModels(models);
  const double statusesSaved = microsecondsSince(start);
  start = Clock::now();
  context.saveModels(users);
  context.waitUntilBackgroundWritesFinish();  // the observer has spoken
  std::printf("  saved %zu statuses with quickSaveModels in %.0f us, and %zu users with saveModels in %.0f us\n",
              models.count(), statusesSaved, users.count(), microsecondsSince(start));
  timeline::PlainStatusTable plainTable(databasePath);
  start = Clock::now();
  const bool handWritten = plainTable.write(timeline::plainStatuses(statuses));
  std::printf("    by hand from the same parsed feed (plain structs, one prepared REPLACE each): %.0f us%s\n",
              microsecondsSince(start), handWritten ? "" : " (failed)");

  const kiv::Value key(models.firstObject().objectAs<TimelineStatus>()->statusId());
  start = Clock::now();
  const kiv::Ref<kiv::KivModel> cached = context.modelWith(key, TimelineClassMap::kStatusType);
  const double hit = microsecondsSince(start);
  context.storage().matchCache(TimelineStatus::kivClass()).trimToCount(0);  // as under memory pressure
  start = Clock::now();
  const kiv::Ref<kiv::KivModel> read = context.modelWith(key, TimelineClassMap::kStatusType);
  const double miss = microsecondsSince(start);
  if (!cached || !read) return false;
  std::printf("  status %s by key: from the memory cache in %.2f us (the saved instance: %s), "
              "from the table in %.0f us\n",
              text(key).c_str(), hit, cached == models.firstObject().objectAs<kiv::KivModel>() ? "yes" : "no", miss);
  std::printf("    read back, %s\n", timeline::describeSetProperties(*read).c_str());

  start = Clock::now();
  const kiv::Array popular = context.modelsQuery("favoritecount + retweetcount >= 10", TimelineClassMap::kStatusType);
  std::printf("  %zu statuses with at least 10 favorites and retweets, by condition, in %.0f us\n", popular.count(),
              microsecondsSince(start));
  start = Clock::now();
  const kiv::Array all = context.allModels(TimelineClassMap::kStatusType);
  std::printf("  all %zu statuses in %.0f us\n", all.count(), microsecondsSince(start));

  // Age the older half of the rows by two weeks, then expire rows older than the class map's week.
  const std::string table = "kiv_timelinestatus_v1";
  (void)context.storage().database()->executeUpdate(
      "UPDATE " + table + " SET kiv_update_time = kiv_update_time - 1209600 WHERE rowid IN (SELECT rowid FROM " +
      table + " ORDER BY createdat LIMIT (SELECT count(*) / 2 FROM " + table + "))");
  const std::int64_t before = rowCount(context, table);
  start = Clock::now();
  (void)context.clearOldDatas(TimelineClassMap::kStatusType);
  const double expired = microsecondsSince(start);
  context.waitUntilBackgroundWritesFinish();
  std::printf("  expired the rows older than a week: %lld of %lld removed in %.0f us\n",
              static_cast<long long>(before - rowCount(context, table)), static_cast<long long>(before), expired);
  return all.count() >= models.count();
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parseOptions(argc, argv, &options)) {
    std::printf("usage: %s [--db FILE] [FEED.json]\n", argv[0]);
    return 2;
  }
  std::string feedText;
  if (!readFile(options.feed, &feedText)) {
    std::fprintf(stderr, "cannot read %s\n", options.feed.c_str());
    return 1;
  }
  if (options.freshDatabase) std::filesystem::remove(options.database);

  const auto start = Clock::now();
  kiv::Error error;
  const kiv::Dictionary feed = kiv::parseJSON(feedText, kiv::JSONContainers::kImmutable, &error).asDictionary();
  if (!feed) {
    std::fprintf(stderr, "%s is not a JSON object: %s\n", options.feed.c_str(),
                 error.message.empty() ? "its top level is an array" : error.message.c_str());
    return 1;
  }
  const kiv::Array statuses = feed["statuses"].asArray();
  std::printf("Read %s: %zu bytes, %zu statuses, parsed in %.0f us\n", options.feed.c_str(), feedText.size(),
              statuses.count(), microsecondsSince(start));
  if (statuses.empty()) {
    std::fprintf(stderr, "%s has no statuses\n", options.feed.c_str());
    return 1;
  }

  showValues(statuses);
  const kiv::Array models = mapModels(statuses);
  if (!storeModels(statuses, models, options.database)) return 1;
  std::printf("\nInspect the file with the kiv command: kiv info %s\n", options.database.c_str());
  return 0;
}
