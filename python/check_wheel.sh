#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the wheel, installs it into a fresh environment without a network, and tests it there: with NumPy and
# what else the system has, and without; compares the stubs with it; and looks at the lifetimes with the host
# and the module of the debug preset. `python/check_wheel.sh ARGUMENTS` hands arguments to pytest.
set -euo pipefail
cd -- "$(dirname -- "$0")/.."
top=$PWD stage=$PWD/build/python_check python=${PYTHON:-/usr/bin/python3}
rm -rf "$stage"
mkdir -p "$stage/bare" "$stage/wheels"
export PIP_NO_INDEX=1 PIP_DISABLE_PIP_VERSION_CHECK=1 PYTHONDONTWRITEBYTECODE=1 RASTEL_HOST_REGISTRY=
unset PYTHONPATH

echo "the wheel"
# In the tree of the release, as it was built: what is compiled there is not compiled again.
"$python" -m pip wheel -q --no-deps --no-build-isolation -w "$stage/wheels" \
  --config-settings build-dir=build/release --config-settings cmake-args=-DRASTEL_WERROR=ON .
"$python" -m venv "$stage/venv"
"$stage/venv/bin/pip" install -q --no-deps "$stage"/wheels/rastel-*.whl
system=$("$python" -c 'import pytest, os; print(os.path.dirname(os.path.dirname(pytest.__file__)))')
venv=$("$stage/venv/bin/python" -c 'import sysconfig; print(sysconfig.get_path("platlib"))')

echo "without NumPy"
for package in pytest _pytest py pluggy iniconfig packaging attr attrs; do
  [ ! -e "$system/$package" ] || ln -s "$system/$package" "$stage/bare/$package"
done
cd "$stage"
PYTHONPATH=$stage/bare "$stage/venv/bin/python" -m pytest -q -p no:cacheprovider "$top/python/tests" "$@"

echo "with NumPy"
# Behind the environment's own packages.
echo "$system" >"$venv/system.pth"
"$stage/venv/bin/python" -m pytest -q -p no:cacheprovider "$top/python/tests" "$@"

echo "stubs"
"$stage/venv/bin/python" -m mypy.stubtest rastel --allowlist "$top/python/tests/stubs_allowed.txt"

echo "lifetimes, on a host and a module with AddressSanitizer"
cmake --build "$top/build/debug" --target RastelKLP RastelKLPTypes >"$stage/build.log"
# In front of those in the wheel. Leaks of the module are told by the tests; the interpreter has its own. The
# sanitizer looks for the library of exceptions before the interpreter has any.
LD_LIBRARY_PATH=$top/build/debug/lib \
  LD_PRELOAD="$(g++ -print-file-name=libasan.so) $(g++ -print-file-name=libstdc++.so)" \
  ASAN_OPTIONS=detect_leaks=0 PYTHONMALLOC=malloc \
  "$stage/venv/bin/python" -m pytest -q -p no:cacheprovider "$top/python/tests/test_lifetimes.py" "$@"
