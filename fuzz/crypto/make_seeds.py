#!/usr/bin/env python3
"""Writes the seed corpora of the crypto fuzz targets into
tests/data/crypto/fuzz/<target>/.

Every seed is either a hand-written edge case or made here with Python's
zlib and plistlib and the openssl command line (AES-256-CBC with explicit key
and IV), so the corpus is reproducible: run this script again and commit the
result. Each seed's file name says what it is.
"""

import os
import plistlib
import subprocess
import sys
import zlib

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
OUT = os.path.join(ROOT, "tests", "data", "crypto", "fuzz")

DEFAULT_KEY = b"p4r7t2w9k1m6q3z8x5c0v7b2n9h4j6l1"
DEFAULT_IV = b"hzqowmrtyfdkc5bn"
# The key and IV the decrypt fuzz target uses (fuzz/crypto/fuzz_decrypt.cpp).
WALL_KEY = bytes.fromhex("603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4")
WALL_IV = bytes(range(16))


def aes(data, key, iv):
    return subprocess.run(["openssl", "enc", "-aes-256-cbc", "-K", key.hex(), "-iv", iv.hex()],
                          input=data, stdout=subprocess.PIPE, check=True).stdout


def raw_deflate(data, level=9):
    c = zlib.compressobj(level, zlib.DEFLATED, -15)
    return c.compress(data) + c.flush()


