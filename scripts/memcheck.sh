#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# scripts/memcheck.sh [TARGET...]: gives every beginning of every stored stream, one byte after the
# other, to a reader (all readers of objects and records) under valgrind's memcheck. What is loaded is
# asked, copied, saved, loaded again and compared, so that a byte that nobody has written shows;
# VALGRIND_OPTS=--track-origins=yes tells where it came from. Three minutes on one core. MEMCHECK=no runs
# the same without valgrind; RASTEL_BUILD names a build folder, which may have sanitizers then.
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
. scripts/packages.sh
need_packages g++ cmake ninja-build googletest python3
[ "${MEMCHECK:-yes}" = no ] || need_packages valgrind

targets=${*:-aoi vector map plain_record tagged_record object_reference}
build=${RASTEL_BUILD:-build/memcheck}
# What is kept for the next object would hide who wrote it: not kept, as under that sanitizer.
[ -f "$build/build.ninja" ] ||
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O1 -DRASTEL_BARE_MEMORY=ON >/dev/null
cmake --build "$build" --target fuzz_replay

work=$build/beginnings
rm -rf "$work"
scripts/fuzz_seeds.py "$work/seeds"
python3 - "$work" $targets <<'END'
import pathlib, struct, sys
work = pathlib.Path(sys.argv[1])
for target in sys.argv[2:]:
    whole = {path.read_bytes() for path in (work / "seeds" / target).iterdir()}
    beginnings = sorted({each[:size] for each in whole for size in range(len(each) + 1)})
    (work / f"{target}.inputs").write_bytes(b"".join(struct.pack("<I", len(i)) + i for i in beginnings))
END

export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=64
# Blocks are not filled: that would touch all the memory that a stream states.
run=(valgrind --quiet --error-exitcode=1 --leak-check=full --show-leak-kinds=definite
  --errors-for-leak-kinds=definite)
[ "${MEMCHECK:-yes}" = yes ] || run=()
for target in $targets; do "${run[@]}" "$build/bin/fuzz_replay" "$work" "$target"; done
