#!/usr/bin/env bash
# Builds the fuzz targets (fuzz/*_fuzzer.cpp: clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for SECONDS (default 60), one after the other, from its
# checked-in corpus. Prints each target's executions and any crash; exits with 1 when one crashed.
#
#   bash tools/fuzz.sh [SECONDS]
#
# Everything goes under build/fuzz/: the build, the inputs each run adds (corpus/<target>/; the
# checked-in corpus in fuzz/corpus/ is only read), crashing inputs (crashes/<target>/) and each
# run's log (logs/<target>.log). Reproduce a crash with `build/fuzz/fuzz/<target> <input>`; once
# the bug is fixed, add the input to fuzz/corpus/<target>/, where the test command replays it.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
kiv_install_missing "${kiv_build_packages[@]}" "${kiv_test_packages[@]}"

seconds="${1:-60}"
dir="$kiv_root/build/fuzz"
export ASAN_OPTIONS="detect_leaks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

# Optimised with debug information, as libFuzzer recommends; only the library and the targets.
cmake -S "$kiv_root" -B "$dir" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKIV_SANITIZE=address,undefined -DKIV_BUILD_FUZZERS=ON -DKIV_WARNINGS_AS_ERRORS=ON \
  -DKIV_BUILD_TESTS=OFF -DKIV_BUILD_EXAMPLES=OFF -DKIV_BUILD_TOOLS=OFF >/dev/null
cmake --build "$dir" -j "$kiv_jobs" --target kiv_fuzzers

crashed=0
for program in "$dir"/fuzz/*_fuzzer; do
  name="$(basename "$program")"
  mkdir -p "$dir/corpus/$name" "$dir/crashes/$name" "$dir/logs"
  log="$dir/logs/$name.log"
  echo "== $name: ${seconds}s"
  status="no crash"
  if ! "$program" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
      -artifact_prefix="$dir/crashes/$name/" "$dir/corpus/$name" "$kiv_root/fuzz/corpus/$name" >"$log" 2>&1; then
    crashed=1
    status="CRASH: $(grep -m1 -E 'ERROR:|runtime error:|Broken:' "$log" || echo "see the log")"
    status+=$'\n'"  input: $(grep -o 'Test unit written to .*' "$log" | tail -1 | cut -d' ' -f5-)"
    status+=$'\n'"  log:   $log"
  fi
  execs="$(grep -o 'number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")"
  rate="$(grep -o 'average_exec_per_sec: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")"
  added="$(grep -o 'new_units_added: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")"
  echo "   $execs executions ($rate/s), $added new inputs; $status"
done
exit "$crashed"
