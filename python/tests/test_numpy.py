# SPDX-License-Identifier: MIT
"""Beside NumPy."""
import pytest

import rastel

np = pytest.importorskip("numpy")


def test_views_are_arrays_on_the_same_pixels():
    picture = rastel.empty((2, 4, 6), "float32", margin=1)
    picture.fill(0)
    for view in (picture.array, np.asarray(picture), np.from_dlpack(picture), np.array(Interface(picture), copy=False)):
        assert view.shape == (2, 4, 6) and view.dtype == picture.dtype == np.float32
        assert np.shares_memory(view, picture.stored)
    picture[1, 1:3] = np.arange(6)
    assert picture.array[1, 2, 5] == picture[1, 2, 5] == 5 and picture[..., ::-2].shape == (2, 4, 3)
    assert picture[picture.array > 4].size == 2
    with pytest.raises(IndexError):
        picture[2, 0, 0]


class Interface:
    def __init__(self, picture):
        self.__array_interface__ = picture.__array_interface__


@pytest.mark.parametrize("change, reason", [
    (lambda x: x.astype(">u2"), "order"), (lambda x: x[:, ::2], "packed"), (lambda x: x.T, "packed"),
    (lambda x: x.astype("int64"), "none of"), (lambda x: x.astype(complex), "none of"), (lambda x: x > 1, "none of")])
def test_what_cannot_be_attached_can_be_copied(change, reason):
    pixels = change(np.arange(24, dtype="uint16").reshape(4, 6))
    with pytest.raises((TypeError, ValueError), match=reason):
        rastel.attach(pixels)
    if "none" in reason:
        with pytest.raises(TypeError):
            rastel.array(pixels)
        pixels = pixels.real
    assert (rastel.array(pixels, "int32" if "none" in reason else None).array == pixels).all()


def test_copies_and_tensors():
    pixels = np.arange(24, dtype="int16").reshape(2, 3, 4)
    assert (rastel.array(pixels, channels_last=True).array == pixels.transpose(2, 0, 1)).all()
    assert (rastel.array([[1, 2], [3, 4]], "uint8").array == [[1, 2], [3, 4]]).all()
    lent = rastel.attach(Tensor(pixels))
    lent[0, 0, 0] = 99
    assert pixels[0, 0, 0] == 99 and np.shares_memory(lent.array, pixels)
    vector = rastel.Vector(np.arange(5, dtype="uint8"))
    assert np.shares_memory(np.asarray(vector), np.asarray(vector)) and np.asarray(vector).dtype == "uint8"
    assert rastel.Map({"a": np.float32(1.5), "b": np.int64(3)}) == {"a": 1.5, "b": 3}
    assert list(rastel.Map({"c": np.arange(3, dtype="uint8")})["c"]) == [0, 1, 2]


class Tensor:
    """Of a library that knows DLPack alone."""

    def __init__(self, pixels):
        self.__dlpack__, self.__dlpack_device__ = pixels.__dlpack__, pixels.__dlpack_device__
