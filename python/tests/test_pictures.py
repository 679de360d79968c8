# SPDX-License-Identifier: MIT
"""Pictures: how they are made, looked at and changed."""
import copy
import struct

import pytest

import rastel

DTYPES = "uint8 int8 uint16 int16 uint32 int32 float32 float64".split()
FORMATS = dict(zip(DTYPES, "BbHhIifd"))


def memory(values, dtype="uint8", shape=None):
    """Writable memory of Python's own, without NumPy."""
    data = bytearray(struct.pack(f"={len(values)}{FORMATS[dtype]}", *values))
    return memoryview(data).cast("B").cast(FORMATS[dtype], shape or [len(values)])


def rows(view):
    return memoryview(view).tolist()


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", [(2, 3), (3, 2, 2)])
def test_every_dtype_is_looked_at_where_it_lies(dtype, shape):
    size = 6 if len(shape) == 2 else 12
    lent = memory(range(size), dtype, shape)
    expected = lent.tolist()
    for picture in (rastel.array(lent, margin=2), rastel.attach(lent)):
        assert (picture.shape, picture.ndim, str(picture.dtype)) == (shape, len(shape), dtype)
        assert rows(picture) == rows(picture.array) == expected
        assert [rows(plane) for plane in picture.planes] == (expected if len(shape) == 3 else [expected])
        last = tuple(side - 1 for side in shape)
        assert picture[last] == picture[(-1,) * len(shape)] == size - 1
        picture[last] = 1e300
        assert picture[last] == {"float32": 3.4028234663852886e38, "float64": 1e300}.get(
            dtype, 2 ** (8 * lent.itemsize - dtype.startswith("i")) - 1)
        with pytest.raises(IndexError):
            picture[(0,) * (len(shape) - 1) + (shape[-1],)]
        picture.fill(5)
        assert set(bytes(memoryview(picture.array).tobytes())) <= set(memory([5], dtype).tobytes())


@pytest.mark.parametrize("what, error, reason", [
    (lambda: b"123456", ValueError, "read-only"),
    (lambda: memory(range(6)), ValueError, "dimensions"),
    (lambda: memory(range(24), shape=[2, 3, 2, 2]), ValueError, "dimensions"),
    (lambda: memoryview(bytearray(32)).cast("q", [2, 2]), TypeError, "'q'"),
    (lambda: memoryview(bytearray(4)).cast("?", [2, 2]), TypeError, "none of"),
    (lambda: memoryview(bytearray(9))[1:].cast("H", [2, 2]), ValueError, "aligned"),
    (lambda: rastel.empty((4, 4)).crop(0, 0, 2, 2).array, ValueError, "packed"),
    (lambda: [[1, 2]], TypeError, "buffer"),
], ids=str)
def test_attach_says_why_not(what, error, reason):
    with pytest.raises(error, match=reason):
        rastel.attach(what())


@pytest.mark.parametrize("call, error", [
    (lambda: rastel.empty((0, 3)), ValueError),
    (lambda: rastel.empty((3,)), ValueError),
    (lambda: rastel.empty((2, 2), margin=3), ValueError),
    (lambda: rastel.empty((65536, 65536)), ValueError),
    (lambda: rastel.empty((2, 2), "int64"), TypeError),
    (lambda: rastel.empty("ab"), TypeError),
    (lambda: rastel.empty((2, 2)).__setitem__((0, 0), "white"), TypeError),
    (lambda: rastel.empty((2, 2), ">u2"), TypeError),
    (lambda: rastel.empty((2, 2)).crop(1, 1, 2, 1), ValueError),
    (lambda: rastel.empty((2, 2)).tiles(3, 1), ValueError),
    (lambda: rastel.empty((2, 2)).fill_margins("wide"), ValueError),
    (lambda: rastel.empty((2, 2)).copy_to(rastel.empty((2, 2), "int8")), ValueError),
    (lambda: setattr(rastel.empty((2, 2)), "active_plane", 1), IndexError),
    (lambda: setattr(rastel.empty((2, 2)), "rect", (2, 0, 1, 1)), ValueError),
    (lambda: setattr(rastel.empty((2, 2)), "tag", object()), TypeError),
    (lambda: rastel.load("no such file"), FileNotFoundError),
    (lambda: rastel.loads(rastel.dumps(rastel.empty((2, 2)))[:-1]), OSError),
    (lambda: rastel.loads(bytes(99)), rastel.Error),
    (lambda: memoryview(wrapped()), BufferError),
    (lambda: wrapped().array, ValueError),
    (lambda: unbound().array, rastel.Error),
], ids=lambda value: "")
def test_what_is_refused(call, error):
    with pytest.raises(error):
        call()


def unbound():
    return rastel.Vector([rastel.Dispatch("AOIKLP.ByteKLP")], "object")[0]


def wrapped():
    """A picture whose sizes are larger than its memory."""
    picture = unbound()
    rastel.Dispatch(picture).CreateImage(65536, 65536)
    return picture


