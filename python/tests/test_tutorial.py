# SPDX-License-Identifier: MIT
"""Runs the tutorial; called by hand, it draws its pictures anew and shows what is printed."""
import contextlib
import io
import pathlib
import re

import pytest

import rastel

ROOT = pathlib.Path(__file__).resolve().parents[2]


def run(folder):
    """Yields what each block of the tutorial should print, and what it prints."""
    text = (ROOT / "docs" / "python.md").read_text()
    names = {"__name__": "tutorial"}
    with contextlib.chdir(folder):
        for code, told in re.findall(r"```python\n(.*?)```\n((?:\n    [^\n]*)+|)", text, re.S):
            printed = io.StringIO()
            with contextlib.redirect_stdout(printed):
                exec(compile(code, "docs/python.md", "exec"), names)
            yield re.sub(r"^    ", "", told, flags=re.M).strip(), printed.getvalue().strip()
    names.clear()  # which Dask keeps with the functions that it has sent


def test_the_tutorial(tmp_path):
    pytest.importorskip("numpy")
    pytest.importorskip("distributed")
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    (tmp_path / "docs").mkdir()
    for told, printed in run(tmp_path):
        assert printed == told
    drawn = sorted((tmp_path / "docs").iterdir())
    assert drawn
    for picture in drawn:
        assert (rastel.imread(picture).array == rastel.imread(ROOT / "docs" / picture.name).array).all()


if __name__ == "__main__":
    for block in run(ROOT):
        print(*block, sep="\n--\n", end="\n====\n")
