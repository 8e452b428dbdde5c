// What an application would write by hand instead of Kiv's models and storage, for the demo to
// time beside them: the statuses' flat fields picked from the parsed feed into plain structs, and
// written with one prepared REPLACE per row in one transaction, into a table of its own in the
// same file. It keeps less than Kiv does (no user, no hashtags, the date as the feed's text).
#ifndef KIV_EXAMPLES_HAND_WRITTEN_PIPELINE_HPP_
#define KIV_EXAMPLES_HAND_WRITTEN_PIPELINE_HPP_

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kiv/kiv.hpp"

namespace timeline {

struct PlainStatus {
  std::int64_t id = 0;
  std::string text;
  std::string lang;
  std::string createdAt;
  std::int64_t favorites = 0;
  std::int64_t retweets = 0;
  std::int64_t userId = 0;
};

inline std::vector<PlainStatus> plainStatuses(const kiv::Array& statuses) {
  std::vector<PlainStatus> out;
  out.reserve(statuses.count());
  for (const kiv::Value& json : statuses) {
    const kiv::Dictionary status = json.asDictionary();
    out.push_back({status["id"].longLongValue(), status["text"].description(), status["lang"].description(),
                   status["created_at"].description(), status["favorite_count"].longLongValue(),
                   status["retweet_count"].longLongValue(), kiv::kiv_valueForKey(status, "user.id").longLongValue()});
  }
  return out;
}

// A connection to the file with the table "hand_written_statuses"; closes when it goes.
class PlainStatusTable {
 public:
  explicit PlainStatusTable(const std::string& path) {
    ok_ = sqlite3_open(path.c_str(), &db_) == SQLITE_OK &&
          sqlite3_exec(db_,
                       "CREATE TABLE IF NOT EXISTS hand_written_statuses (id INTEGER PRIMARY KEY, text TEXT, "
                       "lang TEXT, created_at TEXT, favorites INTEGER, retweets INTEGER, user_id INTEGER)",
                       nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  ~PlainStatusTable() { sqlite3_close(db_); }
  PlainStatusTable(const PlainStatusTable&) = delete;
  PlainStatusTable& operator=(const PlainStatusTable&) = delete;

  // Writes the statuses in one transaction; false when SQLite fails.
  bool write(const std::vector<PlainStatus>& statuses) {
    bool ok = ok_ && sqlite3_exec(db_, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_stmt* replace = nullptr;
    ok = ok && sqlite3_prepare_v2(db_, "REPLACE INTO hand_written_statuses VALUES (?,?,?,?,?,?,?)", -1, &replace,
                                  nullptr) == SQLITE_OK;
    for (const PlainStatus& status : statuses) {
      if (!ok) break;
      sqlite3_bind_int64(replace, 1, status.id);
      sqlite3_bind_text(replace, 2, status.text.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(replace, 3, status.lang.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(replace, 4, status.createdAt.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_int64(replace, 5, status.favorites);
      sqlite3_bind_int64(replace, 6, status.retweets);
      sqlite3_bind_int64(replace, 7, status.userId);
      ok = sqlite3_step(replace) == SQLITE_DONE;
      sqlite3_reset(replace);
    }
    sqlite3_finalize(replace);
    return sqlite3_exec(db_, ok ? "COMMIT" : "ROLLBACK", nullptr, nullptr, nullptr) == SQLITE_OK && ok;
  }

 private:
  sqlite3* db_ = nullptr;
  bool ok_ = false;
};

}  // namespace timeline

#endif  // KIV_EXAMPLES_HAND_WRITTEN_PIPELINE_HPP_
