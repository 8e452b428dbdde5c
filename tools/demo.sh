#!/usr/bin/env bash
# Installs what is missing, builds Kiv and runs the demo on an embedded SQLite file.
# Arguments are passed to the demo (see `kiv_demo --help`).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
kiv_install_missing "${kiv_build_packages[@]}"

build="$kiv_root/build/demo"
cmake -S "$kiv_root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKIV_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target kiv_demo -j "$kiv_jobs"
cd "$kiv_root"
"$build/examples/kiv_demo" "$@"
