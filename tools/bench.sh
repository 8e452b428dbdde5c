#!/usr/bin/env bash
# Builds the benchmarks in Release, runs those that tools/bench_figures.tsv names (medians of
# 5 repetitions, each baseline in the same binary as the Kiv code it is compared with) and writes
# the report docs/BENCHMARKS.md with its chart docs/benchmarks.png.
#
#   bash tools/bench.sh                      # the storage benchmarks at 10^3 to 10^5 models
#   KIV_BENCH_LARGE=1 bash tools/bench.sh    # and at 10^6
#
# Benchmarks of twitter.json and citm_catalog.json read them from ../shared/data and are left out
# of the report when the files are missing. The build and the runs' JSON are in build/bench/.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
# The benchmarks' libraries are among the test packages; the report needs Python and gnuplot.
kiv_install_missing "${kiv_build_packages[@]}" "${kiv_test_packages[@]}" python3 gnuplot-nox

dir="$kiv_root/build/bench"
cmake -S "$kiv_root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKIV_BUILD_BENCHMARKS=ON \
  -DKIV_BUILD_TESTS=OFF -DKIV_BUILD_EXAMPLES=OFF -DKIV_BUILD_TOOLS=OFF >/dev/null
mapfile -t programs < <(grep -v '^#' "$kiv_root/tools/bench_figures.tsv" | cut -f2 | sort -u)
cmake --build "$dir" -j "$kiv_jobs" --target "${programs[@]}"
python3 "$kiv_root/tools/bench_report.py" "$dir"
