// JSON to models and back, against nlohmann::json filling and dumping equivalent plain structs in
// the same binary, and against the same structs filled by hand through simdjson's On-Demand API
// (the floor for text to typed objects). The data is twitter.json's statuses, each with its nested
// user, hashtags and two text dates (skipped when ../shared/data is missing).
//
// Every side reads the same fields with the same date parser (kiv::DateFormatter), so the ratios
// compare JSON handling and mapping. Counters: models/s counts statuses, users and hashtags;
// time/property is the time per property set (or written).
#include <benchmark/benchmark.h>

#include <nlohmann/json.hpp>
#include <simdjson.h>

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "bench_support.hpp"
#include "examples/timeline_models.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/model_adapter.hpp"

namespace {

using kiv::bench::requireData;
using timeline::TimelineHashtag;
using timeline::TimelineStatus;
using timeline::TimelineUser;

// --- The baseline: plain structs through nlohmann::json --------------------------------------

struct PlainHashtag {
  std::string text;
  std::vector<std::int64_t> indices;
};

struct PlainUser {
  std::int64_t id = 0;
  std::string screenName, name, location, profileLocation, description;
  std::int32_t followersCount = 0, friendsCount = 0, statusesCount = 0;
  bool verified = false;
  double createdAt = 0;
};

struct PlainStatus {
  std::int64_t id = 0;
  std::string idStr, text, lang;
  double createdAt = 0;
  std::int32_t favoriteCount = 0, retweetCount = 0;
  bool favorited = false;
  std::int64_t inReplyToStatusId = 0;
  PlainUser user;
  std::vector<PlainHashtag> hashtags;
};

using nlohmann::json;

// A careful reader: a field that is missing or of another type keeps its default.
template <class T>
void read(const json& j, const char* key, T& out) {
  const auto it = j.find(key);
  if (it == j.end()) return;
  if constexpr (std::is_same_v<T, std::string>) {
    if (it->is_string()) out = it->template get_ref<const std::string&>();
  } else if constexpr (std::is_same_v<T, bool>) {
    if (it->is_boolean()) out = it->template get<bool>();
  } else {
    if (it->is_number()) out = it->template get<T>();
  }
}

double readDate(const json& j, const char* key) {
  static const kiv::DateFormatter apiFormat("EEE MMM dd HH:mm:ss Z yyyy");
  const auto it = j.find(key);
  if (it == j.end()) return 0;
  if (it->is_number()) return it->get<double>();
  if (!it->is_string()) return 0;
  return apiFormat.dateFromString(it->get_ref<const std::string&>()).timeIntervalSince1970();
}

void from_json(const json& j, PlainHashtag& h) {
  read(j, "text", h.text);
  if (const auto it = j.find("indices"); it != j.end() && it->is_array()) {
    for (const json& i : *it) h.indices.push_back(i.is_number() ? i.get<std::int64_t>() : 0);
  }
}

void from_json(const json& j, PlainUser& u) {
  read(j, "id", u.id);
  read(j, "screen_name", u.screenName);
  read(j, "name", u.name);
  read(j, "location", u.location);
  if (const auto it = j.find("profile"); it != j.end() && it->is_object()) read(*it, "location", u.profileLocation);
  read(j, "description", u.description);
  read(j, "followers_count", u.followersCount);
  read(j, "friends_count", u.friendsCount);
  read(j, "statuses_count", u.statusesCount);
  read(j, "verified", u.verified);
  u.createdAt = readDate(j, "created_at");
}

void from_json(const json& j, PlainStatus& s) {
  read(j, "id", s.id);
  read(j, "id_str", s.idStr);
  read(j, "text", s.text);
  read(j, "lang", s.lang);
  s.createdAt = readDate(j, "created_at");
  read(j, "favorite_count", s.favoriteCount);
  read(j, "retweet_count", s.retweetCount);
  read(j, "favorited", s.favorited);
  read(j, "in_reply_to_status_id", s.inReplyToStatusId);
  if (const auto it = j.find("user"); it != j.end() && it->is_object()) s.user = it->get<PlainUser>();
  if (const auto e = j.find("entities"); e != j.end() && e->is_object()) {
    if (const auto h = e->find("hashtags"); h != e->end() && h->is_array()) {
      for (const json& tag : *h) {
        if (tag.is_object()) s.hashtags.push_back(tag.get<PlainHashtag>());
      }
    }
  }
}

void to_json(json& j, const PlainHashtag& h) { j = json{{"text", h.text}, {"indices", h.indices}}; }

void to_json(json& j, const PlainUser& u) {
  j = json{{"id", u.id},
           {"screen_name", u.screenName},
           {"name", u.name},
           {"location", u.location},
           {"description", u.description},
           {"followers_count", u.followersCount},
           {"friends_count", u.friendsCount},
           {"statuses_count", u.statusesCount},
           {"verified", u.verified},
           {"created_at", u.createdAt}};
}

void to_json(json& j, const PlainStatus& s) {
  j = json{{"id", s.id},
           {"id_str", s.idStr},
           {"text", s.text},
           {"lang", s.lang},
           {"created_at", s.createdAt},
           {"favorite_count", s.favoriteCount},
           {"retweet_count", s.retweetCount},
           {"favorited", s.favorited},
           {"in_reply_to_status_id", s.inReplyToStatusId},
           {"user", s.user},
           {"entities", {{"hashtags", s.hashtags}}}};
}

std::vector<PlainStatus> plainStatuses(const json& feed) {
  std::vector<PlainStatus> out;
  for (const json& status : feed.at("statuses")) out.push_back(status.get<PlainStatus>());
  return out;
}

// --- The other baseline: the same structs filled by hand through simdjson's On-Demand API --------

namespace od = simdjson::ondemand;

// Reads a field's value into `out` when it has the type; otherwise `out` keeps its default.
void readOnDemand(od::value v, std::string& out) {
  std::string_view s;
  if (!v.get_string().get(s)) out = s;
}
void readOnDemand(od::value v, bool& out) {
  bool b;
  if (!v.get_bool().get(b)) out = b;
}
void readOnDemand(od::value v, std::int64_t& out) {
  std::int64_t i;
  if (!v.get_int64().get(i)) out = i;
}
void readOnDemand(od::value v, std::int32_t& out) {
  std::int64_t i;
  if (!v.get_int64().get(i)) out = static_cast<std::int32_t>(i);
}
double readOnDemandDate(od::value v) {
  static const kiv::DateFormatter apiFormat("EEE MMM dd HH:mm:ss Z yyyy");
  double d;
  if (!v.get_double().get(d)) return d;
  std::string_view s;
  if (v.get_string().get(s)) return 0;
  return apiFormat.dateFromString(s).timeIntervalSince1970();
}

void fillOnDemand(od::object o, PlainUser& u) {
  for (od::field f : o) {
    const std::string_view key = f.unescaped_key();
    od::value v = f.value();
    if (key == "id") readOnDemand(v, u.id);
    else if (key == "screen_name") readOnDemand(v, u.screenName);
    else if (key == "name") readOnDemand(v, u.name);
    else if (key == "location") readOnDemand(v, u.location);
    else if (key == "description") readOnDemand(v, u.description);
    else if (key == "followers_count") readOnDemand(v, u.followersCount);
    else if (key == "friends_count") readOnDemand(v, u.friendsCount);
    else if (key == "statuses_count") readOnDemand(v, u.statusesCount);
    else if (key == "verified") readOnDemand(v, u.verified);
    else if (key == "created_at") u.createdAt = readOnDemandDate(v);
    else if (key == "profile") {
      od::object profile;
      if (!v.get_object().get(profile)) {
        for (od::field p : profile) {
          if (p.unescaped_key().value() == "location") readOnDemand(p.value(), u.profileLocation);
        }
      }
    }
  }
}

void fillOnDemand(od::object o, PlainHashtag& h) {
  for (od::field f : o) {
    const std::string_view key = f.unescaped_key();
    if (key == "text") {
      readOnDemand(f.value(), h.text);
    } else if (key == "indices") {
      od::array indices;
      if (f.value().get_array().get(indices)) continue;
      for (od::value i : indices) {
        std::int64_t n = 0;
        readOnDemand(i, n);
        h.indices.push_back(n);
      }
    }
  }
}

void fillOnDemand(od::object o, PlainStatus& s) {
  for (od::field f : o) {
    const std::string_view key = f.unescaped_key();
    od::value v = f.value();
    if (key == "id") readOnDemand(v, s.id);
    else if (key == "id_str") readOnDemand(v, s.idStr);
    else if (key == "text") readOnDemand(v, s.text);
    else if (key == "lang") readOnDemand(v, s.lang);
    else if (key == "created_at") s.createdAt = readOnDemandDate(v);
    else if (key == "favorite_count") readOnDemand(v, s.favoriteCount);
    else if (key == "retweet_count") readOnDemand(v, s.retweetCount);
    else if (key == "favorited") readOnDemand(v, s.favorited);
    else if (key == "in_reply_to_status_id") readOnDemand(v, s.inReplyToStatusId);
    else if (key == "user") {
      od::object user;
      if (!v.get_object().get(user)) fillOnDemand(user, s.user);
    } else if (key == "entities") {
      od::object entities;
      if (v.get_object().get(entities)) continue;
      for (od::field e : entities) {
        od::array tags;
        if (e.unescaped_key().value() != "hashtags" || e.value().get_array().get(tags)) continue;
        for (od::value tag : tags) {
          od::object t;
          if (tag.get_object().get(t)) continue;
          fillOnDemand(t, s.hashtags.emplace_back());
        }
      }
    }
  }
}

// The parser keeps its buffers from one document to the next, as Kiv's does.
std::vector<PlainStatus> onDemandStructs(const simdjson::padded_string& text) {
  static od::parser parser;
  std::vector<PlainStatus> out;
  od::document doc = parser.iterate(text);
  for (od::value status : doc["statuses"].get_array()) {
    od::object o;
    if (status.get_object().get(o)) continue;
    fillOnDemand(o, out.emplace_back());
  }
  return out;
}

// --- Kiv ---------------------------------------------------------------------------------------

std::vector<kiv::Ref<TimelineStatus>> kivStatuses(const kiv::Dictionary& feed) {
  std::vector<kiv::Ref<TimelineStatus>> out;
  for (const kiv::Value& status : feed["statuses"].asArray()) {
    out.push_back(kiv::kiv_modelFromDictionary<TimelineStatus>(status.asDictionary()));
  }
  return out;
}

kiv::String kivText(const std::vector<kiv::Ref<TimelineStatus>>& statuses) {
  const kiv::MutableArray out = kiv::MutableArray::array(statuses.size());
  for (const auto& status : statuses) out.addObject(kiv::kiv_dictionaryFromModel(status));
  return out.LxJSON2StringNilOptions();
}

// The steps of the benchmarks, from twitter.json's text.
std::string text(const std::string& feed) { return feed; }
kiv::Dictionary kivFeed(const std::string& text) { return kiv::parseJSON(text).asDictionary(); }
std::vector<kiv::Ref<TimelineStatus>> kivModelsFromText(const std::string& text) {
  return kiv::kiv_modelsFromJSONText<TimelineStatus>(text, "statuses");
}
simdjson::padded_string paddedText(const std::string& text) { return simdjson::padded_string(text); }
json plainFeed(const std::string& text) { return json::parse(text); }
std::vector<kiv::Ref<TimelineStatus>> kivModels(const std::string& text) { return kivStatuses(kivFeed(text)); }
std::vector<PlainStatus> plainStructs(const std::string& text) { return plainStatuses(plainFeed(text)); }
std::string plainText(const std::vector<PlainStatus>& statuses) { return json(statuses).dump(); }

// --- Data and counters -------------------------------------------------------------------------

const std::optional<std::string>& twitter() {
  static const std::optional<std::string> text = kiv::bench::sharedData("twitter.json");
  return text;
}

// twitter.json's statuses repeated until the text holds at least `megabytes` MB.
std::string payload(int megabytes) {
  const kiv::Array statuses = kivFeed(*twitter())["statuses"].asArray();
  const kiv::MutableArray many = kiv::MutableArray::array();
  std::size_t size = 0;
  while (size < static_cast<std::size_t>(megabytes) << 20) {
    for (const kiv::Value& status : statuses) many.addObject(status);
    size += twitter()->size();
  }
  return kiv::MutableDictionary{{"statuses", many}}.LxJSON2StringNilOptions().str();
}

struct Counts {
  std::size_t models = 0;
  std::size_t properties = 0;  // properties set on the models
};

std::size_t setProperties(const kiv::KivModel& m) {
  return std::popcount(m.kivFlag().flag1()) + std::popcount(m.kivFlag().flag2());
}

Counts countsOf(const std::vector<kiv::Ref<TimelineStatus>>& statuses) {
  Counts c;
  for (const auto& s : statuses) {
    c.models += 1;
    c.properties += setProperties(*s);
    if (s->user()) {
      c.models += 1;
      c.properties += setProperties(*s->user());
    }
    for (const kiv::Value& tag : s->hashtags()) {
      c.models += 1;
      c.properties += setProperties(*tag.objectAs<TimelineHashtag>());
    }
  }
  return c;
}

void setCounters(benchmark::State& state, const Counts& c) {
  state.counters["models/s"] = benchmark::Counter(static_cast<double>(c.models), benchmark::Counter::kIsIterationInvariantRate);
  // Seconds per property, printed with an SI prefix ("45.2n" is 45.2 ns).
  state.counters["time/property"] = benchmark::Counter(
      static_cast<double>(c.properties), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

const Counts& twitterCounts() {
  static const Counts counts = countsOf(kivModels(*twitter()));
  return counts;
}

// --- Timing ------------------------------------------------------------------------------------

// Times `work` on what `prepare` makes of twitter.json's text (once, outside the timing) and sets
// the feed's counters; with `perByte`, also the text's bytes per iteration. Skipped when the file
// is missing.
template <class Prepare, class Work>
void timeOnTwitter(benchmark::State& state, Prepare prepare, Work work, bool perByte = false) {
  if (!requireData(state, twitter(), "twitter.json")) return;
  const auto input = prepare(*twitter());
  for (auto _ : state) {
    auto output = work(input);
    benchmark::DoNotOptimize(output);
  }
  setCounters(state, twitterCounts());
  if (perByte) state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * twitter()->size()));
}

// --- JSON text to models -----------------------------------------------------------------------

void BM_TextToModels_Kiv(benchmark::State& state) { timeOnTwitter(state, text, kivModelsFromText, true); }
BENCHMARK(BM_TextToModels_Kiv);

// Through the whole parsed dictionary, then mapped from it.
void BM_TextToModelsThroughDictionary_Kiv(benchmark::State& state) { timeOnTwitter(state, text, kivModels, true); }
BENCHMARK(BM_TextToModelsThroughDictionary_Kiv);

void BM_TextToStructs_SimdjsonOnDemand(benchmark::State& state) {
  timeOnTwitter(state, paddedText, onDemandStructs, true);
}
BENCHMARK(BM_TextToStructs_SimdjsonOnDemand);

void BM_TextToStructs_Nlohmann(benchmark::State& state) { timeOnTwitter(state, text, plainStructs, true); }
BENCHMARK(BM_TextToStructs_Nlohmann);

// --- Parsed document to models -----------------------------------------------------------------

void BM_DictionaryToModels_Kiv(benchmark::State& state) { timeOnTwitter(state, kivFeed, kivStatuses); }
BENCHMARK(BM_DictionaryToModels_Kiv);

void BM_DocumentToStructs_Nlohmann(benchmark::State& state) { timeOnTwitter(state, plainFeed, plainStatuses); }
BENCHMARK(BM_DocumentToStructs_Nlohmann);

// --- Models to JSON text -----------------------------------------------------------------------

void BM_ModelsToText_Kiv(benchmark::State& state) { timeOnTwitter(state, kivModels, kivText); }
BENCHMARK(BM_ModelsToText_Kiv);

void BM_StructsToText_Nlohmann(benchmark::State& state) { timeOnTwitter(state, plainStructs, plainText); }
BENCHMARK(BM_StructsToText_Nlohmann);

// --- Rows (no baseline: for the storage's budget) ----------------------------------------------

void BM_ModelsToRows_Kiv(benchmark::State& state) {
  if (!requireData(state, twitter(), "twitter.json")) return;
  const auto statuses = kivModels(*twitter());
  for (auto _ : state) {
    for (const auto& s : statuses) benchmark::DoNotOptimize(kiv::KivModelAdapter::DBDictionaryFromModel(s.get()));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * statuses.size()));
}
BENCHMARK(BM_ModelsToRows_Kiv);

