#!/usr/bin/env bash
# Installs what is missing, then builds Kiv with both compilers and both standard libraries and
# runs its tests, warnings being errors in every build:
#   1. GCC, libstdc++, AddressSanitizer and UndefinedBehaviorSanitizer: the library, the demo and
#      the benchmarks; every test runs (unit, concurrency, demo, installed package).
#   2. clang, libstdc++, the same sanitizers, the same targets and tests, and the fuzz targets
#      (fuzz/): each replays its checked-in corpus and fuzzes for a few seconds, as a test.
#   3. GCC, ThreadSanitizer: the concurrency tests.
#   4. clang, libc++, Release: the library, the demo and every test, with GoogleTest built from its
#      sources. Not the benchmarks: Debian's Google Benchmark is built against libstdc++.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
kiv_install_missing "${kiv_build_packages[@]}" "${kiv_test_packages[@]}"

build="$kiv_root/build"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
clang=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++)

# kiv_build <title> <build directory> <cmake arguments...>: configures and builds.
kiv_build() {
  echo "== $1"
  local dir="$build/$2"
  shift 2
  cmake -S "$kiv_root" -B "$dir" -G Ninja -DKIV_WARNINGS_AS_ERRORS=ON "$@" >/dev/null
  cmake --build "$dir" -j "$kiv_jobs"
}

# kiv_run <build directory> <ctest arguments...>: runs the tests and reports the stage's time.
kiv_run() {
  ctest --test-dir "$build/$1" -j "$kiv_jobs" --output-on-failure "${@:2}"
  echo "== done in ${SECONDS}s so far"
}

kiv_build "GCC: every test (AddressSanitizer, UndefinedBehaviorSanitizer)" asan \
  -DCMAKE_BUILD_TYPE=Debug -DKIV_SANITIZE=address,undefined -DKIV_BUILD_BENCHMARKS=ON
kiv_run asan

# The fuzz targets share this build: its library is also compiled for the fuzzer's coverage.
kiv_build "clang: every test and the fuzz targets (AddressSanitizer, UndefinedBehaviorSanitizer)" clang-asan \
  "${clang[@]}" -DCMAKE_BUILD_TYPE=Debug -DKIV_SANITIZE=address,undefined -DKIV_BUILD_BENCHMARKS=ON \
  -DKIV_BUILD_FUZZERS=ON
kiv_run clang-asan

kiv_build "GCC: concurrency tests (ThreadSanitizer)" tsan \
  -DCMAKE_BUILD_TYPE=Debug -DKIV_SANITIZE=thread -DKIV_ONLY_CONCURRENCY_TESTS=ON -DKIV_BUILD_EXAMPLES=OFF
kiv_run tsan -L concurrency

kiv_build "clang with libc++: every test (Release)" clang-libcxx "${clang[@]}" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS=-stdlib=libc++ -DKIV_GOOGLETEST_SOURCE_DIR=/usr/src/googletest
kiv_run clang-libcxx

echo "== All tests passed"
