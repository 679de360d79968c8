#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the inputs that fuzzing starts from, and a dictionary: fuzz_seeds.py FOLDER

FOLDER/TARGET/... and FOLDER/words. They come from the samples and tables of the tests, so that every
class, version and form is among them. Also packs and unpacks kept inputs:

  fuzz_seeds.py --pack FOLDER FILE     all files of a folder, the shortest first
  fuzz_seeds.py --unpack FILE FOLDER
"""
import hashlib
import pathlib
import re
import struct
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
DATA = ROOT / "tests/data"
# The last part of a class's name, and the folder of its samples.
KINDS = {"vector": ("VectorKLP", "vectors"), "map": ("MapKLP", "maps"), "aoi": ("AOIKLP", "aois")}
RECORDS = [
    ("HH", 0, 0), ("HH", 1, 1), ("HHh", 2, 2, -7), ("HHi", 3, 3, 7), ("HHf", 4, 4, 1.5), ("HHd", 5, 5, 0.25),
    ("HHq", 6, 6, 12345), ("HHd", 7, 7, 36526.5), ("HHi", 10, 10, -1), ("HHh", 11, 11, -1),
    ("HHb", 16, 16, -1), ("HHB", 17, 17, 200), ("HHH", 18, 18, 65535), ("HHI", 19, 19, 1 << 31),
    ("HHq", 20, 20, -1), ("HHQ", 21, 21, 1 << 63), ("HHi", 22, 22, 1), ("HHI", 23, 23, 1),
    ("HHI6s", 8, 8, 6, b"a\0b\0"), ("HHI", 8, 8, 0), ("HHI10s", 14, 14, 10, b"-\x001\0.\x005\0"),
    ("HHI", 0x2003, 0x2003, 5), ("HHI", 0x400C, 0x400C, 5),
]


def keep(folder, bytes_):
    folder.mkdir(parents=True, exist_ok=True)
    (folder / hashlib.sha1(bytes_).hexdigest()[:16]).write_bytes(bytes_)


def classes():
    """Names and identifiers, in the order of registration."""
    text = (ROOT / "interfaces/identifiers.h").read_text()
    for name, body in re.findall(r"CLSID CLSID_(\w+)\{([^;]*)\};", text):
        n = [int(x, 16) for x in re.findall(r"0x[0-9A-F]+", body)]
        yield name, struct.pack("<IHH8B", *n)


def session_files(identifiers):
    """Small files that sessions of the tool make by their command `bytes`."""
    for path in sorted((DATA / "tool").iterdir()):
        lines = re.sub("\n> {7}", " ", path.read_text())
        for words in re.findall(r"^\$ bytes (.*) > \S+$", lines, re.MULTILINE):
            words = re.sub(r"\b(\d+)x\( ([^()]*) \)", lambda m: (m[2] + " ") * int(m[1]), words)
            words = "".join(identifiers[word].hex() if word in identifiers else word for word in words.split())
            if re.fullmatch("([0-9A-Fa-f]{2}){1,4096}", words):
                yield bytes.fromhex(words)


def write_seeds(folder):
    known = list(classes())
    for target, (ending, samples) in KINDS.items():
        kinds = [name[: -len(ending)].lower() for name, _ in known if name.endswith(ending)]
        kinds = [kind.removeprefix("attribute") for kind in kinds]
        for path in sorted((DATA / samples).iterdir()):
            kind = path.stem.split("_")[0]
            index = kinds.index(kind) if kind in kinds else 0
            keep(folder / target, bytes([index]) + path.read_bytes())
            identifier = [bytes_ for name, bytes_ in known if name.endswith(ending)][index]
            keep(folder / "dump", identifier + path.read_bytes())
    identifiers = dict(known)
    for file in session_files(identifiers):
        keep(folder / "dump", file)
        keep(folder / "picture", file)
    for path in (DATA / "pictures").glob("**/*.png"):
        if path.stat().st_size <= 4096:
            keep(folder / "picture", path.read_bytes())
    objects = [identifiers["ByteVectorKLP"] + (DATA / "vectors/byte_0103.vec").read_bytes(),
               identifiers["AttributeBstrMapKLP"] + (DATA / "maps/bstr_values.map").read_bytes(),
               identifiers["ByteAOIKLP"] + next((DATA / "aois").glob("byte_514*")).read_bytes(),
               bytes(range(16)) + b"nobody's", bytes(16)]
    for fields in RECORDS:
        record = struct.pack("<" + fields[0], *fields[1:])
        keep(folder / "tagged_record", record)
        keep(folder / "plain_record", record[2:])
    for vt in (9, 13):
        for each in objects:
            keep(folder / "plain_record", struct.pack("<H", vt) + each)
            size = struct.pack("<Q", len(each) - 16)
            keep(folder / "tagged_record", struct.pack("<H", vt) + each[:16] + size + each[16:])
    packets = re.findall(r"4D 45 4F 57(?: [0-9A-F]{2})+", (DATA / "objects/exchange.txt").read_text())
    for packet in packets:
        keep(folder / "object_reference", bytes.fromhex(packet))
    for path in [DATA / "registration.txt", DATA / "registration_removed.txt", *(DATA / "registry").iterdir()]:
        keep(folder / "registry_file", path.read_bytes()[:2048])
    for path in (ROOT / "module/frame/registration").glob("*.rgs*"):
        keep(folder / "registration_script", path.read_bytes())
    keep(folder / "registration_script", b"HKCR { ForceRemove A = s 'x%MODULE%' { val B = d '&H1F' val C = b '01FF' "
         b"val D = m 'a\\0b\\0' NoRemove E { Delete F } } }")
    # One call of each kind on each class.
    for first in range(21):
        keep(folder / "calls", bytes(b for call in range(6) for kind in range(18)
                                     for b in (0, 0, first, first % 8, call, first % 8, 3, 2, kind, 1, 2)))
    words = [identifier for _, identifier in known]
    words += [struct.pack("<H", v) for v in (256, 257, 258, 259, 512, 513, 514, 0x0102, 0x2000, 0x4000)]
    words += [struct.pack("<I", v) for v in (0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x40000000, 0x00100000)]
    words += [b"HKCR", b"NoRemove", b"ForceRemove", b"Delete", b"val", b"'", b"{", b"}", b"%MODULE%", b"%%",
              b"= s '", b"= d '", b"= b '", b"= m '", b"&H", b"rastelhost registry 1\n", b'key 1 "', b'value 1 "',
              b'" text "', b'" number ', b'" bytes ', b"\n"]
    (folder / "words").write_text("".join('"%s"\n' % "".join(f"\\x{b:02x}" for b in w) for w in words))


def pack(folder, file):
    inputs = sorted((p.read_bytes() for p in folder.iterdir()), key=lambda i: (len(i), i))
    file.write_bytes(b"".join(struct.pack("<I", len(i)) + i for i in inputs))
    print(f"{file.name}: {len(inputs)} inputs, {file.stat().st_size} bytes")


def unpack(file, folder):
    packed, at = file.read_bytes(), 0
    while at < len(packed):
        (size,) = struct.unpack_from("<I", packed, at)
        keep(folder, packed[at + 4:at + 4 + size])
        at += 4 + size


if sys.argv[1] == "--pack":
    pack(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))
elif sys.argv[1] == "--unpack":
    unpack(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))
elif sys.argv[1].startswith("-"):
    sys.exit(__doc__)
else:
    write_seeds(pathlib.Path(sys.argv[1]))
