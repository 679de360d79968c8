#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the three demonstrations and runs them: `./run --demos`. What they compare with (clang++ with
# libc++, OpenCV, protobuf, libpng, Wine) is used where it is installed, and so is Python with Dask for first
# steps in it. Their pictures are left in out/.
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
. scripts/packages.sh
need_packages g++ gcc cmake ninja-build python3 libcli11-dev nlohmann-json3-dev libstb-dev

log=$(mktemp)
trap 'rm -f "$log"' EXIT
quietly() {
  "$@" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
}
build=$PWD/build/release
quietly cmake --preset release -D RASTEL_DEMOS=ON
quietly cmake --build "$build" \
  --target RastelKLP RastelKLPTypes rastel parts neighbourhoods station analysis
export RASTEL_HOST_REGISTRY=$build/registry
quietly "$build/bin/rastel" register
mkdir -p out/demos
cd out/demos
quietly "$build/bin/rastel" import ../../examples/pictures/chelsea.png cat.aoi

echo "== One picture, parts from different makers (docs/parts.md)"
RASTEL_HOST_REGISTRY= "$build/bin/parts" cat.aoi parts.aoi \
  "$build"/lib/{libRastelKLP,libPartSoften,libPartStretch}.so
quietly "$build/bin/rastel" export parts.aoi parts.png

echo "== Neighbourhoods without borders (docs/neighbourhoods.md)"
"$build/bin/neighbourhoods" cat.aoi neighbourhoods.aoi
quietly "$build/bin/rastel" export neighbourhoods.aoi neighbourhoods.png

echo "== The record that still opens (docs/record.md)"
station=("$build/bin/station")
if command -v wine >/dev/null && command -v x86_64-w64-mingw32-g++-posix >/dev/null; then
  windows=$PWD/../../build/windows
  (
    cd ../..
    quietly cmake --preset windows -D RASTEL_DEMOS=ON
    quietly cmake --build --preset windows --target RastelKLP RastelKLPTypes rastel station
  )
  export WINEPREFIX=$windows/bin/wineprefix WINEDEBUG=-all
  export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
  quietly wine "$windows/bin/rastel.exe" register
  station=(wine "$windows/bin/station.exe")
fi
echo "the station: ${station[*]##*/}"
"${station[@]}" record.aoi | "$build/bin/analysis" record.aoi analysed.aoi preview.aoi
echo "and the station reads"
"${station[@]}" --read analysed.aoi | tr -d '\r'
quietly "$build/bin/rastel" export preview.aoi record.png
if [ "${station[0]}" = wine ]; then
  quietly wine "$windows/bin/rastel.exe" unregister
  wineserver -k || true
fi

if [ -e /usr/include/pybind11 ] && [ -e /usr/include/dlpack ] &&
  /usr/bin/python3 -c "import numpy, dask.distributed" 2>/dev/null; then
  echo "== First steps in Python (docs/python.md)"
  quietly cmake "$build" -D RASTEL_PYTHON=ON -D Python3_EXECUTABLE=/usr/bin/python3
  quietly cmake --build "$build" --target rastel_python
  PYTHONPATH=$build/python /usr/bin/python3 ../../examples/python/first_steps.py
fi
