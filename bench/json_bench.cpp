// JSON text to Values and back, against nlohmann::json in the same binary.
//
// Baselines: nlohmann::json parsing into its own document and dumping it; RapidJSON's SAX reader
// building Values through a handler (the runner-up when the reader library was chosen).
#include <benchmark/benchmark.h>
#include <rapidjson/reader.h>

#include <nlohmann/json.hpp>
#include <map>
#include <vector>

#include "bench_support.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/string.hpp"

namespace {

using kiv::bench::requireData;
using kiv::bench::sharedData;

const std::optional<std::string>& file(const char* name) {
  static std::map<std::string, std::optional<std::string>> cache;
  auto it = cache.find(name);
  if (it == cache.end()) it = cache.emplace(name, sharedData(name)).first;
  return it->second;
}

void setBytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// parseJSON, immutable containers (the default).
void BM_KivParse(benchmark::State& state, const char* name) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  for (auto _ : state) {
    kiv::Value v = kiv::parseJSON(*text);
    benchmark::DoNotOptimize(v);
  }
  setBytes(state, *text);
}

// objectFromJSONString: mutable containers.
void BM_KivParseMutable(benchmark::State& state, const char* name) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  for (auto _ : state) {
    kiv::Value v = kiv::objectFromJSONString(*text);
    benchmark::DoNotOptimize(v);
  }
  setBytes(state, *text);
}

void BM_NlohmannParse(benchmark::State& state, const char* name) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  for (auto _ : state) {
    nlohmann::json j = nlohmann::json::parse(*text);
    benchmark::DoNotOptimize(j);
  }
  setBytes(state, *text);
}

// Values built from RapidJSON's SAX events, with a stack of open containers.
class RapidJSONHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, RapidJSONHandler> {
 public:
  bool Null() { return add(kiv::Value::null()); }
  bool Bool(bool b) { return add(kiv::Value(b)); }
  bool Int(int i) { return add(kiv::Value(static_cast<long long>(i))); }
  bool Uint(unsigned u) { return add(kiv::Value(static_cast<long long>(u))); }
  bool Int64(int64_t i) { return add(kiv::Value(static_cast<long long>(i))); }
  bool Uint64(uint64_t u) { return add(kiv::Value(static_cast<unsigned long long>(u))); }
  bool Double(double d) { return add(kiv::Value(d)); }
  bool String(const char* s, rapidjson::SizeType n, bool) { return add(kiv::Value(std::string_view(s, n))); }
  bool Key(const char* s, rapidjson::SizeType n, bool) {
    key_ = kiv::String(std::string_view(s, n));
    return true;
  }
  bool StartObject() { return open(kiv::MutableDictionary::dictionary()); }
  bool EndObject(rapidjson::SizeType) { return close(); }
  bool StartArray() { return open(kiv::MutableArray::array()); }
  bool EndArray(rapidjson::SizeType) { return close(); }

  kiv::Value result;

 private:
  bool add(kiv::Value v) {
    if (stack_.empty()) {
      result = std::move(v);
    } else if (stack_.back().isDictionary()) {
      stack_.back().asMutableDictionary().setObject(std::move(v), key_);
    } else {
      stack_.back().asMutableArray().addObject(std::move(v));
    }
    return true;
  }
  bool open(kiv::Value container) {
    stack_.push_back(container);
    return true;
  }
  bool close() {
    kiv::Value done = std::move(stack_.back());
    stack_.pop_back();
    return add(std::move(done));
  }

  std::vector<kiv::Value> stack_;
  kiv::String key_;
};

void BM_RapidJSONSaxIntoValue(benchmark::State& state, const char* name) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  for (auto _ : state) {
    RapidJSONHandler handler;
    rapidjson::Reader reader;
    rapidjson::StringStream stream(text->c_str());
    reader.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(stream, handler);
    benchmark::DoNotOptimize(handler.result);
  }
  setBytes(state, *text);
}

void BM_KivWriteCompact(benchmark::State& state, const char* name) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  const kiv::Dictionary doc = kiv::objectFromJSONString(*text).asDictionary();
  for (auto _ : state) {
    kiv::String out = doc.LxJSON2StringNilOptions();
    benchmark::DoNotOptimize(out);
  }
  setBytes(state, *text);
}

void BM_NlohmannDump(benchmark::State& state, const char* name) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  const nlohmann::json doc = nlohmann::json::parse(*text);
  for (auto _ : state) {
    std::string out = doc.dump();
    benchmark::DoNotOptimize(out);
  }
  setBytes(state, *text);
}

void BM_ValueCopy(benchmark::State& state) {
  const kiv::Value doc = kiv::objectFromJSONString(R"({"a":[1,2,3],"b":"a string longer than fourteen bytes"})");
  for (auto _ : state) {
    kiv::Value copy = doc;
    benchmark::DoNotOptimize(copy);
  }
}

BENCHMARK_CAPTURE(BM_KivParse, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_KivParseMutable, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_NlohmannParse, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_RapidJSONSaxIntoValue, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_KivParse, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_KivParseMutable, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_NlohmannParse, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_RapidJSONSaxIntoValue, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_KivWriteCompact, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_NlohmannDump, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_KivWriteCompact, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_NlohmannDump, citm_catalog, "citm_catalog.json");
BENCHMARK(BM_ValueCopy);

}  // namespace

BENCHMARK_MAIN();
