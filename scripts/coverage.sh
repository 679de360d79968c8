#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shows what no test runs: builds everything with counters, runs the native tests, and leaves in
# build/coverage
#   report.txt  lines and branches of each file that were run, and the numbers of those that were not
#   lines.json  how often each line was run, for scripts/mutants.py
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
. scripts/packages.sh

need_packages g++ cmake ninja-build googletest libcli11-dev nlohmann-json3-dev libstb-dev gcovr

cmake --preset coverage
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j 2
report=(gcovr --root . --object-directory build/coverage
  --exclude-directories build/coverage/CMakeFiles
  --filter '(examples|host|interfaces|module|pictures|platform|tools|types)/'
  --exclude-throw-branches --exclude-unreachable-branches)
"${report[@]}" --json build/coverage/lines.json --txt build/coverage/report.txt
tail -n 3 build/coverage/report.txt
