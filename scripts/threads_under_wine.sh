#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# scripts/threads_under_wine.sh [RUNS [LOADS]]: runs thread_tests of the windows preset so often (500)
# under Wine, while so many programs (2) keep the machine busy. What failing runs say is left in
# build/windows/threads; the last line tells how many there were.
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
runs=${1:-500}
loads=${2:-2}
cmake --preset windows >/dev/null
cmake --build --preset windows --target thread_tests RastelKLP RastelKLPTypes

export WINEPREFIX=$PWD/build/windows/bin/wineprefix WINEDEBUG=-all
# The first program makes the prefix.
cmake/run-wine.sh cmd /c exit >/dev/null
said=build/windows/threads
rm -rf "$said"
mkdir -p "$said"
busy=()
trap 'kill "${busy[@]}" 2>/dev/null; wineserver -k 2>/dev/null || true' EXIT
for ((i = 0; i < loads; ++i)); do
  while :; do :; done &
  busy+=($!)
done
failed=0
for ((run = 1; run <= runs; ++run)); do
  code=0
  cmake/run-wine.sh build/windows/bin/thread_tests.exe >"$said/$run" || code=$?
  if [ $code = 0 ]; then
    rm "$said/$run"
  else
    failed=$((failed + 1))
    echo "run $run: exit code $code"
  fi
done
echo "$runs runs, $failed failed"
[ $failed = 0 ]
