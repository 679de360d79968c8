#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shows what no test runs: builds everything with counters, runs the native tests and the inputs that
# fuzzers have kept, and leaves in build/coverage
#   report.txt  lines and branches of each file that were run, and the numbers of those that were not
#   lines.json  how often each line was run, for scripts/mutants.py
# and in docs/reliability.md how much of the readers of foreign bytes is run.
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
. scripts/packages.sh

need_packages clang llvm cmake ninja-build googletest libcli11-dev nlohmann-json3-dev libstb-dev \
  libpng-dev libtiff-dev python3

build=build/coverage
cmake --preset coverage
cmake --build --preset coverage
rm -rf "$build/counts"
export LLVM_PROFILE_FILE=$PWD/$build/counts/%8m.profraw
ctest --preset coverage -j 2 -E '^fuzz_replay$'
# Inputs that state a gigabyte are not to get it, and what was promised of them may not hold then.
(ulimit -v 1000000; RASTEL_FUZZ_GO_ON=yes "$build/bin/fuzz_replay" fuzz/inputs 2>/dev/null)

llvm-profdata merge -sparse -o "$build/counts/all" "$build"/counts/*.profraw
objects=()
for file in "$build"/lib/*.so "$build"/bin/*; do
  if llvm-cov export -instr-profile="$build/counts/all" "$file" >/dev/null 2>&1; then
    objects+=(-object "$file")
  fi
done
export_as() { llvm-cov export -format="$1" -skip-functions -instr-profile="$build/counts/all" "${objects[@]:1}"; }
export_as text >"$build/counts/all.json"
export_as lcov >"$build/counts/all.lcov"
scripts/coverage_page.py
tail -n 1 "$build/report.txt"