def test_errors_say_what_the_module_says():
    with pytest.raises(rastel.Error) as raised:
        unbound().array
    error = raised.value
    assert (error.hresult, error.number) == (0x8004045A, 1114)
    assert error.text == "Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet."
    assert error.hint == "the AOI has no buffer yet" and error.source.startswith("AOIKLP.ByteKLP")
    assert all(part in str(error) for part in (error.text, error.hint, "0x8004045A"))
    same = copy.copy(error)
    assert (type(same), same.args) == (type(error), error.args)


def test_parts_share_pixels_and_margins_are_filled():
    picture = rastel.array(memory(range(12), shape=[3, 4]), margin=1)
    picture.fill_margins("mirror")
    assert rows(picture.stored)[0] == [0, 0, 1, 2, 3, 3] and picture.margin == 1
    part = picture.crop(1, 1, 2, 2)
    part.margins = 2, 1
    assert part.margin_mode == "mirror" and part.margins == (2, 1)
    assert rows(part) == [[5, 6], [9, 10]]
    assert rows(part.padded)[0] == [0, 0, 1, 2, 3, 3]
    part[0, 0] = 77
    assert picture[1, 1] == 77
    assert part.rect == (1, 1, 2, 2) and part.rect.width == 2
    part.rect = 0, 0, 4, 1
    assert rows(part) == [[0, 1, 2, 3]]
    tiles = picture.tiles(3, 2)
    assert [tile.rect for tile in tiles][::5] == [(0, 0, 1, 1), (2, 1, 2, 2)]
    target = rastel.empty((2, 2))
    tiles[5].copy_to(target)
    assert rows(target) == [[6, 7], [10, 11]]
    # Runs past the stored row, which only objects themselves can stand.
    part.rect = 0, 0, 6, 1
    with pytest.raises(ValueError, match="runs past"):
        part.array


def test_names_tags_and_attributes():
    picture = rastel.empty((2, 2))
    assert (picture.name, picture.tag, dict(picture.attributes)) == ("None", None, {})
    before = picture.attributes
    picture.name, picture.tag = "Käse \U0001f9c0", [1, 2.5, "x"]
    picture.attributes["gain"] = 2.5
    before["lens"] = {"f": 2}
    assert picture.attributes == before and list(picture.attributes) == ["gain", "lens"]
    sibling, own, bare = copy.copy(picture), copy.deepcopy(picture), picture.clone()
    for other in (sibling, own):
        assert other.name == picture.name and list(other.tag) == [1, 2.5, "x"]
        assert other.attributes["lens"]["f"] == 2
    assert (bare.name, bare.tag, len(bare.attributes)) == ("None", None, 0)
    picture.fill(9)
    own.fill(1)
    own.attributes["gain"] = 1
    assert sibling[0, 0] == 9 and sibling.attributes["gain"] == 2.5 and own != picture != sibling
    picture.attributes = {1: "one"}
    assert picture.attributes.key_type is int and picture.duplicate().attributes[1] == "one"
    picture.attributes = None
    assert len(picture.attributes) == 0 and "Käse" in repr(picture)
    table = picture._repr_html_()
    assert "Käse" in table and "data:image/png;base64," in table
    assert picture._repr_png_()[1:4] == b"PNG"
    assert "without pixels" in repr(unbound()) and unbound()._repr_html_() is None


@pytest.mark.parametrize("dtype, name", [("uint8", "a.png"), ("uint16", "a.tif"), ("float32", "a.npy")])
def test_files_of_others(tmp_path, dtype, name):
    picture = rastel.array(memory(range(24), dtype, [3, 2, 4]))
    picture.name = "Title"
    assert rastel.imwrite(tmp_path / name, picture) == 0
    again = rastel.imread(tmp_path / name, margin=1)
    assert rows(again) == rows(picture) and again.margin == 1
    wide = rastel.array(memory([-3, 70000], "int32", [1, 2]))
    with pytest.raises(ValueError):
        rastel.imwrite(tmp_path / "b.png", wide)
    assert rastel.imwrite(tmp_path / "b.png", wide, clamp=True) == 2
    with pytest.raises(ValueError):
        rastel.imwrite(tmp_path / "a.nothing", picture)
    with pytest.raises(FileNotFoundError):
        rastel.imread(tmp_path / "b.tif")


def test_any_class_by_names_alone():
    by_name = rastel.Dispatch("AOIKLP.WordKLP")
    by_name.CreateImage(6, 4)
    by_name.PlaneSelected[0] = False
    assert (by_name.Width, by_name.GetRect(), by_name.PlaneSelected(0)) == (6, (0, 0, 6, 4), 0)
    by_name.name = "by name"
    assert by_name.Name == "by name" and "Clone" in dir(by_name) and by_name.Clone() != by_name
    with pytest.raises(AttributeError):
        by_name.Breite
    with pytest.raises(ValueError, match="1113|kleiner null"):
        by_name.Width = -1
    map_by_name = rastel.Dispatch(rastel.Map({"b": 1, "a": 2}))
    assert map_by_name.Keys == ["a", "b"] and map_by_name.Value["b"] == 1
