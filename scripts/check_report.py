#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Opens the pages of `rastel report` in a browser and asks them what they show.

    scripts/check_report.py build/debug/bin

needs chromium, chromium-driver and python3-selenium; the system's own Python has the last.
"""
import math
import os
import pathlib
import struct
import subprocess
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

PROGRAMS = pathlib.Path(sys.argv[1]).resolve()


def class_bytes(name):
    header = (pathlib.Path(__file__).resolve().parent.parent / "interfaces/identifiers.h").read_text()
    fields = header.split(f"CLSID_{name}{{")[1].split(";")[0].replace("{", "").replace("}", "")
    numbers = [int(field, 16) for field in fields.split(",")]
    return struct.pack("<IHH8B", *numbers)


def text(value):
    return struct.pack("<I", len(value)) + value.encode("utf-16-le")


def record(vt, value):
    return struct.pack("<HH", vt, vt) + value


def narrow(value):
    return record(8, struct.pack("<I", 2 * len(value) + 2) + value.encode("utf-16-le") + b"\0\0")


def vector(values):
    return struct.pack("<Hih", 0x103, len(values), 0) + struct.pack(f"<{len(values)}d", *values)


def inner(name, data):
    return struct.pack("<H", 13) + class_bytes(name) + struct.pack("<Q", len(data)) + data


def attribute_map(rows):
    return struct.pack("<IBI", 1, 1, len(rows)) + b"".join(text(key) + value for key, value in rows)


def aoi(kind, planes, width, height, margins, pixels, rows=()):
    total = width + 2 * margins[0], height + 2 * margins[1]
    head = struct.pack("<H9ih3I", 514, *total, 7, 9, width, height, *margins, planes, 0, 0, 0, 0)
    attributes = class_bytes("AttributeBstrMapKLP") + attribute_map(rows)
    return class_bytes(kind) + head + narrow("a tag") + b"\1" + attributes + pixels


ROWS = [("<script>alert(1)</script>", narrow("\"quoted\" & <b>bold</b>")),
        ("curve", inner("DoubleVectorKLP", vector([math.sin(i / 9) for i in range(90)]))),
        ("inside", inner("AttributeBstrMapKLP", attribute_map([("deep", record(3, struct.pack("<i", 42)))])))]
FLOATS = [float("nan") if i == 30 else i / 10 for i in range(48 * 34)]
STREAMS = {
    "planes.aoi": aoi("FloatAOIKLP", 1, 40, 30, (4, 2), struct.pack(f"<{len(FLOATS)}f", *FLOATS), ROWS),
    "colours.aoi": aoi("ByteAOIKLP", 3, 900, 700, (0, 0), bytes(range(250)) * (900 * 700 * 3 // 250)),
    "numbers.vec": class_bytes("DoubleVectorKLP") + vector([math.sin(i / 40) for i in range(3000)]),
    "empty.vec": class_bytes("ByteVectorKLP") + struct.pack("<Hih", 0x103, 0, 0),
}
STREAMS["cut.aoi"] = STREAMS["planes.aoi"][:-3000]

# What is asked of a page, and what it answers.
WIDTH = "return document.documentElement.scrollWidth"
PICTURES = """return Promise.all([...document.querySelectorAll('svg.plane image')].map(image => new Promise(done => {
  const copy = new Image(); copy.onload = () => done([copy.naturalWidth, copy.naturalHeight]);
  copy.onerror = () => done('broken'); copy.src = image.getAttribute('href'); })))"""
BOX = """const inside = document.querySelector(arguments[0]).getBoundingClientRect(),
  all = document.querySelector('svg.plane image').getBoundingClientRect();
