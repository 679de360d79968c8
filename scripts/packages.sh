# SPDX-License-Identifier: MIT
# Sourced by ./run and ./test. Makes sure that Debian packages are installed.

# need_packages <package>...: installs what is missing by apt, as root or through sudo; on a system
# without apt, or without the right to install, says what is needed and ends the script.
need_packages() {
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "This system has no apt. Needed are the equivalents of these Debian packages: $*" >&2
    echo "If they are installed, go on with RASTEL_SKIP_PACKAGES=1 $0" >&2
    [ -n "${RASTEL_SKIP_PACKAGES:-}" ] || exit 1
    return 0
  fi
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "Needed packages are missing and there is no sudo: ${missing[*]}" >&2
      exit 1
    fi
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -qq -y --no-install-recommends "${missing[@]}" >/dev/null
}
