# SPDX-License-Identifier: MIT
"""Pictures in tiles, and objects on their way through the process pools that there are."""
import concurrent.futures
import copy
import multiprocessing
import os
import pathlib
import signal

import pytest

import rastel

dask = pytest.importorskip("dask")
numpy = pytest.importorskip("numpy")
from rastel import _picture_file  # noqa: E402
from rastel.dask import from_tiles, to_tiles  # noqa: E402

DATA = pathlib.Path(__file__).resolve().parents[2] / "tests" / "data" / "aois"
PLANES, HEIGHT, WIDTH, DEPTH = 2, 37, 53, 5


@pytest.fixture(autouse=True)
def threads():
    with dask.config.set(scheduler="threads"):
        yield


def picture(planes=PLANES, dtype="uint16"):
    pixels = numpy.arange(planes * HEIGHT * WIDTH).reshape(planes, HEIGHT, WIDTH).astype(dtype)
    made = rastel.array(pixels if planes > 1 else pixels[0], margin=DEPTH)
    made.name, made.tag = "ramp", 7
    made.attributes.update(gain=2.5, part=rastel.array(pixels[0, :2]))
    return made


def saved(made, folder):
    rastel.save(made, folder / "ramp.aoi")
    return folder / "ramp.aoi"


def blur(tile):
    pixels = tile.padded.astype("float64")
    return sum(pixels[..., y:y + tile.rect.height, x:x + tile.rect.width] for x in (0, 4) for y in (0, 4)) / 4


def twice(tile, factor=2):
    made = copy.deepcopy(tile)
    made.array[...] *= factor
    return made


@pytest.mark.parametrize("boundary", ["mirror", "periodic", "replicate", "zero"])
@pytest.mark.parametrize("source", ["object", "part", "file"])
def test_margins_are_the_neighbours(tmp_path, source, boundary):
    whole = picture()
    given = whole if source != "part" else whole.crop(3, 4, 41, 31)
    reference = rastel.array(given.array, margin=DEPTH)
    reference.fill_margins(boundary)
    tiles = to_tiles(saved(whole, tmp_path) if source == "file" else given, (16, 17), DEPTH, boundary)
    assert [place[2:] for place in tiles.places[:1]] == [(17, 16)]
    for tile, place in zip(dask.compute(*tiles), tiles.places):
        x, y, width, height = place
        expected = reference.stored[:, y:y + height + 2 * DEPTH, x:x + width + 2 * DEPTH]
        assert (tile.padded == expected).all() and tile.array.shape == (PLANES, height, width)
        assert (tile.name, tile.tag, len(tile.attributes)) == (given.name, given.tag, len(given.attributes))


@pytest.mark.parametrize("planes", [1, 3])
@pytest.mark.parametrize("is_file", [False, True])
def test_what_is_cut_is_put_together(tmp_path, is_file, planes):
    source = picture(planes)
    tiles = to_tiles(saved(source, tmp_path) if is_file else source, 20, 2)
    pixels = numpy.pad(source.array.reshape(planes, HEIGHT, WIDTH).astype("float64"),
                       ((0, 0), (2, 2), (2, 2)), "symmetric")
    blurred = sum(pixels[:, y:y + HEIGHT, x:x + WIDTH] for x in (0, 4) for y in (0, 4)) / 4
    from_tiles(tiles.map(blur), tmp_path / "blurred.aoi")
    for made in (from_tiles(tiles.map(blur)), rastel.load(tmp_path / "blurred.aoi")):
        assert (made.name, made.tag, made.attributes["gain"], made.dtype) == ("ramp", 7, 2.5, "float64")
        assert (made.array == blurred.reshape(made.shape)).all()
    # Of a dask array, with what another picture carries, over a file that there is.
    array = tiles.map(twice, factor=3).to_array()
    from_tiles(array, tmp_path / "blurred.aoi", like=source)
    made = rastel.load(tmp_path / "blurred.aoi")
    assert (made.array == source.array * 3).all() and (array.compute() == made.array).all()
    assert (made.name, made.dtype) == ("ramp", "uint16")
    assert {path.name for path in tmp_path.iterdir()} <= {"ramp.aoi", "blurred.aoi"}


@pytest.mark.parametrize("form", ["buffer", "rect"])
def test_both_forms_of_pixels_are_read_in_place(tmp_path, form):
    path = tmp_path / "form.aoi"
    path.write_bytes(rastel.dumps(rastel.empty((1, 1), "uint16"))[:16] +
                     (DATA / f"word_514_{form}.aoi").read_bytes())
    loaded = rastel.load(path)
    if form == "rect":  # begins with its margins
        loaded.rect = (1, 1, 3, 2)
    assert (from_tiles(to_tiles(path, 2)).array == loaded.array).all()


