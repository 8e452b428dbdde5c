// Property access through the model runtime, against direct member access in the same binary.
//
// Baselines: a plain struct with the same fields, written directly (and with one bit set beside
// the store, which is what a recording setter promises: a constant bit, and a bit chosen at run
// time), read directly and boxed into a Value, written from a Value by its lenient accessor.
// Ratios: recorded setter / plain store and bit; descriptor read / direct read and box;
// descriptor write / direct unbox and store.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "bench_support.hpp"
#include "kiv/model/model.hpp"

namespace {

class BenchItem : public kiv::KivModel {
  KIV_MODEL(BenchItem, kiv::KivModel)
  KIV_PROPERTY(std::int64_t, count, setCount)
  KIV_PROPERTY(std::int32_t, rank, setRank)
  KIV_PROPERTY(double, score, setScore)
  KIV_PROPERTY(kiv::String, title, setTitle)
};

struct PlainItem {
  std::int64_t count = 0;
  std::int32_t rank = 0;
  double score = 0;
  kiv::String title;
  std::uint64_t flags = 0;
};

const kiv::KivProPertyInfo& info(std::string_view name) {
  return *BenchItem::kiv_classInfo().propDict().objectForKey(name);
}

const kiv::String& longTitle() {
  static const kiv::String title("a title longer than fourteen bytes");
  return title;
}

// The properties read and written: the PlainItem field, how a Value is read into it, the
// BenchItem property and the value.
struct Int64Field {
  static constexpr auto field = &PlainItem::count;
  static constexpr auto read = &kiv::Value::longLongValue;
  static constexpr const char* property = "count";
  static kiv::Value value() { return kiv::Value(std::int64_t{42}); }
};
// A 32-bit signed property gets the second, unsigned call too.
struct Int32Field {
  static constexpr auto field = &PlainItem::rank;
  static constexpr auto read = &kiv::Value::intValue;
  static constexpr const char* property = "rank";
  static kiv::Value value() { return kiv::Value(7); }
};
struct DoubleField {
  static constexpr auto field = &PlainItem::score;
  static constexpr auto read = &kiv::Value::doubleValue;
  static constexpr const char* property = "score";
  static kiv::Value value() { return kiv::Value(2.5); }
};
struct StringField {
  static constexpr auto field = &PlainItem::title;
  static constexpr auto read = &kiv::Value::asString;
  static constexpr const char* property = "title";
  static kiv::Value value() { return kiv::Value(longTitle()); }
};

// --- Setter ---------------------------------------------------------------------------------

void BM_PlainStore(benchmark::State& state) {
  PlainItem item;
  std::int64_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    item.count = ++i;
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_PlainStore);

void BM_PlainStoreAndBit(benchmark::State& state) {
  PlainItem item;
  std::int64_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    item.count = ++i;
    item.flags |= 1;
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_PlainStoreAndBit);

// The bit chosen at run time, as a recording setter's is (merge indexes are assigned when the
// class is first described): the word and the mask are loaded on every store.
void BM_PlainStoreAndRuntimeBit(benchmark::State& state) {
  PlainItem item;
  std::uint64_t words[2] = {0, 0};
  std::uint64_t mask = 1;
  std::uint8_t word = 0;
  std::int64_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    benchmark::DoNotOptimize(&mask);
    benchmark::DoNotOptimize(&word);
    benchmark::DoNotOptimize(words);
    words[word] |= mask;
    item.count = ++i;
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_PlainStoreAndRuntimeBit);

void BM_RecordedSetter(benchmark::State& state) {
  BenchItem::kiv_classInfo();
  auto item = kiv::makeRef<BenchItem>();
  std::int64_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    item->setCount(++i);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_RecordedSetter);

// --- Reads ----------------------------------------------------------------------------------

template <class Read>
void BM_DirectReadBoxed(benchmark::State& state) {
  PlainItem item;
  item.*Read::field = (Read::value().*Read::read)();
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    kiv::Value v(item.*Read::field);
    benchmark::DoNotOptimize(v);
  }
}

template <class Read>
void BM_ValueForInfo(benchmark::State& state) {
  const kiv::KivProPertyInfo& descriptor = info(Read::property);
  auto item = kiv::makeRef<BenchItem>();
  item->kiv_setValue(Read::value(), descriptor);
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    kiv::Value v = item->kiv_valueForInfo(descriptor);
    benchmark::DoNotOptimize(v);
  }
}

BENCHMARK_TEMPLATE(BM_DirectReadBoxed, Int64Field);
BENCHMARK_TEMPLATE(BM_ValueForInfo, Int64Field);
BENCHMARK_TEMPLATE(BM_DirectReadBoxed, StringField);
BENCHMARK_TEMPLATE(BM_ValueForInfo, StringField);

// Key-value access by name, for comparison (not a target).
void BM_ValueForKey_Int64(benchmark::State& state) {
  auto item = kiv::makeRef<BenchItem>();
  item->setCount(42);
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    kiv::Value v = item->valueForKey("count");
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_ValueForKey_Int64);

// --- Writes ---------------------------------------------------------------------------------

template <class Written>
void BM_DirectWriteUnboxed(benchmark::State& state) {
  PlainItem item;
  const kiv::Value value = Written::value();
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    item.*Written::field = (value.*Written::read)();
    benchmark::ClobberMemory();
  }
}

template <class Written>
void BM_SetValueForInfo(benchmark::State& state) {
  const kiv::KivProPertyInfo& descriptor = info(Written::property);
  auto item = kiv::makeRef<BenchItem>();
  const kiv::Value value = Written::value();
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    item->kiv_setValue(value, descriptor);
    benchmark::ClobberMemory();
  }
}

BENCHMARK_TEMPLATE(BM_DirectWriteUnboxed, Int64Field);
BENCHMARK_TEMPLATE(BM_SetValueForInfo, Int64Field);
BENCHMARK_TEMPLATE(BM_DirectWriteUnboxed, Int32Field);
BENCHMARK_TEMPLATE(BM_SetValueForInfo, Int32Field);
BENCHMARK_TEMPLATE(BM_DirectWriteUnboxed, DoubleField);
BENCHMARK_TEMPLATE(BM_SetValueForInfo, DoubleField);
BENCHMARK_TEMPLATE(BM_DirectWriteUnboxed, StringField);
BENCHMARK_TEMPLATE(BM_SetValueForInfo, StringField);

}  // namespace

BENCHMARK_MAIN();
