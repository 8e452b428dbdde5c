// The storage part of the demo: a feed's statuses and users kept in a SQLite file through
// KivContext, read back by key, by condition and all at once, and expired.
//
//   const kiv::Array statuses = feed["statuses"].asArray();
//   return timeline::runStorageDemo(statuses, "/tmp/kiv-demo.db");
//
// Header-only, for the demo program to include; the context is the process's shared one, so call
// it once per process.
#ifndef KIV_EXAMPLES_STORAGE_DEMO_HPP_
#define KIV_EXAMPLES_STORAGE_DEMO_HPP_

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include "examples/timeline_models.hpp"
#include "kiv/storage/context.hpp"

namespace timeline {

// The demo's storage configuration: two application types, rows expire after a week.
class TimelineClassMap : public kiv::KivClassMap {
  KIV_CLASS_MAP(TimelineClassMap, kiv::KivClassMap)

 public:
  static constexpr std::int64_t kStatusType = 1;
  static constexpr std::int64_t kUserType = 2;

  static double kiv_clearTimeInterval() { return 7 * 86400.0; }
  static const kiv::ModelClass* classMap(std::int64_t type) {
    if (type == kStatusType) return &TimelineStatus::kivClass();
    if (type == kUserType) return &TimelineUser::kivClass();
    return nullptr;
  }
};

namespace storage_demo {

using Clock = std::chrono::steady_clock;

inline double microsecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

inline std::int64_t rowCount(kiv::KivContext& context, const char* table) {
  const kiv::OxDbRows rows = context.storage().database()->executeQuery(std::string("SELECT count(*) AS n FROM ") + table);
  return rows.empty() ? 0 : rows.front()->longLongValueForKey("n");
}

}  // namespace storage_demo

// Stores the statuses (JSON dictionaries) and their users in the file at `dbPath`, reads them
// back and expires the older half, printing each step with its time. Returns 0, or 1 when there
// is nothing to store or a read does not find what was stored.
inline int runStorageDemo(const kiv::Array& statuses, const std::string& dbPath) {
  using storage_demo::Clock;
  using storage_demo::microsecondsSince;
  kiv::KivContext& context = kiv::KivContext::shareInstance();
  const std::int64_t statusType = TimelineClassMap::kStatusType;

  auto start = Clock::now();
  context.registerMapper(&TimelineClassMap::kivClass());
  context.registerDbPath(dbPath);
  context.registerClass({statusType, TimelineClassMap::kUserType});
  std::printf("\nStorage in %s: registered 2 types in %.0f us\n", dbPath.c_str(), microsecondsSince(start));

  start = Clock::now();
  const kiv::MutableArray models = kiv::MutableArray::array(statuses.count());
  const kiv::MutableArray users = kiv::MutableArray::array(statuses.count());
  for (const kiv::Value& json : statuses) {
    const kiv::Ref<TimelineStatus> status = kiv::kiv_modelFromDictionary<TimelineStatus>(json.asDictionary());
    if (!status) continue;
    models.addObject(kiv::Value(status));
    users.addObject(kiv::Value(status->user()));
  }
  if (models.empty()) return 1;
  const double mapped = microsecondsSince(start);
  start = Clock::now();
  context.saveModels(models);
  const double saved = microsecondsSince(start);
  start = Clock::now();
  context.quickSaveModels(users);
  std::printf("  mapped %zu statuses in %.0f us, saved them in one transaction in %.0f us, "
              "their %zu users with REPLACE in %.0f us\n",
              models.count(), mapped, saved, users.count(), microsecondsSince(start));

  const auto& first = static_cast<const TimelineStatus&>(*models.firstObject().object());
  const kiv::Value key(first.statusId());
  start = Clock::now();
  const kiv::Ref<kiv::KivModel> cached = context.modelWith(key, statusType);
  const double hit = microsecondsSince(start);
  context.storage().matchCache(TimelineStatus::kivClass()).trimToCount(0);  // as under memory pressure
  start = Clock::now();
  const kiv::Ref<kiv::KivModel> read = context.modelWith(key, statusType);
  const double miss = microsecondsSince(start);
  if (!cached || !read) return 1;
  std::printf("  status %s: from the memory cache in %.1f us (the saved instance: %s), from the table in %.1f us\n",
              key.description().c_str(), hit, cached == models.firstObject().objectAs<kiv::KivModel>() ? "yes" : "no",
              miss);
  std::printf("    %s\n", describeSetProperties(*read).c_str());

  start = Clock::now();
  const kiv::Array popular = context.modelsQuery("favoritecount >= 10", statusType);
  std::printf("  %zu statuses with 10 favorites or more, by condition, in %.0f us\n", popular.count(),
              microsecondsSince(start));
  start = Clock::now();
  const kiv::Array all = context.allModels(statusType);
  std::printf("  all %zu statuses in %.0f us\n", all.count(), microsecondsSince(start));

  // Make the older half of the rows look written two weeks ago, then expire rows older than a week.
  context.storage().database()->executeUpdate(
      "UPDATE kiv_timelinestatus_v1 SET kiv_update_time = kiv_update_time - 1209600 WHERE rowid IN "
      "(SELECT rowid FROM kiv_timelinestatus_v1 ORDER BY createdat LIMIT (SELECT count(*) / 2 FROM "
      "kiv_timelinestatus_v1))");
  const std::int64_t before = storage_demo::rowCount(context, "kiv_timelinestatus_v1");
  start = Clock::now();
  context.clearOldDatas(statusType);
  std::printf("  expired rows older than a week: %lld of %lld rows removed in %.0f us\n",
              static_cast<long long>(before - storage_demo::rowCount(context, "kiv_timelinestatus_v1")),
              static_cast<long long>(before), microsecondsSince(start));
  return all.count() >= models.count() ? 0 : 1;
}

}  // namespace timeline

#endif  // KIV_EXAMPLES_STORAGE_DEMO_HPP_
