# SPDX-License-Identifier: MIT
"""What objects raise: `Error`, and under the names that Python has for such failures."""
from __future__ import annotations


class Error(Exception):
    """An object refused, or failed.

    Where Python has an exception of its own for a failure the error is one of these too: `IndexError`,
    `ValueError`, `KeyError`, `TypeError`, `MemoryError`, `FileNotFoundError`, `PermissionError`, `OSError`.

    Attributes:
        hresult: the result code, as 32 bits without a sign.
        number: of one of the module's numbered reports, 1114 for instance; 0 for all other codes.
        source: the name of the class that reported, "AOIKLP.ByteKLP"; empty for plain codes.
        text: the report in its own words, which are German and the same on every system; for a plain
            code what it means, in English.
        hint: what a numbered report means, in English; empty for all other codes.
    """

    hresult: int
    number: int
    source: str
    text: str
    hint: str

    def __init__(self, hresult: int, number: int = 0, source: str = "", text: str = "", hint: str = "") -> None:
        Exception.__init__(self, hresult, number, source, text, hint)
        self.hresult, self.number, self.source, self.text, self.hint = hresult, number, source, text, hint

    def __str__(self) -> str:
        return (f"0x{self.hresult:08X}" + (f" from {self.source}" if self.source else "") +
                (f": {self.text}" if self.text else "") + (f" ({self.hint})" if self.hint else ""))


    def __reduce__(self) -> tuple[object, ...]:
        return _made, self.args


Error.__module__ = "rastel"


def _kind(also: type[Exception]) -> type[Error]:
    """Under the same name for the reader, and caught as what Python calls it too."""
    return type("Error", (Error, also), {"__module__": "rastel", "__doc__": Error.__doc__})


_KINDS = {
    **dict.fromkeys((0x80040452, 0x80040459, 0x8004045B, 0x8004045E, 0x8004045F, 0x80040460, 0x80040463,
                     0x80070057, 0x8002000A), _kind(ValueError)),
    **dict.fromkeys((0x80040461, 0x80040469), _kind(IndexError)),
    0x8002000B: _kind(KeyError),
    **dict.fromkeys((0x8007000E, 0x8004045D, 0x80040462, 0x8004046A), _kind(MemoryError)),
    **dict.fromkeys((0x80020005, 0x80004002), _kind(TypeError)),
    **dict.fromkeys((0x80070002, 0x80070003, 0x80030002), _kind(FileNotFoundError)),
    0x80070005: _kind(PermissionError),
    **dict.fromkeys((0x80070004, 0x80070020, 0x80070070, 0x8003001D, 0x8003001E, 0x80030070), _kind(OSError)),
}


def _made(hresult: int, *words: object) -> Error:
    return _KINDS.get(hresult, Error)(hresult, *words)  # type: ignore[arg-type]
