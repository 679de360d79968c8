# SPDX-License-Identifier: MIT
"""What every test has: the package, and an eye on what it leaves behind."""
import gc

import pytest

from rastel import _core


@pytest.fixture(autouse=True)
def nothing_is_left():
    gc.collect()
    was_idle = _core._is_idle()  # a test that failed keeps what it had in its traceback
    yield
    _core._allow_all()
    gc.collect()
    assert not was_idle or _core._is_idle(), "objects of the module are still alive"
