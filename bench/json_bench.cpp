// JSON text to Values and back, against nlohmann::json in the same binary.
//
// Baselines, each parsing into its own document: nlohmann::json (also dumping it), RapidJSON's
// document and simdjson's document (whose parser Kiv's reader runs on). Parsing is timed with the
// document's release, as a parsed document is released in use too.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <simdjson.h>

#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "bench_support.hpp"
#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/string.hpp"
#include "kiv/foundation/value_heap.hpp"

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

// RapidJSON's own document (default flags), with its pooled allocator.
void BM_RapidJSONDocument(benchmark::State& state, const char* name) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  for (auto _ : state) {
    rapidjson::Document d;
    d.Parse(text->c_str(), text->size());
    benchmark::DoNotOptimize(d.HasParseError());
  }
  setBytes(state, *text);
}

// simdjson's own document, from a text that already carries simdjson's padding, with one parser
// reused (its best case).
void BM_SimdjsonDocument(benchmark::State& state, const char* name) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  const simdjson::padded_string padded(*text);
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    benchmark::DoNotOptimize(parser.parse(padded).get(root));
  }
  setBytes(state, *text);
}

// The heap that one parsed document holds, in bytes ("heap"), once the parser's own buffers are
// in place (a first parse before the measurement). Blocks that Kiv keeps for reuse count as free.
std::size_t heapHeld() { return kiv::bench::heapInUse() - kiv::detail::threadCachedBytes(); }

template <class Parse>
void measureHeldHeap(benchmark::State& state, const char* name, Parse parse) {
  const auto& text = file(name);
  if (!requireData(state, text, name)) return;
  benchmark::DoNotOptimize(parse(*text));
  std::size_t held = 0;
  for (auto _ : state) {
    const std::size_t before = heapHeld();
    auto document = parse(*text);
    held = heapHeld() - before;
    benchmark::DoNotOptimize(document);
  }
  state.counters["heap"] = static_cast<double>(held);
}

void BM_HeapHeld_Kiv(benchmark::State& state, const char* name) {
  measureHeldHeap(state, name, [](const std::string& text) { return kiv::parseJSON(text); });
}

void BM_HeapHeld_Nlohmann(benchmark::State& state, const char* name) {
  measureHeldHeap(state, name, [](const std::string& text) { return nlohmann::json::parse(text); });
}

void BM_HeapHeld_RapidJSON(benchmark::State& state, const char* name) {
  measureHeldHeap(state, name, [](const std::string& text) {
    auto d = std::make_unique<rapidjson::Document>();
    d->Parse(text.c_str(), text.size());
    return d;
  });
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
BENCHMARK_CAPTURE(BM_RapidJSONDocument, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_SimdjsonDocument, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_KivParse, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_KivParseMutable, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_NlohmannParse, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_RapidJSONDocument, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_SimdjsonDocument, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_HeapHeld_Kiv, twitter, "twitter.json")->Iterations(20);
BENCHMARK_CAPTURE(BM_HeapHeld_Kiv, citm_catalog, "citm_catalog.json")->Iterations(20);
BENCHMARK_CAPTURE(BM_HeapHeld_Nlohmann, twitter, "twitter.json")->Iterations(20);
BENCHMARK_CAPTURE(BM_HeapHeld_RapidJSON, twitter, "twitter.json")->Iterations(20);
BENCHMARK_CAPTURE(BM_KivWriteCompact, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_NlohmannDump, twitter, "twitter.json");
BENCHMARK_CAPTURE(BM_KivWriteCompact, citm_catalog, "citm_catalog.json");
BENCHMARK_CAPTURE(BM_NlohmannDump, citm_catalog, "citm_catalog.json");
BENCHMARK(BM_ValueCopy);

}  // namespace

BENCHMARK_MAIN();