def write(target, name, data):
    folder = os.path.join(OUT, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def keyed_archive(objects, root=1, top_key="root"):
    return plistlib.dumps({"$version": 100000, "$archiver": "NSKeyedArchiver",
                           "$top": {top_key: plistlib.UID(root)}, "$objects": objects},
                          fmt=plistlib.FMT_BINARY)


U = plistlib.UID
DICT_CLASS = {"$classname": "NSMutableDictionary", "$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]}
ARRAY_CLASS = {"$classname": "NSMutableArray", "$classes": ["NSMutableArray", "NSArray", "NSObject"]}


def archives():
    yield "dict_strings_numbers.bplist", keyed_archive([
        "$null", {"NS.keys": [U(2), U(3), U(4)], "NS.objects": [U(5), U(6), U(7)], "$class": U(8)},
        "version", "count", "ratio", "3.2.1", 42, 0.5, DICT_CLASS])
    yield "nested_dict.bplist", keyed_archive([
        "$null", {"NS.keys": [U(2)], "NS.objects": [U(3)], "$class": U(6)},
        "inner", {"NS.keys": [U(4)], "NS.objects": [U(5)], "$class": U(6)}, "k", True, DICT_CLASS])
    yield "array_date_data.bplist", keyed_archive([
        "$null", {"NS.objects": [U(2), U(3), U(5)], "$class": U(6)}, b"\x00\x01",
        {"NS.time": 60.0, "$class": U(4)}, {"$classname": "NSDate", "$classes": ["NSDate", "NSObject"]},
        -7, ARRAY_CLASS])
    yield "nsstring_object.bplist", keyed_archive([
        "$null", {"NS.string": "text", "$class": U(2)},
        {"$classname": "NSMutableString", "$classes": ["NSMutableString", "NSString", "NSObject"]}])
    yield "older_key_form.bplist", keyed_archive([
        "$null", {"NS.key.0": U(2), "NS.object.0": U(3), "$class": U(4)}, "a", "b",
        {"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]}])
    yield "self_reference.bplist", keyed_archive([
        "$null", {"NS.keys": [U(2)], "NS.objects": [U(1)], "$class": U(3)}, "loop", DICT_CLASS])
    yield "uid_out_of_range.bplist", keyed_archive(["$null", {"NS.keys": [U(9)], "NS.objects": [U(9)], "$class": U(2)},
                                                    DICT_CLASS])


def main():
    # Base64.
    for name, text in [("rfc4648.txt", b"Zm9vYmFy"), ("crlf.txt", b"Zm9v\r\nYmFy"), ("padded.txt", b"Zg=="),
                       ("only_padding.txt", b"===="), ("noise.txt", b"*Z m\t9-v.Y!m F\"y#\xe4\xb8\xad"),
                       ("wrapped.txt", b"QUJD" * 19 + b"\r\n" + b"QUJD" * 5 + b"QQ==")]:
        write("base64", name, text)

    # BER.
    with open(os.path.join(ROOT, "tools", "devkeys", "dev_rsa_public.der"), "rb") as f:
        spki = f.read()
    write("ber", "subject_public_key_info.der", spki)
    write("ber", "rsa_public_key.der", spki[22:])
    for name, hexdata in [("sequence.der", "3003020105"), ("two_integers.der", "3009020200c30203010001"),
                          ("strings.der", "30081303616263160178"), ("context_a0.der", "a003020105"),
                          ("set.der", "3106020101020102"), ("long_length.der", "0481c8" + "7a" * 200),
                          ("length_128.der", "0480" + "61" * 128), ("utf8_refused.der", "0c0141"),
                          ("null.der", "0500")]:
        write("ber", name, bytes.fromhex(hexdata))

    # Keyed archives.
    for name, data in archives():
        write("keyed_archive", name, data)
    # Regression seed: a root number that is NaN.
    write("keyed_archive", "nan_root.bplist", keyed_archive(["$null", float("nan")]))
    write("keyed_archive", "key_with_zero.bplist", keyed_archive([
        "$null", {"NS.keys": [U(2)], "NS.objects": [U(2)], "$class": U(3)}, "a\x00b", DICT_CLASS]))
    with open(os.path.join(ROOT, "tests", "data", "crypto", "system_archiver_dict.xml"), "rb") as f:
        write("keyed_archive", "system_archiver_dict.xml", f.read())

    # Encrypted dictionary files.
    for name, data in archives():
        if name.startswith(("dict", "nested", "array")):
            text = __import__("base64").b64encode(aes(data, DEFAULT_KEY, DEFAULT_IV))
            write("aes_file", name.replace(".bplist", ".dat"), text)
    write("aes_file", "plain_xml.plist", plistlib.dumps({"version": "1.0", "count": 3, "nested": {"a": "b"}}))
    write("aes_file", "plain_binary.plist", plistlib.dumps({"on": True, "f": 1.5}, fmt=plistlib.FMT_BINARY))
    write("aes_file", "random_text.dat", b"The quick brown fox jumps over the lazy dog")
    # Regression seeds: dictionary keys holding a zero character once made the
    # property-list library abort the process.
    write("aes_file", "key_with_zero.bplist", plistlib.dumps({"a\x00b": 1}, fmt=plistlib.FMT_BINARY))
    write("aes_file", "key_with_zero_utf16.bplist", plistlib.dumps({"\u4e2d\x00": 1}, fmt=plistlib.FMT_BINARY))
    write("aes_file", "key_with_zero_reference.plist",
          b'<?xml version="1.0"?><plist version="1.0"><dict><key>a&#0;b</key><integer>1</integer></dict></plist>')

    # Encrypted-wall answers: the plaintext form and its encryption.
    payload = b'{"version":7,"list":[{"title":"help","url":"http://x/y"}]}'
    plain = b"\x00\x01\x02\x03" + raw_deflate(payload)
    write("decrypt", "answer_plaintext.bin", plain)
    write("decrypt", "answer_ciphertext.bin", aes(plain, WALL_KEY, WALL_IV))
    write("decrypt", "four_bytes.bin", b"\x00\x01\x02\x03")
    write("decrypt", "empty_payload.bin", b"abcd" + raw_deflate(b""))

    # Compressed streams.
    text = b"mac_feed_tpl?h=0123456789ABCDEF&v=1.2.3&r=0000&os=14.1&hv=7 " * 20
    write("unzip", "raw_deflate.bin", raw_deflate(text))
    write("unzip", "zlib.bin", zlib.compress(text))
    gz = zlib.compressobj(6, zlib.DEFLATED, 31)
    write("unzip", "gzip.bin", gz.compress(text) + gz.flush())
    write("unzip", "stored_block.bin", raw_deflate(bytes(range(256)) * 4, 0))
    write("unzip", "zeros.bin", raw_deflate(bytes(100000)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
