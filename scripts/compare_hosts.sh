#!/usr/bin/env bash
# Takes the example's picture through the module on both hosts and compares the pictures and the
# report, and what the late-bound program says. Then has each host write AOIs, as streams and as
# object references, compares the bytes, and has each host read what the other wrote.
#
# Usage: compare_hosts.sh [NATIVE_BUILD WINDOWS_BUILD]
set -euo pipefail
cd -- "$(dirname -- "$0")/.."

native=${1:-build/release}
windows=${2:-build/windows}
picture=examples/pictures/chelsea.png
work=$native/compare
rm -rf "$work"
mkdir -p "$work"/{,aois_}{native,wine}

export RASTEL_HOST_REGISTRY=$PWD/$work/registry
"$native/bin/rastel" register >/dev/null
"$native/bin/picture_road" "$picture" "$work/native" >"$work/native.txt"
"$native/bin/late_bound" >"$work/late_native.txt"
"$native/bin/exchange" write "$work/aois_native"

cmake/run-wine.sh "$windows/bin/rastel.exe" register >/dev/null
cmake/run-wine.sh "$windows/bin/picture_road.exe" "$picture" "$work/wine" >"$work/wine.txt"
cmake/run-wine.sh "$windows/bin/late_bound.exe" >"$work/late_wine.txt"
diff "$work/late_native.txt" "$work/late_wine.txt"
cmake/run-wine.sh "$windows/bin/exchange.exe" write "$work/aois_wine"
diff -r "$work/aois_native" "$work/aois_wine"
cmake/run-wine.sh "$windows/bin/exchange.exe" read "$work/aois_native" >"$work/aois_native.txt"
"$native/bin/exchange" read "$work/aois_wine" >"$work/aois_wine.txt"
diff "$work/aois_native.txt" "$work/aois_wine.txt"
cmake/run-wine.sh "$windows/bin/rastel.exe" unregister >/dev/null

diff <(sed "s,$work/native,OUT,g" "$work/native.txt") <(sed "s,$work/wine,OUT,g" "$work/wine.txt")
diff -r "$work/native" "$work/wine"
echo "$(ls "$work/native" | wc -l) files and the report are the same on both hosts"
echo "the late-bound program says the same on both hosts"
echo "$(ls "$work/aois_native" | wc -l) AOI files are the same, and each host reads the other's"
