#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the build needs and the machine lacks. Idempotent:
# nothing is installed when everything is there. Sourced by demo.sh and test.sh.
set -euo pipefail

# What building the library, the demo and the kiv command needs.
kiv_build_packages=(g++ cmake ninja-build libsqlite3-dev libsimdjson-dev libcli11-dev)
# What the tests and the benchmarks need besides: the libraries, clang with its sanitizer
# runtimes and libc++, and GoogleTest's sources (built in-tree for libc++).
kiv_test_packages=(libgtest-dev libgmock-dev googletest libbenchmark-dev nlohmann-json3-dev rapidjson-dev
                   clang libclang-rt-dev libc++-dev libc++abi-dev)

kiv_missing_packages() {
  local p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || echo "$p"
  done
}

# Installs those of the named packages that are missing.
kiv_install_missing() {
  local missing
  missing=$(kiv_missing_packages "$@")
  [ -z "$missing" ] && return 0
  echo "Installing: $missing"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  # shellcheck disable=SC2086
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing
}

kiv_root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
kiv_jobs="$(nproc 2>/dev/null || echo 2)"
