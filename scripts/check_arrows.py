#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Fails on an #include that runs against the arrows between the rooms; docs/architecture.md draws them.

A room may include itself and what its row names, which stands for the rooms inside it as well.
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
CLIENT = ["interfaces", "platform"]
ROWS = {
    "host/base": [],
    "host/values": ["host/base"],
    "host/services": ["host/base", "host/values"],
    "host/registry": ["host/base", "host/values", "host/services"],
    "host/classes": ["host/base", "host/values", "host/services", "host/registry"],
    "host/types": ["host/base", "host/values", "host/services", "host/registry", "host/classes"],
    "host": ["host"],
    # The seam: a host, or the system's own headers.
    "platform": ["host/host.h", "host/registry/script_interface.h", "host/services/stream_window.h",
                 "host/base/single_thread.h"],
    "interfaces": ["platform"],
    "module/frame": CLIENT,
    "module/persist": CLIENT + ["module/frame"],
    "module/records": CLIENT + ["module/frame", "module/persist"],
    "module/image": CLIENT + ["module/frame", "module/persist", "module/records"],
    "module/vector": CLIENT + ["module/frame", "module/persist", "module/records"],
    "module/attribute": CLIENT + ["module/frame", "module/persist", "module/records"],
    "module": CLIENT + ["module"],
    "client": CLIENT,
    "types": CLIENT + ["host/types/tables.h"],
    "pictures": [],
    "picture_aoi": CLIENT + ["client", "pictures"],
    "examples": CLIENT + ["client", "pictures"],
    # The generators of the C header and of the file types read the tables.
    "packaging": CLIENT + ["types", "host/types/tables.h", "module/class_rows.inc"],
    "tools": CLIENT + ["client", "pictures", "picture_aoi"],
    "python": CLIENT + ["client", "pictures", "picture_aoi"],
    "bench": CLIENT + ["client", "module"],
    # As a program sees it.
    "bench/peers": CLIENT + ["client"],
    "fuzz": CLIENT + ["client", "module", "host", "tools", "picture_aoi", "pictures", "tests"],
    "tests": CLIENT + ["client", "module", "host", "types", "examples", "tools", "pictures", "picture_aoi"],
}


def room_of(path):
    """The innermost room that holds a file."""
    return max((room for room in ROWS if path.startswith(room + "/")), key=len, default=None)


def main():
    files = subprocess.run(["git", "ls-files", "*.h", "*.cpp", "*.inc", "*.c"], cwd=ROOT, check=True,
                           stdout=subprocess.PIPE, text=True).stdout.split()
    against = []
    for name in files:
        room = room_of(name)
        if room is None:
            against.append(f"{name}: in no room")
            continue
        allowed = [room, *ROWS[room]]
        text = (ROOT / name).read_text()
        for included in re.findall(r'^#include ["<]([^">]+/[^">]+)[">]', text, re.MULTILINE):
            # The include folder of clients.
            included = re.sub("^rastelklp/", "client/include/rastelklp/", included)
            target = room_of(included)
            if target and target != room and not any(
                    included == may or (included + "/").startswith(may + "/") for may in allowed):
                against.append(f"{name}: {included}")
    print("\n".join(against) or f"{len(files)} files: every include follows the arrows")
    return 1 if against else 0


if __name__ == "__main__":
    sys.exit(main())
