#!/usr/bin/env bash
# Installs what is missing, builds Kiv with AddressSanitizer and UndefinedBehaviorSanitizer and
# runs every test through CTest; then builds the concurrency tests with ThreadSanitizer and runs
# them; then checks that the benchmarks build and that an installed Kiv works with find_package.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
kiv_install_missing "${kiv_build_packages[@]}" "${kiv_test_packages[@]}"

build="$kiv_root/build"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"

echo "== Unit tests (AddressSanitizer, UndefinedBehaviorSanitizer)"
cmake -S "$kiv_root" -B "$build/asan" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DKIV_SANITIZE=address,undefined -DKIV_BUILD_BENCHMARKS=ON >/dev/null
cmake --build "$build/asan" -j "$kiv_jobs"
ctest --test-dir "$build/asan" -j "$kiv_jobs" --output-on-failure

echo "== Concurrency tests (ThreadSanitizer)"
cmake -S "$kiv_root" -B "$build/tsan" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DKIV_SANITIZE=thread -DKIV_ONLY_CONCURRENCY_TESTS=ON -DKIV_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build/tsan" -j "$kiv_jobs"
ctest --test-dir "$build/tsan" -j "$kiv_jobs" --output-on-failure -L concurrency

echo "== All tests passed"
