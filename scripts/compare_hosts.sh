#!/usr/bin/env bash
# Takes the example's picture through the module on both hosts, from the release and windows build
# trees, and compares the pictures and the report.
set -euo pipefail
cd -- "$(dirname -- "$0")/.."

picture=examples/pictures/chelsea.png
work=build/compare
rm -rf "$work"
mkdir -p "$work/native" "$work/wine"

export RASTEL_HOST_REGISTRY=$PWD/$work/registry
build/release/bin/register_module "$PWD/build/release/lib/libRastelKLP.so"
build/release/bin/picture_road "$picture" "$work/native" >"$work/native.txt"

cmake/run-wine.sh build/windows/bin/register_module.exe "$PWD/build/windows/bin/RastelKLP.dll"
cmake/run-wine.sh build/windows/bin/picture_road.exe "$picture" "$work/wine" >"$work/wine.txt"
cmake/run-wine.sh build/windows/bin/register_module.exe --remove \
  "$PWD/build/windows/bin/RastelKLP.dll" >/dev/null

diff <(sed "s,$work/native,OUT,g" "$work/native.txt") <(sed "s,$work/wine,OUT,g" "$work/wine.txt")
diff -r "$work/native" "$work/wine"
echo "$(ls "$work/native" | wc -l) pictures and the report are the same on both hosts"
