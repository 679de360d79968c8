#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Takes the example's picture through the module on both hosts and compares the pictures, the saved
# AOI and the report, and what the late-bound program says. Then has each host read the AOI that the
# other saved.
#
# Usage: compare_hosts.sh [NATIVE_BUILD WINDOWS_BUILD]
set -euo pipefail
cd -- "$(dirname -- "$0")/.."

native=${1:-build/release}
windows=${2:-build/windows}
picture=examples/pictures/chelsea.png
work=$native/compare
rm -rf "$work"
mkdir -p "$work"/{native,wine}

export RASTEL_HOST_REGISTRY=$PWD/$work/registry
"$native/bin/rastel" register >/dev/null
"$native/bin/picture_road" "$picture" "$work/native" >"$work/native.txt"
"$native/bin/late_bound" >"$work/late_native.txt"

cmake/run-wine.sh "$windows/bin/rastel.exe" register >/dev/null
cmake/run-wine.sh "$windows/bin/picture_road.exe" "$picture" "$work/wine" >"$work/wine.txt"
cmake/run-wine.sh "$windows/bin/late_bound.exe" >"$work/late_wine.txt"
diff "$work/late_native.txt" "$work/late_wine.txt"
"$native/bin/rastel" info "$work/wine/picture.aoi" >"$work/native_reads.txt"
cmake/run-wine.sh "$windows/bin/rastel.exe" info "$work/native/picture.aoi" >"$work/wine_reads.txt"
diff <(sed "s,$work/wine,OUT,g" "$work/native_reads.txt") <(sed "s,$work/native,OUT,g" "$work/wine_reads.txt")
cmake/run-wine.sh "$windows/bin/rastel.exe" unregister >/dev/null

diff <(sed "s,$work/native,OUT,g" "$work/native.txt") <(sed "s,$work/wine,OUT,g" "$work/wine.txt")
# Either host's PNG library packs in its own way: each picture is read where it was written, and the AOIs
# are compared.
for file in "$work"/native/*.png; do
  "$native/bin/rastel" import --quiet "$file" "$file.aoi" >/dev/null
done
for file in "$work"/wine/*.png; do
  cmake/run-wine.sh "$windows/bin/rastel.exe" import --quiet "$file" "$file.aoi" >/dev/null
done
rm "$work"/{native,wine}/*.png
diff -r "$work/native" "$work/wine"
echo "$(ls "$work/native" | wc -l) files and the report are the same on both hosts"
echo "the late-bound program says the same on both hosts"
echo "each host reads the AOI that the other saved"
