#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Compiles the installed headers as foreign projects do: by each compiler that is there, in each
# language version, without exceptions and types at run time, with either standard library, and before
# and after the headers of libraries that are fond of the same names. Usage: check_headers.sh PREFIX
set -euo pipefail
include=$1/include/rastelklp
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
warnings=(-Wall -Wextra -Wpedantic -Wshadow -Werror)

# Folders of a library's headers, as options; nothing where it is not installed.
folders() { pkg-config --exists "$1" 2>/dev/null && pkg-config --cflags-only-I "$1" | sed 's/-I/-isystem /g'; }
declare -A foreign=(
  [glib.h]=$(folders glib-2.0 || true)
  [X11/Xlib.h]=$(folders x11 || true)
  [FreeImage.h]=
  [opencv2/core.hpp]=$(folders opencv4 || echo "-isystem /usr/include/opencv4")
  [QtCore/QString]="$(folders Qt5Core || true) -fPIC"
)
cat >"$work/ours.h" <<END
#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/vector.h"
#include "platform/com_ptr.h"
END
count=0
# compile TEXT COMPILER OPTIONS...
compile() {
  printf "$1" >"$work/client.cpp"
  "${@:2}" -fsyntax-only "${warnings[@]}" -I "$include" -I "$work" "$work/client.cpp" || {
    printf "by ${*:2}:\n$1" >&2
    return 1
  }
  count=$((count + 1))
}
ours='#include "ours.h"\n'
client='#include <rastelklp/client.h>\n'

for compiler in g++ clang++ "clang++ -stdlib=libc++"; do
  echo '#include <cstdint>' >"$work/probe.cpp"
  $compiler -fsyntax-only "$work/probe.cpp" 2>/dev/null || continue
  for standard in c++17 c++20 c++2b; do
    compile "$ours" $compiler -std=$standard
    compile "$ours" $compiler -std=$standard -fno-exceptions -fno-rtti
    [ $standard = c++17 ] || compile "$client" $compiler -std=$standard
  done
  for header in "${!foreign[@]}"; do
    # Where the library is not there, or does not compile alone, there is nothing to see.
    echo "#include <$header>" >"$work/probe.cpp"
    $compiler -std=c++20 -w -fsyntax-only ${foreign[$header]} "$work/probe.cpp" 2>/dev/null || continue
    for first in "$ours" "$client"; do
      compile "$first#include <$header>\n" $compiler -std=c++20 ${foreign[$header]}
      compile "#include <$header>\n$first" $compiler -std=c++20 ${foreign[$header]}
    done
  done
done
echo "$count ways"
