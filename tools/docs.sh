#!/usr/bin/env bash
# Generates the API reference of the public headers with Doxygen (docs/Doxyfile) into
# build/docs/html/, then lists Doxygen's warnings: public members without documentation first,
# counted, then any other warning. Open build/docs/html/index.html in a browser.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
# Only the reference needs these; the build and the tests do not.
kiv_install_missing doxygen python3

cd "$kiv_root"
mkdir -p build/docs
rm -rf build/docs/html
doxygen docs/Doxyfile
# Doxygen reports a member once for each place that lists it: each warning counts once.
warnings="$(sed "s|^$kiv_root/||" build/docs/warnings.txt | grep ': warning:' | sort -u -t: -k1,1 -k2,2n -k3 || true)"
undocumented="$(grep -c 'is not documented' <<<"$warnings" || true)"
others="$(grep ': warning:' <<<"$warnings" | grep -vc 'is not documented' || true)"
if [ "$undocumented" -gt 0 ]; then
  echo "== $undocumented public members without documentation:"
  grep 'is not documented' <<<"$warnings"
fi
if [ "$others" -gt 0 ]; then
  echo "== $others other warnings:"
  grep -v 'is not documented' <<<"$warnings"
fi
echo "== API reference: $kiv_root/build/docs/html/index.html ($undocumented undocumented, $others other warnings)"