void BM_RowsToModels_Kiv(benchmark::State& state) {
  if (!requireData(state, twitter(), "twitter.json")) return;
  std::vector<kiv::MutableDictionary> rows;
  for (const auto& s : kivModels(*twitter())) {
    rows.push_back(kiv::KivModelAdapter::DBDictionaryFromModel(s.get()));
  }
  for (auto _ : state) {
    for (const auto& row : rows) {
      benchmark::DoNotOptimize(kiv::KivModelAdapter::modelFromDBDictionary(row, TimelineStatus::kivClass()));
    }
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * rows.size()));
}
BENCHMARK(BM_RowsToModels_Kiv);

// --- Scaling: time per byte stays flat from 1 MB to 50 MB -------------------------------------

void BM_LargePayloadToModels_Kiv(benchmark::State& state) {
  if (!requireData(state, twitter(), "twitter.json")) return;
  const std::string text = payload(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto statuses = kivModels(text);
    benchmark::DoNotOptimize(statuses);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_LargePayloadToModels_Kiv)->Arg(1)->Arg(10)->Arg(50)->Unit(benchmark::kMillisecond);

// The mapping alone, from the parsed payload.
void BM_LargeDictionaryToModels_Kiv(benchmark::State& state) {
  if (!requireData(state, twitter(), "twitter.json")) return;
  const std::string text = payload(static_cast<int>(state.range(0)));
  const kiv::Dictionary feed = kivFeed(text);
  for (auto _ : state) {
    auto statuses = kivStatuses(feed);
    benchmark::DoNotOptimize(statuses);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_LargeDictionaryToModels_Kiv)->Arg(1)->Arg(25)->Arg(50)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
