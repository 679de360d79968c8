#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Measures the module beside other libraries and writes docs/speed.md, docs/speed_curves.md and their
# pictures. The machine should have nothing else to do.
#
#   scripts/bench.sh [--runs N] [--repetitions N] [--seconds S] [--page]
#
# --runs         times that the whole table is measured (1); pages tell their median and their range
# --repetitions  of each contender in a run, of which the median counts (5)
# --seconds      of each repetition (0.1)
# --page         measures nothing, and writes the pages of what was measured last
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
. scripts/packages.sh

runs=1 repetitions=5 seconds=0.1 measure=yes
while [ $# -gt 0 ]; do
  case $1 in
    --runs) runs=$2; shift ;;
    --repetitions) repetitions=$2; shift ;;
    --seconds) seconds=$2; shift ;;
    --page) measure= ;;
    *) sed -n '3,12s/^# \{0,1\}//p' "$0"; exit 2 ;;
  esac
  shift
done

# A tree of its own: who builds the release is not made to build this as well.
build=build/peers
measured=$build/measured

# Two libraries and their headers of a package that would bring 400 MB along. Without them its rows
# are left out.
unpack_vtk() {
  [ ! -e $build/vtk ] && [ ! -e /usr/include/vtk-9.1 ] || return 0
  rm -rf $build/vtk.part
  mkdir -p $build/vtk.part
  (cd $build/vtk.part && apt-get download -qq libvtk9.1 libvtk9-dev &&
    for package in *.deb; do dpkg -x "$package" . && rm "$package"; done) || return 0
  mv $build/vtk.part $build/vtk
}

if [ -n "$measure" ]; then
  need_packages g++ cmake ninja-build pkgconf python3 libbenchmark-dev libopencv-core-dev \
    libopencv-imgproc-dev libmsgpack-cxx-dev libprotobuf-dev protobuf-compiler \
    libboost-serialization-dev libhdf5-dev libglib2.0-dev python3-dev
  unpack_vtk
  cmake --preset release -B $build -D RASTEL_BENCH_PEERS=ON \
    -D CMAKE_PREFIX_PATH="$PWD/$build/vtk/usr"
  cmake --build $build --target peers_bench peers_memory

  mapfile -t table < <(scripts/bench_page.py --rows table)
  mapfile -t growing < <(scripts/bench_page.py --rows growing)
  mapfile -t threads < <(scripts/bench_page.py --rows threads)
  # The last core that we may use: the first ones have the system's work.
  core=$(taskset -cp $$ | grep -o '[0-9]*$')
  bench=("$build/bin/peers_bench" --benchmark_enable_random_interleaving
    --benchmark_repetitions="$repetitions" --benchmark_min_time="$seconds")
  rm -rf $measured
  mkdir -p $measured
  git describe --always --exclude '*' --dirty=' with changes' >$measured/commit
  for run in $(seq "$runs"); do
    echo "Run $run of $runs"
    taskset -c "$core" "${bench[@]}" "${table[@]}" >"$measured/run$run.tsv"
  done
  echo "Works that grow"
  taskset -c "$core" "${bench[@]}" "${growing[@]}" >$measured/growing.tsv
  "${bench[@]}" "${threads[@]}" >$measured/threads.tsv
  $build/bin/peers_memory >$measured/memory.tsv
fi
scripts/bench_page.py $measured
