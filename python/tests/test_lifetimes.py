# SPDX-License-Identifier: MIT
"""What is looked at stays, whatever becomes of what it was taken from. Also run with AddressSanitizer."""
import copy
import ctypes
import gc
import pickle
import threading
import weakref

import pytest

import rastel

VIEWS = {
    "array": lambda picture: picture.array,
    "stored": lambda picture: picture.stored,
    "plane": lambda picture: picture.planes[0],
    "memoryview": memoryview,
    "part": lambda picture: picture.crop(0, 0, 2, 2),
    "tile": lambda picture: picture.tiles(1, 1)[0],
}
ENDS = {
    "deleted": lambda picture: None,
    "loaded": lambda picture: picture.load(rastel.dumps(rastel.array(memoryview(bytes(4)).cast("B", [2, 2])))),
    "bound anew": lambda picture: rastel.Dispatch(picture).CreateImage(9, 9),
}


class Lent(bytearray):
    """Memory that can be watched."""


def lent(size=256):
    data = Lent([7] * size)
    return weakref.ref(data), rastel.attach(memoryview(data).cast("B", [2, size // 2]))


@pytest.mark.parametrize("view", VIEWS.values(), ids=VIEWS)
@pytest.mark.parametrize("end", ENDS.values(), ids=ENDS)
@pytest.mark.parametrize("attached", [False, True])
def test_views_outlive_what_they_look_at(view, end, attached):
    memory, picture = lent() if attached else (None, rastel.empty((2, 128), "uint8"))
    picture.fill(7)
    kept = view(picture)
    end(picture)
    del picture
    gc.collect()
    churn = [rastel.empty((2, 128)) for _ in range(50)]
    for other in churn:
        other.fill(99)
    assert set(memoryview(kept).tobytes()) == {7}
    if attached:
        assert memory() is not None
        del kept
        assert memory() is None


USED = b"used_dltensor"


def test_memory_is_let_go_by_native_code_that_does_not_hold_the_interpreter():
    memory, picture = lent()
    tensor = picture.__dlpack__()
    api = ctypes.pythonapi
    api.PyCapsule_GetPointer.restype = ctypes.c_void_p
    api.PyCapsule_GetPointer.argtypes = api.PyCapsule_SetName.argtypes = [ctypes.py_object, ctypes.c_char_p]
    address = api.PyCapsule_GetPointer(tensor, b"dltensor")
    api.PyCapsule_SetName(tensor, USED)
    del picture
    gc.collect()
    assert memory() is not None
    # Called without the interpreter, as by a thread that is none of Python's.
    deleter = ctypes.c_void_p.from_address(address + 56).value
    thread = threading.Thread(target=ctypes.CFUNCTYPE(None, ctypes.c_void_p)(deleter), args=(address,))
    thread.start()
    thread.join()
    for _ in range(1000):
        if memory() is None:
            break
    assert memory() is None


def test_ten_thousand_views_in_threads():
    picture = rastel.array(memoryview(bytes(range(200))).cast("B", [10, 20]))
    expected = memoryview(picture).tobytes()
    kept, failures = [], []

    def work(number):
        for turn in range(2500):
            view = (picture.array, memoryview(picture), picture.crop(0, 0, 20, 10), copy.copy(picture))[turn % 4]
            if memoryview(view).tobytes() != expected:
                failures.append(turn)
            if turn % 100 == number:
                kept.append(view)

    threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    del picture
    assert not failures and len(kept) == 100
    assert all(memoryview(view).tobytes() == expected for view in kept)


def test_an_exported_vector_keeps_its_size():
    vector = rastel.Vector(range(5), "uint16")
    tags = rastel.Vector([vector], "object")
    first, second = memoryview(vector), memoryview(tags[0])
    for change in (lambda: vector.append(1), lambda: tags[0].resize(0), lambda: vector.pop(),
                   lambda: vector.load(rastel.dumps(vector)), lambda: setattr(rastel.Dispatch(vector), "Count", 9)):
        with pytest.raises(BufferError):
            change()
    first[1] = 500
    first.release()
    with pytest.raises(BufferError):
        vector.append(1)
    second.release()
    vector.append(70000)
    assert list(vector) == [0, 500, 2, 3, 4, 65535]


def everything():
    """A picture of each form, a vector, maps."""
    whole = rastel.array(memoryview(bytes(range(24))).cast("B", [2, 3, 4]), margin=2)
    whole.fill_margins("mirror")
    whole.name, whole.tag, whole.active_plane = "whole", [1, "x"], 1
    whole.attributes["inner"] = {"a": 1}
    part = whole.crop(1, 0, 2, 2)
    part.margins = 1, 1
    rows = rastel.array(memoryview(bytes(24)).cast("H", [3, 4])).crop(0, 1, 4, 2)
    by_name = rastel.Dispatch("VectorKLP.ByteKLP")
    by_name.Count = 3
    tagged = rastel.Vector([1, 2], "int16")
    tagged.set_tag(1, "two")
    return {"whole": whole, "part": part, "rows": rows, "vector": rastel.Vector([1.5, -2]), "tagged": tagged,
            "values": rastel.Vector([None, "a", rows], "object"), "map": rastel.Map({2: "two", 1: None}),
            "by name": by_name}


def state(value):
    """All that can be seen of an object."""
    if isinstance(value, rastel.Aoi):
        return (value.rect, value.margins, value.margin, value.margin_mode, value.active_plane, value.name,
                state(value.tag), state(value.attributes), str(value.dtype), memoryview(value.array).tolist(),
                memoryview(value.padded).tolist(), memoryview(value.stored).tobytes() if value.margin else None)
    if isinstance(value, rastel.Vector):
        return [(state(element), value.tag(index)) for index, element in enumerate(value)]
    if isinstance(value, rastel.Map):
        return {key: state(held) for key, held in value.items()}
    return rastel.dumps(value) if isinstance(value, rastel.Object) else value


@pytest.mark.parametrize("kind", ["whole", "part", "rows", "vector", "tagged", "values", "map", "by name"])
def test_pickles_of_all_protocols_and_copies_are_equal(kind):
    value = everything()[kind]
    buffers = []
    pickles = [(pickle.dumps(value, protocol), None) for protocol in range(6)]
    pickles.append((pickle.dumps(value, 5, buffer_callback=buffers.append), [bytes(b.raw()) for b in buffers]))
    pickles.append((pickles[-1][0], [bytearray(b.raw()) for b in buffers]))
    expected = state(copy.deepcopy(value))
    if kind not in ("part", "rows", "values"):
        # A part is carried without what is around it, and so stands elsewhere.
        assert expected == state(value)
    for data, beside in pickles:
        again = pickle.loads(data, buffers=beside)
        assert state(again) == expected and type(again) is type(value) and again is not value
        if isinstance(again, rastel.Aoi):
            again.fill(99)
    assert state(copy.deepcopy(value)) == expected


@pytest.mark.parametrize("kind", ["whole", "rows", "vector"])
def test_buffers_of_pickles_are_the_elements_themselves(kind):
    value = everything()[kind]
    buffers = []
    data = pickle.dumps(value, 5, buffer_callback=buffers.append)
    raw, = (buffer.raw() for buffer in buffers)
    value.fill(3)
    assert len(data) < 1000 and raw == bytes(raw) and set(memoryview(value).tobytes()) <= set(raw.tobytes())
    if kind != "vector":
        # And the other way round.
        pickle.loads(data, buffers=[raw]).fill(4)
        assert value[(0,) * value.ndim] == 4


@pytest.mark.parametrize("spoil", [lambda place: place[:3], lambda place: (2**30,) + place[1:],
                                   lambda place: place[:3] + (9,) + place[4:], lambda place: (0,) * 13,
                                   lambda place: place[:6] + (9, 9) + place[8:]])
def test_pickles_that_lie_are_refused(spoil):
    for protocol in (4, 5):
        function, arguments = everything()["whole"].__reduce_ex__(protocol)
        index = protocol - 4
        with pytest.raises(ValueError):
            function(*arguments[:index], spoil(arguments[index]), *arguments[index + 1:])
