#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the release build as a user would and builds programs against it: from the README's own
# lines, as a CMake project that knows find_package alone, and by pkg-config; with each compiler that
# is there. The folder has a blank and an umlaut in its name, and is moved before it is used.
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
top=$PWD stage=$PWD/build/stage
rm -rf "$stage"
mkdir -p "$stage/home"

fail() { echo "$*" >&2; exit 1; }
# The n-th fenced block of a language in the README.
block() {
  awk -v fence="\`\`\`$1" -v wanted="$2" '
    $0 == "```" { inside = 0 }
    inside { print }
    $0 == fence && ++count == wanted { inside = 1 }' README.md
}

echo "the README's lines"
block cpp 1 >"$stage/client.cpp"
block sh 1 >"$stage/lines.sh"
[ -s "$stage/client.cpp" ] && [ -s "$stage/lines.sh" ] || fail "The README shows no client."
(
  export HOME=$stage/home
  unset XDG_DATA_HOME RASTEL_HOST_REGISTRY
  cp "$stage/client.cpp" threshold.cpp
  trap 'rm -f threshold.cpp threshold' EXIT
  bash -euo pipefail "$stage/lines.sh" >"$stage/lines.log" 2>&1 || { cat "$stage/lines.log"; exit 1; }
  [ "$(tail -n 1 "$stage/lines.log")" = 255 ] || { cat "$stage/lines.log"; exit 1; }
)

echo "a moved installation"
cmake --install build/release --prefix "$stage/first" >/dev/null
mv "$stage/first" "$stage/Ü x"
prefix="$stage/Ü x"
# Found by what the installation put there, with no command.
export HOME=$stage/home XDG_DATA_DIRS=$prefix/share
unset XDG_DATA_HOME RASTEL_HOST_REGISTRY
rm -rf "$HOME/.local"
# Into a file first: a reader that stops at the first hit would break the pipe under the tool.
"$prefix/bin/rastel" classes >"$stage/classes.log"
grep -qF "21 of 21 classes are registered" "$stage/classes.log"
grep -qF "$prefix/lib/libRastelKLP.so" "$stage/classes.log"
# File managers know the streams of every class.
update-mime-database "$prefix/share/mime"
"$prefix/bin/rastel" classes --json | /usr/bin/python3 -c '
import json, pathlib, subprocess, sys, uuid
for row in json.load(sys.stdin):
    path = pathlib.Path(sys.argv[1], "stream")
    path.write_bytes(uuid.UUID(row["classId"]).bytes_le + bytes(8))
    kind = next((ending for part, ending in (("AOI", "-aoi"), ("Vector", "-vector"), ("Map", "-map"))
                 if part in row["class"]), "")
    said = subprocess.run(["gio", "info", "-a", "standard::content-type", path], check=True,
                          stdout=subprocess.PIPE, text=True).stdout.split()
    if said[-1] != "application/x-rastelklp" + kind:
        name = row["class"]
        sys.exit(f"{name} is taken for {said[-1]}")
' "$stage"
# What cannot be kept, or is damaged, is named.
refused() {
  if "$prefix/bin/rastel" register >"$stage/refused.log" 2>&1; then fail "Registered: $1"; fi
  grep -qF "$2" "$stage/refused.log" || { cat "$stage/refused.log"; fail "Not named: $2"; }
}
(unset HOME; refused "without a home" "set HOME")
(
  export RASTEL_HOST_REGISTRY=$stage/damaged
  echo damaged >"$RASTEL_HOST_REGISTRY"
  refused "in a damaged file" "(registry: $RASTEL_HOST_REGISTRY)"
  export RASTEL_HOST_REGISTRY=/proc/registry
  refused "where nothing can be written" "(registry: /proc/registry)"
)
for compiler in g++ clang++; do
  command -v $compiler >/dev/null || continue
  build=$stage/$compiler
  cmake -S packaging/client -B "$build" -DCMAKE_CXX_COMPILER=$compiler \
    -DCMAKE_PREFIX_PATH="$prefix" -DCLIENT_SOURCE="$stage/client.cpp" >/dev/null
  cmake --build "$build" >/dev/null
  [ "$("$build/client")" = 255 ] || fail "find_package, $compiler: the client says something else."
  mkdir -p "$build/make"
  PKG_CONFIG_PATH=$prefix/lib/pkgconfig make -s -C "$build/make" -f "$top/packaging/client/Makefile" \
    CXX=$compiler CLIENT_SOURCE="$stage/client.cpp"
  [ "$(LD_LIBRARY_PATH=$prefix/lib "$build/make/client")" = 255 ] || fail "pkg-config, $compiler"
