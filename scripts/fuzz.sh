#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# scripts/fuzz.sh [SECONDS [TARGET...]]: fuzzes each target for that long (60), two at a time, from the
# inputs that are kept and from new start inputs, and keeps what reaches something new, as little of
# it as will do. A finding is left in fuzz/inputs/TARGET, for good, and fails the script.
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
. scripts/packages.sh
need_packages clang cmake ninja-build googletest python3

seconds=${1:-60}
[[ $seconds =~ ^[0-9]+$ ]] || { sed -n '3,5s/^# \{0,1\}//p' "$0"; exit 2; }
shift || true
all=$(sed -n 's/^    {"\(.*\)", Run.*/\1/p' fuzz/targets.h)
targets=${*:-$all}
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzz
work=build/fuzz/work
rm -rf "$work"
scripts/fuzz_seeds.py "$work/seeds"

# What streams state is refused above 64 MB; the fuzzer's own limits lie above that. Streams that state
# many rows or tags are saved with as many, which takes a minute at most and is no finding.
export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=64
export work seconds
fuzz_one() {
  target=$1
  program=build/fuzz/bin/fuzz_$target
  ln -sf fuzz "$program"
  mkdir -p "$work/$target" "$work/least_$target" "fuzz/inputs/$target"
  [ ! -f "fuzz/inputs/$target.inputs" ] || scripts/fuzz_seeds.py --unpack "fuzz/inputs/$target.inputs" "$work/$target"
  result=0
  "$program" "$work/$target" "$work/seeds/$target" "fuzz/inputs/$target" -max_total_time="$seconds" \
    -dict="$work/seeds/words" -max_len=4096 -timeout=150 -report_slow_units=150 -rss_limit_mb=3000 -malloc_limit_mb=3000 \
    -artifact_prefix="fuzz/inputs/$target/" -print_final_stats=1 >"$work/$target.log" 2>&1 || result=1
  grep -E 'stat::number_of_executed_units|^==.*ERROR|^SUMMARY|broken promise' "$work/$target.log" |
    sed "s/^/$target: /"
  "$program" -set_cover_merge=1 -use_counters=0 "$work/least_$target" "$work/$target" "$work/seeds/$target" >"$work/$target.merge" 2>&1
  scripts/fuzz_seeds.py --pack "$work/least_$target" "fuzz/inputs/$target.inputs"
  rmdir "fuzz/inputs/$target" 2>/dev/null || true
  return $result
}
export -f fuzz_one
printf '%s\n' $targets | xargs -P 2 -I{} bash -c 'set -euo pipefail; fuzz_one {}'
