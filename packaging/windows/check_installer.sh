#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs with the Windows installer under Wine, silently, over an older version and into a folder
# with an umlaut, lets a script use the classes each time, and uninstalls: registry and files are then
# as they were. Usage: check_installer.sh [WINDOWS_BUILD]
set -euo pipefail
cd -- "$(dirname -- "$0")/../.."
build=${1:-build/windows}
export WINEPREFIX=${WINEPREFIX:-$PWD/$build/bin/wineprefix} LC_ALL=C.UTF-8 WINE_TIMEOUT=120
drive=$WINEPREFIX/drive_c
work=$build/installer
run() { cmake/run-wine.sh "$@"; }
fail() { echo "$*" >&2; exit 1; }

cmake --build "$build" --target installer >/dev/null
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
installer=$build/RastelKLP-$version-x64.exe
# An older version, with a file that the newer one does not have.
rm -rf "$work/old"
mkdir -p "$work/old"
cp -r "$work/files" "$work/old/files"
echo old >"$work/old/files/bin/gone.txt"
{ echo 'Delete "$INSTDIR\bin\gone.txt"'; cat "$work/remove_files.nsh"; } >"$work/old/remove_files.nsh"
makensis -V2 -WX -DVERSION=0.0.1 -DSTAGE="$PWD/$work/old/files" -DLISTS="$PWD/$work/old" \
  -DOUTPUT="$PWD/$work/old.exe" packaging/windows/installer.nsi

# Files that are installed and what the registry says of classes and programs. Wine counts the runs of
# programs and keeps logs meanwhile; that is not ours.
state() {
  (cd "$drive" && find . -not -path './windows/*' -not -path './users/*' | sort) >"$work/$1.files"
  for key in 'HKLM\Software\Classes' 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall'; do
    run reg export "$key" 'Z:'"$(realpath "$work")/$1.reg" /y >/dev/null
    tr -d '\0\r' <"$work/$1.reg"
  done >"$work/$1.keys"
}
client() {
  [ "$(run cscript //nologo "Z:$PWD/packaging/windows/client.vbs")" = 255 ] || fail "$1: the script says something else."
}
# Programs of the installed headers, in C and C++; and what the other dialect of C++ makes of them.
compile_clients() {
  local include=$1 client=packaging/windows/client.cpp language
  x86_64-w64-mingw32-g++-posix -Wall -Wextra -Werror -I "$include" $client -o "$work/client_cpp.exe" \
    -static -lole32 -luuid
  x86_64-w64-mingw32-gcc-posix -Wall -Wextra -Werror -I "$include" -x c $client "$include/RastelKLP_i.c" \
    -o "$work/client_c.exe" -static -lole32 -luuid
  # The client library takes the system's headers as they come, with macros for min and max.
  printf '#include <windows.h>\n#include <rastelklp/client.h>\n' |
    x86_64-w64-mingw32-g++-posix -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I "$include" -x c++ -
  for language in cpp c; do
    [ "$(run "$work/client_$language.exe")" = 255 ] || fail "A client in $language says something else."
  done
  command -v clang >/dev/null || return 0
  # The system's headers that are at hand leave out what makes __uuidof work there.
  mkdir -p "$work/dialect"
  cat >"$work/dialect/rpcndr.h" <<END
#include_next <rpcndr.h>
#undef DECLSPEC_UUID
#undef MIDL_INTERFACE
#define DECLSPEC_UUID(x) __declspec(uuid(x))
#define MIDL_INTERFACE(x) struct __declspec(uuid(x)) __declspec(novtable)
END
  for language in c++ c; do
    clang --target=x86_64-pc-windows-msvc -fsyntax-only -x $language -fms-extensions -Wall -Wextra -Werror \
      -D_InterlockedCompareExchange128=unused -isystem "$work/dialect" \
      -isystem /usr/include/wine/wine/msvcrt -isystem /usr/include/wine/wine/windows -I "$include" $client
  done
}

# The script host enters itself when it first runs.
run cscript //nologo "Z:$PWD/packaging/windows/client.vbs" >/dev/null || true
state before
run "$work/old.exe" /S
[ -f "$drive/Program Files/RastelKLP/bin/gone.txt" ] || fail "The older version was not installed."
client "the older version"
run "$installer" /S
[ ! -e "$drive/Program Files/RastelKLP/bin/gone.txt" ] || fail "The older version has left a file."
run reg query 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\RastelKLP' /v DisplayVersion >"$work/version.txt"
grep -qF "$version" "$work/version.txt" || fail "The version is not told."
client "upgraded"
compile_clients "$drive/Program Files/RastelKLP/include/rastelklp"
# Moved by installing again.
run "$installer" /S '/D=C:\ProgÄ'
[ ! -e "$drive/Program Files/RastelKLP" ] || fail "The old folder is still there."
client "in a folder with an umlaut"
run "$drive/ProgÄ/uninstall.exe" /S
for _ in $(seq 50); do [ ! -e "$drive/ProgÄ" ] && break; sleep 0.2; done
state after
diff "$work/before.files" "$work/after.files"
diff "$work/before.keys" "$work/after.keys"
echo "installed, upgraded, moved and taken away; registry and files are as before"
