# SPDX-License-Identifier: MIT
"""The build backend of the Python package (PEP 517): runs CMake and packs what it installs.

Config settings: `build-dir`, the build tree, build/wheel by default, which is kept for the next time;
`cmake-args`, further arguments of CMake, parted by blanks.
"""
from __future__ import annotations

import base64
import hashlib
import os
import re
import shutil
import subprocess
import sys
import sysconfig
import tarfile
import tempfile
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
VERSION = re.search(r"project\(RastelKLP VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
NAME = f"rastel-{VERSION}"
METADATA = f"""\
Metadata-Version: 2.1
Name: rastel
Version: {VERSION}
Summary: Pictures, vectors and attribute maps shared between imaging components, without copies
License: MIT
Requires-Python: >=3.9
Provides-Extra: numpy
Requires-Dist: numpy; extra == "numpy"
Provides-Extra: dask
Requires-Dist: dask[array,distributed]; extra == "dask"
"""
# Files of a tree do not say when they were packed: two wheels of one tree are the same.
TIME = (1980, 1, 1, 0, 0, 0)


def get_requires_for_build_wheel(config_settings=None):
    return []


def get_requires_for_build_sdist(config_settings=None):
    return []


def _run(*command):
    subprocess.run([str(part) for part in command], check=True, stdout=sys.stderr)


def _install(prefix, settings):
    build = Path(settings.get("build-dir", ROOT / "build" / "wheel"))
    _run("cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
         "-DRASTEL_PYTHON=ON", "-DRASTEL_TESTS=OFF", "-DRASTEL_WERROR=OFF", "-DRASTEL_PYTHON_FOLDER=.",
         f"-DPython3_EXECUTABLE={sys.executable}", *settings.get("cmake-args", "").split())
    _run("cmake", "--build", build, "--target", "rastel_python")
    for component in ("python", "python_libraries"):
        _run("cmake", "--install", build, "--prefix", prefix, "--component", component, "--strip")


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    platform = re.sub("[-.]", "_", sysconfig.get_platform())
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    tag = f"{python}-{python}-{platform}"
    rows = []
    with tempfile.TemporaryDirectory() as stage:
        _install(stage, config_settings or {})
        info = Path(stage, f"{NAME}.dist-info")
        info.mkdir()
        (info / "METADATA").write_text(METADATA)
        (info / "WHEEL").write_text(
            f"Wheel-Version: 1.0\nGenerator: rastel\nRoot-Is-Purelib: false\nTag: {tag}\n")
        shutil.copy(ROOT / "LICENSE", info)
        name = f"{NAME}-{tag}.whl"
        with zipfile.ZipFile(Path(wheel_directory, name), "w", zipfile.ZIP_DEFLATED) as wheel:
            def add(path, data, mode=0o644):
                entry = zipfile.ZipInfo(path, TIME)
                entry.compress_type = zipfile.ZIP_DEFLATED
                entry.external_attr = (0o100000 | mode) << 16
                wheel.writestr(entry, data)

            for file in sorted(path for path in Path(stage).rglob("*") if path.is_file()):
                path, data = file.relative_to(stage).as_posix(), file.read_bytes()
                digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
                rows.append(f"{path},sha256={digest},{len(data)}\n")
                add(path, data, os.stat(file).st_mode & 0o777)
            record = f"{NAME}.dist-info/RECORD"
            add(record, "".join(rows) + f"{record},,\n")
    return name


def build_sdist(sdist_directory, config_settings=None):
    files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True,
                           stdout=subprocess.PIPE).stdout.decode().split("\0")[:-1]
    name = f"{NAME}.tar.gz"
    with tempfile.TemporaryDirectory() as stage, tarfile.open(
            Path(sdist_directory, name), "w:gz", format=tarfile.PAX_FORMAT) as archive:
        info = Path(stage, "PKG-INFO")
        info.write_text(METADATA)
        archive.add(info, f"{NAME}/PKG-INFO")
        for file in files:
            archive.add(ROOT / file, f"{NAME}/{file}", recursive=False)
    return name
