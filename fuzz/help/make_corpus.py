#!/usr/bin/env python3
"""Writes the seed corpus of fuzz_ziparchive into corpus/ziparchive.

Each file is one option byte (password choice and overwrite flag, see
fuzz_ziparchive.cpp) followed by a zip archive. Run again after changing the
seeds; the files are committed so that the normal build replays them.
"""
import io
import os
import shutil
import struct
import subprocess
import tempfile
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.join(HERE, "corpus", "ziparchive")
WHEN = (2020, 2, 29, 10, 20, 30)


def archive(entries, method=zipfile.ZIP_DEFLATED):
    buf = io.BytesIO()
    with zipfile.ZipFile(buf, "w") as z:
        for name, data in entries:
            info = zipfile.ZipInfo(name, date_time=WHEN)
            info.compress_type = method
            z.writestr(info, data)
    return bytearray(buf.getvalue())


def info_zip_encrypted():
    folder = tempfile.mkdtemp()
    try:
        with open(os.path.join(folder, "a.txt"), "wb") as f:
            f.write(b"fuzz me " * 64)
        with open(os.path.join(folder, "b.txt"), "wb") as f:
            f.write(b"x")
        subprocess.run(["zip", "-q", "-X", "-P", "pw", "e.zip", "a.txt", "b.txt"],
                       cwd=folder, check=True)
        with open(os.path.join(folder, "e.zip"), "rb") as f:
            return bytearray(f.read())
    finally:
        shutil.rmtree(folder)


def seeds():
    plain = archive([("a.txt", b"hello " * 50), ("dir/", b""), ("dir/b.bin", bytes(range(256)))])
    yield "plain", 0x00, plain
    yield "plain-overwrite", 0x80, plain
    yield "stored", 0x00, archive([("s.txt", b"stored bytes")], zipfile.ZIP_STORED)
    yield "backslash", 0x00, archive([("a\\b\\c.txt", b"c"), ("x\\", b"")])
    yield "slip", 0x00, archive([("../up.txt", b"u"), ("/abs.txt", b"a"), ("a/../../up2", b"v"),
                                 ("..\\..\\win.txt", b"w"), ("..", b""), ("ok.txt", b"ok")])
    yield "hidden", 0x00, archive([(".hidden", b"h"), ("d/.x", b"x"), ("", b"empty name")])
    yield "encrypted-right", 0x01, info_zip_encrypted()
    yield "encrypted-wrong", 0x02, info_zip_encrypted()
    yield "encrypted-none", 0x00, info_zip_encrypted()
    damaged = archive([("victim.txt", b"replacement content " * 200)])
    name_len, extra_len = struct.unpack("<HH", damaged[26:30])
    bad_data = bytearray(damaged)
    bad_data[30 + name_len + extra_len] = 0xFF
    yield "bad-deflate", 0x80, bad_data
    bad_local = bytearray(damaged)
    bad_local[0:2] = b"XX"
    yield "bad-local", 0x00, bad_local
    eocd = damaged.rfind(b"PK\x05\x06")
    central = struct.unpack("<I", damaged[eocd + 16:eocd + 20])[0]
    bad_central = bytearray(damaged)
    bad_central[central:central + 2] = b"XX"
    yield "bad-central", 0x00, bad_central
    huge_sizes = bytearray(damaged)
    huge_sizes[central + 24:central + 28] = struct.pack("<I", 0xFFFFFFF0)
    yield "huge-size", 0x00, huge_sizes
    yield "truncated", 0x00, damaged[:-30]
    yield "not-zip", 0x00, bytearray(b"PK\x03\x04 not really a zip")


def main():
    os.makedirs(OUT, exist_ok=True)
    for name, option, data in seeds():
        with open(os.path.join(OUT, name + ".bin"), "wb") as f:
            f.write(bytes([option]) + bytes(data))


if __name__ == "__main__":
    main()
