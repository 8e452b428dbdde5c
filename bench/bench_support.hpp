// Helpers shared by the benchmark programs.
#ifndef KIV_BENCH_BENCH_SUPPORT_HPP_
#define KIV_BENCH_BENCH_SUPPORT_HPP_

#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <string_view>

namespace kiv::bench {

// The content of ../shared/data/<name> beside the repository, or nothing when it is missing.
std::optional<std::string> sharedData(std::string_view name);

// The content of the project's own sample data, examples/data/<name>.
std::string sampleData(std::string_view name);

// Marks the benchmark skipped (with a message) when the data is missing; returns whether it is
// there.
bool requireData(benchmark::State& state, const std::optional<std::string>& data, std::string_view name);

}  // namespace kiv::bench

#endif  // KIV_BENCH_BENCH_SUPPORT_HPP_