@pytest.mark.parametrize("damage, is_told", [
    (lambda data: data[:-1], "all its planes"), (lambda data: data + b"\0", "all its planes"),
    (lambda data: data[:16] + b"\1" + data[17:], "as save"), (lambda data: data[:30], "as save"),
    (lambda data: rastel.dumps(rastel.Vector(range(99), "int32")), "as save")])
def test_other_files_are_refused(tmp_path, damage, is_told):
    path = saved(picture(), tmp_path)
    path.write_bytes(damage(path.read_bytes()))
    with pytest.raises(ValueError, match=is_told):
        to_tiles(path)


@pytest.mark.parametrize("function, error", [
    (lambda tile: tile.array[..., 1:], ValueError), (lambda tile: None, ValueError),
    (lambda tile: tile.array.astype("u1" if tile.rect.width == 20 else "u2"), TypeError),
    (lambda tile: tile.array[:1 + (tile.rect.width == 20)], ValueError)])
def test_tiles_that_do_not_fit_leave_no_file(tmp_path, function, error):
    tiles = to_tiles(rastel.array(picture().array), 20).map(function)
    for target in (None, tmp_path / "out.aoi"):
        # Threads would go on with other tiles.
        with pytest.raises(error), dask.config.set(scheduler="synchronous"):
            from_tiles(tiles, target)
    assert not list(tmp_path.iterdir())


def objects():
    made = picture()
    vector = rastel.Vector([1.5, 2.5], "float64")
    return [made, made.crop(1, 2, 9, 8), vector, rastel.Map({"picture": made, "vector": vector, "n": 3})]


def content(thing):
    return rastel.dumps(thing)


def echo(thing):
    return thing, content(thing)


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_process_pools_take_objects(method):
    context = multiprocessing.get_context(method)
    with context.Pool(1) as pool, concurrent.futures.ProcessPoolExecutor(1, context) as executor:
        for run in (pool.map, executor.map):
            for sent, (back, seen) in zip(objects(), run(echo, objects())):
                assert type(back) is type(sent) and seen == content(back)
                if isinstance(sent, rastel.Aoi):
                    assert (sent.array == back.array).all() and back.name == sent.name
                else:
                    assert content(back) == content(rastel.loads(content(sent)))


# Of a worker, and of a picture that is larger.
LIMIT, HIGH, WIDE = 256 << 20, 20 << 10, 16 << 10


def soften(tile, killed):
    """Ends its own process once, where the picture says it."""
    if tile.array[0, 0] == 255 and not os.path.exists(killed):
        pathlib.Path(killed).touch()
        os.kill(os.getpid(), signal.SIGKILL)
    return (tile.padded[:-2, 1:-1] >> 1) + (tile.padded[2:, 1:-1] >> 1)


def test_a_picture_larger_than_a_workers_memory_survives_a_worker(tmp_path):
    distributed = pytest.importorskip("distributed")
    large, soft, killed = (str(tmp_path / name) for name in ("large.aoi", "soft.aoi", "killed"))
    head = rastel.dumps(_picture_file.without_pixels("uint8", picture()))
    offset = _picture_file.PictureFile.create(large, (1, HIGH, WIDE), head).offset
    pixels = numpy.memmap(large, "uint8", "r+", offset, (HIGH, WIDE))
    x, y = numpy.arange(WIDE), numpy.arange(HIGH)
    pixels[...] = ((x + x // 999) % 251).astype("uint8")
    pixels += ((3 * y + y // 77) % 4).astype("uint8")[:, None]
    pixels[HIGH // 2, WIDE // 2] = 255
    with dask.config.set(scheduler=None), distributed.LocalCluster(
            n_workers=2, threads_per_worker=1, memory_limit=LIMIT, dashboard_address=None) as cluster:
        with distributed.Client(cluster):
            from_tiles(to_tiles(large, 2048, 1, "replicate").map(soften, killed), soft)
    assert os.path.exists(killed) and LIMIT < pixels.nbytes
    made = _picture_file.PictureFile.open(soft).pixels()[0]
    for y in range(0, HIGH, 2048):
        part = pixels[numpy.clip(numpy.arange(y - 1, y + 2049), 0, HIGH - 1)]
        assert (made[y:y + 2048] == (part[:-2] >> 1) + (part[2:] >> 1)).all()