return [inside.left - all.left, inside.top - all.top, inside.width, inside.height].map(
  (each, i) => Math.round(each / (i % 2 ? all.height / 34 : all.width / 48)))"""
CASES = [
    ("planes.aoi", "return document.querySelector('.state').textContent", "whole"),
    # What the object says is there, and no reason why not.
    ("planes.aoi", "return [...document.querySelectorAll('#summary dt')].map(each => each.textContent)",
     ["class", "file", "version", "element type", "rectangle", "margins", "buffer", "travels", "name", "tag",
      "nested objects", "saved anew"]),
    ("planes.aoi", PICTURES, [[48, 34]]),
    ("planes.aoi", (BOX, "svg.plane .rectangle"), [4, 2, 40, 30]),
    ("planes.aoi", (BOX, "svg.plane .margin"), [0, 0, 48, 34]),
    ("planes.aoi", "return document.querySelectorAll('svg.histogram path').length", 1),
    ("planes.aoi", "return document.querySelector('figcaption').textContent.includes('1 x NaN')", True),
    ("planes.aoi", "return [...document.querySelectorAll('.tree .key')].map(each => each.textContent)",
     ["tag", "attributes", '"<script>alert(1)</script>"', '"curve"', '"inside"', '"deep"']),
    ("planes.aoi", "return document.querySelector('#attributes li li .value').textContent",
     '"\\"quoted\\" & <b>bold</b>" (VT_BSTR)'),
    ("planes.aoi", "return [...document.querySelectorAll('#attributes details')].map(each => each.open)",
     [True, False, False]),
    ("planes.aoi", "return document.querySelectorAll('#attributes svg.curve').length", 1),
    ("planes.aoi", "return [...document.querySelectorAll('.parts tbody tr')].slice(0, 2).map(row => "
     "[...row.cells].slice(1).map(cell => cell.textContent))",
     [["00000000", "16", "class"], ["00000010", "52", "head"]]),
    # The parts are as wide as they have bytes.
    ("planes.aoi", "return Math.round(document.querySelector('.bar .pixels').getBoundingClientRect().width / "
     "document.querySelector('.bar').getBoundingClientRect().width * 10)", 9),
    ("colours.aoi", PICTURES, [[640, 497]] * 4),
    ("colours.aoi", "return document.querySelectorAll('svg.histogram').length", 3),
    ("numbers.vec", "return document.querySelectorAll('#numbers svg.curve .range').length", 1),
    ("empty.vec", "return document.querySelectorAll('svg').length", 0),
    ("cut.aoi", "return document.querySelector('.state').textContent", "broken"),
    ("cut.aoi", "return document.querySelector('.problems').textContent.includes('ends inside the plane 0')",
     True),
    ("cut.aoi", "return document.querySelectorAll('.bar .break, tr.break, svg.plane .missing').length", 3),
]


def browser():
    options = Options()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def check(page, asked, answer, expected):
    if answer != expected:
        sys.exit(f"{page}: {asked}\n  expected {expected}\n  answered {answer}")


def main():
    with tempfile.TemporaryDirectory() as folder:
        os.environ["RASTEL_HOST_REGISTRY"] = str(pathlib.Path(folder, "registry"))
        for name, stream in STREAMS.items():
            path = pathlib.Path(folder, name)
            path.write_bytes(stream)
            result = subprocess.run([PROGRAMS / "rastel", "report", path, "-o", f"{path}.html"],
                                    stdout=subprocess.DEVNULL, check=False)
            check(name, "exit code", result.returncode, int(name == "cut.aoi"))
        driver = browser()
        try:
            backgrounds = set()
            for name in STREAMS:
                for scheme in ("dark", "light"):
                    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
                        "features": [{"name": "prefers-color-scheme", "value": scheme}]})
                    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                        "width": 390, "height": 844, "deviceScaleFactor": 1, "mobile": True})
                    driver.get(pathlib.Path(folder, f"{name}.html").as_uri())
                    check(name, "width on a phone", driver.execute_script(WIDTH), 390)
                    backgrounds.add(driver.execute_script(
                        "return getComputedStyle(document.body).backgroundColor"))
                driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
                for page, asked, expected in CASES:
                    if page == name:
                        script, *arguments = asked if isinstance(asked, tuple) else (asked,)
                        check(name, asked, driver.execute_script(script, *arguments), expected)
                check(name, "what is fetched", driver.execute_script(
                    "return performance.getEntriesByType('resource')"
                    ".filter(each => !each.name.startsWith('data:')).length"), 0)
                check(name, "console", driver.get_log("browser"), [])
            check("all", "backgrounds, dark and light", len(backgrounds), 2)
        finally:
            driver.quit()
    print(f"{len(STREAMS)} pages, {len(CASES)} questions: as they should be")


main()
