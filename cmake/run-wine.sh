#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs one Windows program under Wine, in a prefix of its build tree.
# The output goes through a file: Wine's background processes would keep a pipe of ours open.
# WINE_TIMEOUT is the limit in seconds (exit code 124 beyond it).
if [ -z "${WINEPREFIX:-}" ]; then
  WINEPREFIX=$(cd "$(dirname "$1")" && pwd)/wineprefix
fi
export WINEPREFIX WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml,winemenubuilder.exe=}"
unset DISPLAY WAYLAND_DISPLAY
# A server of its own accord ends with its last program, and the next program, which meets it on its
# way out, does not begin. This one waits half a minute; a second one ends at once.
mkdir -p "$WINEPREFIX" && wineserver -p30 2>/dev/null
out=$(mktemp) || exit 99
trap 'rm -f "$out"' EXIT
timeout --kill-after=5 "${WINE_TIMEOUT:-240}" wine "$@" >"$out" 2>&1 </dev/null
rc=$?
tr -d '\r' <"$out"
# A program that crashes may end with code 0, and where its stack overflows without a word.
if [ $rc = 0 ] && grep -q '^\[==========\] Running' "$out" && ! grep -q '^\[  PASSED  \]' "$out"; then
  echo "$0: $1 ended in the middle of its tests"
  rc=97
fi
exit $rc
