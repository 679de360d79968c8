# SPDX-License-Identifier: MIT
"""Vectors and maps as Python's own sequences and mappings, and values on their way."""
import datetime
import uuid
from collections.abc import MutableMapping, MutableSequence

import pytest

import rastel


@pytest.mark.parametrize("dtype", ["uint8", "int16", "float64", "object"])
def test_a_vector_is_a_list(dtype):
    vector, expected = rastel.Vector([3, 1, 2], dtype), [3, 1, 2]
    assert isinstance(vector, MutableSequence) and str(vector.dtype) == dtype
    for index, tag in enumerate("cab"):
        vector.set_tag(index, tag)
    for change in (lambda x: x.append(7), lambda x: x.insert(1, 9), lambda x: x.insert(-99, 5), lambda x: x.pop(2),
                   lambda x: x.__delitem__(-1), lambda x: x.extend([4, 6, 8]), lambda x: x.reverse(),
                   lambda x: x.remove(6), lambda x: x.__setitem__(slice(0, 4, 2), [11, 12]),
                   lambda x: x.__delitem__(slice(None, None, 3))):
        change(vector)
        change(expected)
        assert list(vector) == expected
    assert list(vector[::-1]) == expected[::-1] and vector.index(expected[1]) == 1 and 99 not in vector
    tagged = rastel.Vector([3, 1, 2], dtype)
    tagged.set_tag(1, "one")
    tagged.insert(0, 8)
    del tagged[1]
    assert [tagged.tag(index) for index in range(3)] == [None, "one", None] and tagged.has_tags
    assert [tagged[::-1].tag(index) for index in range(3)] == [None, "one", None]
    for place in (3, -4):
        with pytest.raises(IndexError):
            vector[99 if place > 0 else -99]
    with pytest.raises(ValueError):
        vector[0:2] = [1]
    assert "rastel.Vector" in repr(vector) and len(rastel.Vector(3, dtype)) == 3


def test_numbers_are_made_to_fit():
    vector = rastel.Vector([300, -1.9, 2.9], "uint8")
    assert list(vector) == [255, 0, 2]
    assert list(rastel.Vector(bytes([1, 2]))) == [1, 2]
    with pytest.raises(BufferError):
        memoryview(rastel.Vector([1], "object"))


@pytest.mark.parametrize("key_type, keys, others", [
    (str, ["b", "a", "ä"], [1, 2.5, None]), (int, [3, -1, 2], ["a", 2.5, 2**31, True]), (float, [0.5, -2.0, 7.0], ["a", None])])
def test_a_map_is_a_dict(key_type, keys, others):
    attributes = rastel.Map(dict.fromkeys(keys, 1))
    assert isinstance(attributes, MutableMapping) and attributes.key_type is key_type
    assert list(attributes) == sorted(keys) and len(attributes) == 3
    for key in others:
        assert key not in attributes and attributes.get(key, 5) == 5
        with pytest.raises(KeyError):
            attributes[key]
        with pytest.raises(TypeError):
            attributes[key] = 1
    assert attributes.pop(keys[0]) == 1 and attributes.setdefault(keys[0], 8) == 8
    attributes.update({keys[1]: 6})
    assert attributes == {keys[0]: 8, keys[1]: 6, keys[2]: 1} == dict(attributes)
    attributes.override = False
    with pytest.raises(rastel.Error):
        attributes[keys[0]] = 0
    del attributes[keys[0]]
    with pytest.raises(KeyError):
        del attributes[keys[0]]
    attributes.clear()
    assert not attributes and not attributes.override and repr(attributes) == "rastel.Map({})"


@pytest.mark.parametrize("value", [
    None, True, False, 0, -2**31, 2**31, -2**63, 2**64 - 1, 1.5, float("inf"), "", "a\0b", "Grüße \U0001f9c0",
    datetime.datetime(2026, 11, 22, 10, 30, 15, 250000), datetime.datetime(1850, 1, 2, 3, 4, 5)], ids=repr)
def test_values_come_back_as_they_went(value):
    attributes = rastel.Map({"key": value})
    assert attributes["key"] == value and type(attributes["key"]) is type(value)
    # And through a stream.
    again = rastel.loads(rastel.dumps(attributes))["key"]
    assert again == value or value in (2**31, -2**63, 2**64 - 1)


@pytest.mark.parametrize("value, check", [
    ({"a": {"b": 1}}, lambda held: held["a"]["b"] == 1), ([1, [2, "x"]], lambda held: held[1][1] == "x"),
    (b"\1\2", lambda held: bytes(held) == b"\1\2"),
    (memoryview(b"123456").cast("B", [2, 3]), lambda held: held.shape == (2, 3) and held[1, 2] == ord("6")),
    ({3: 1}, lambda held: held.key_type is int)], ids=["map", "list", "bytes", "picture", "int keys"])
def test_containers_become_objects(value, check):
    attributes = rastel.Map({"key": value})
    assert check(attributes["key"]) and check(rastel.loads(rastel.dumps(attributes))["key"])
    assert attributes["key"] == attributes["key"]


@pytest.mark.parametrize("value", [2**64, object(), {1: 1, "a": 2}, lambda: 1])
def test_values_that_nobody_keeps(value):
    with pytest.raises((TypeError, OverflowError)):
        rastel.Map({"key": value})


def test_streams_make_only_what_the_program_allows():
    other = uuid.UUID("44EC053A-400F-11D0-9DCD-00A0C90391D3")  # the host's own; it is made, and cannot load
    own, stream = rastel.dumps(rastel.Vector([], "uint8"))[:16], rastel.dumps(rastel.Map({"a": rastel.Vector(b"12")}))
    only, made, refused = rastel.allow_only, "NOINTERFACE", "CLASSNOTREG"
    for say, words in ((lambda: only(other), made), (only, refused), (lambda: only(f"{{{other}}}"), made),
                       (lambda: only("AOIKLP.ByteKLP"), refused), (rastel.allow_all, made), (only, refused)):
        say()
        with pytest.raises(rastel.Error, match=words):
            rastel.loads(other.bytes_le)
    with pytest.raises(rastel.Error, match="No.Class: CO_E_CLASSSTRING"):
        only(other, "No.Class")
    kept = rastel.dumps(rastel.loads(stream.replace(own, other.bytes_le)))
    assert other.bytes_le in kept and bytes(rastel.loads(kept.replace(other.bytes_le, own))["a"]) == b"12"