done
# Beside a library whose plain names are the platform's as well, in front of ours.
same_names=$(/sbin/ldconfig -p | awk '/libwinpr2\.so/ && !found { print $NF; found = 1 }')
if [ -n "$same_names" ]; then
  [ "$(LD_PRELOAD=$same_names LD_LIBRARY_PATH=$prefix/lib "$stage/g++/make/client")" = 255 ] ||
    fail "beside $same_names the client says something else."
fi
# Every operation of the host is there for C.
operations() { grep -ao 'RastelHost_[A-Za-z0-9]*' | sort -u; }
diff <(nm -D --defined-only "$prefix/lib/libRastelHost.so" | operations) \
  <(operations <"$prefix/include/rastelklp/rastelklp.h")
for compiler in gcc clang; do
  command -v $compiler >/dev/null || continue
  $compiler -std=c11 -Wall -Wextra -Wpedantic -Wshadow -Werror -I"$prefix/include/rastelklp" \
    examples/c_picture.c -o "$stage/c_picture" -L"$prefix/lib" -lRastelHost
  LD_LIBRARY_PATH=$prefix/lib "$stage/c_picture" "$stage/$compiler.pgm"
done
cmp "$stage"/*.pgm

echo "beside foreign headers"
packaging/check_headers.sh "$prefix"

echo "as a part of another project"
cat >"$stage/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.24)
project(around LANGUAGES CXX)
add_subdirectory($top rastel)
add_executable(client client.cpp)
target_compile_features(client PRIVATE cxx_std_20)
target_link_libraries(client PRIVATE RastelKLP::Client)
END
cmake -S "$stage" -B "$stage/around" -G Ninja -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build "$stage/around" --target client >/dev/null
[ "$("$stage/around/client")" = 255 ] || fail "add_subdirectory: the client says something else."

echo "Debian packages"
cmake build/release -D RASTEL_PYTHON=ON -D RASTEL_PYTHON_FOLDER=lib/python3/dist-packages \
  -D Python3_EXECUTABLE=/usr/bin/python3 >/dev/null
cmake --build build/release --target package >/dev/null
for package in build/release/{rastelklp,rastelklp-dev,python3-rastel}_*.deb; do
  dpkg-deb -x "$package" "$stage/debian"
done
g++ -std=c++20 "$stage/client.cpp" -o "$stage/deb_client" -isystem "$stage/debian/usr/include/rastelklp" \
  -L"$stage/debian/usr/lib" -lRastelHost
[ "$(XDG_DATA_DIRS=$stage/debian/usr/share LD_LIBRARY_PATH=$stage/debian/usr/lib "$stage/deb_client")" = 255 ] ||
  fail "the Debian packages: the client says something else."
filled='import rastel; a = rastel.empty((3, 4)); a.fill(255); print(a[2, 3])'
[ "$(RASTEL_HOST_REGISTRY='' LD_LIBRARY_PATH=$stage/debian/usr/lib \
  PYTHONPATH=$stage/debian/usr/lib/python3/dist-packages /usr/bin/python3 -c "$filled")" = 255 ] ||
  fail "the Debian packages: Python says something else."

echo "taken away again"
DESTDIR=$stage/away cmake --install build/release >/dev/null
DESTDIR=$stage/away cmake --build build/release --target uninstall >/dev/null
left=$(find "$stage/away" -not -type d -o -ipath '*/*rastel*')
[ -z "$left" ] || fail "left: $left"
