// Property access through the model runtime, against direct member access in the same binary.
//
// Baselines: a plain struct with the same fields, written directly (and with one bit set beside
// the store, which is what a recording setter promises: a constant bit, and a bit chosen at run
// time), read directly and boxed into a Value, written from a Value by its lenient accessor. Ratios: recorded setter / plain store and bit;
// descriptor read / direct read and box; descriptor write / direct unbox and store.
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

void BM_DirectReadBoxed_Int64(benchmark::State& state) {
  PlainItem item;
  item.count = 42;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    kiv::Value v(item.count);
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_DirectReadBoxed_Int64);

void BM_ValueForInfo_Int64(benchmark::State& state) {
  const kiv::KivProPertyInfo& count = info("count");
  auto item = kiv::makeRef<BenchItem>();
  item->setCount(42);
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    kiv::Value v = item->kiv_valueForInfo(count);
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_ValueForInfo_Int64);

void BM_DirectReadBoxed_String(benchmark::State& state) {
  PlainItem item;
  item.title = longTitle();
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    kiv::Value v(item.title);
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_DirectReadBoxed_String);

void BM_ValueForInfo_String(benchmark::State& state) {
  const kiv::KivProPertyInfo& title = info("title");
  auto item = kiv::makeRef<BenchItem>();
  item->setTitle(longTitle());
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    kiv::Value v = item->kiv_valueForInfo(title);
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_ValueForInfo_String);

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

void BM_DirectWriteUnboxed_Int64(benchmark::State& state) {
  PlainItem item;
  const kiv::Value value(std::int64_t{42});
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    item.count = value.longLongValue();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_DirectWriteUnboxed_Int64);

void BM_SetValueForInfo_Int64(benchmark::State& state) {
  const kiv::KivProPertyInfo& count = info("count");
  auto item = kiv::makeRef<BenchItem>();
  const kiv::Value value(std::int64_t{42});
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    item->kiv_setValue(value, count);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_SetValueForInfo_Int64);

void BM_DirectWriteUnboxed_Int32(benchmark::State& state) {
  PlainItem item;
  const kiv::Value value(7);
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    item.rank = value.intValue();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_DirectWriteUnboxed_Int32);

// Includes the second, unsigned call that 32-bit signed properties get.
void BM_SetValueForInfo_Int32(benchmark::State& state) {
  const kiv::KivProPertyInfo& rank = info("rank");
  auto item = kiv::makeRef<BenchItem>();
  const kiv::Value value(7);
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    item->kiv_setValue(value, rank);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_SetValueForInfo_Int32);

void BM_DirectWriteUnboxed_Double(benchmark::State& state) {
  PlainItem item;
  const kiv::Value value(2.5);
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    item.score = value.doubleValue();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_DirectWriteUnboxed_Double);

void BM_SetValueForInfo_Double(benchmark::State& state) {
  const kiv::KivProPertyInfo& score = info("score");
  auto item = kiv::makeRef<BenchItem>();
  const kiv::Value value(2.5);
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    item->kiv_setValue(value, score);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_SetValueForInfo_Double);

void BM_DirectWriteUnboxed_String(benchmark::State& state) {
  PlainItem item;
  const kiv::Value value(longTitle());
  for (auto _ : state) {
    benchmark::DoNotOptimize(&item);
    item.title = value.asString();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_DirectWriteUnboxed_String);

void BM_SetValueForInfo_String(benchmark::State& state) {
  const kiv::KivProPertyInfo& title = info("title");
  auto item = kiv::makeRef<BenchItem>();
  const kiv::Value value(longTitle());
  for (auto _ : state) {
    benchmark::DoNotOptimize(item.get());
    item->kiv_setValue(value, title);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_SetValueForInfo_String);

}  // namespace

BENCHMARK_MAIN();
