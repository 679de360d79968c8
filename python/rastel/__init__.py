# SPDX-License-Identifier: MIT
"""Pictures, vectors and attribute maps of RastelKLP."""
from rastel._core import __version__

__all__ = ["__version__"]
