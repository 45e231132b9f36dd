#!/usr/bin/env python3
"""Reference web service of the Vesko input method, for development, demos and tests.

Speaks every endpoint the assist panel uses, plainly and through the encrypted
wall "/q", keeps a journal of every request (as received and as decrypted),
keeps what users upload, and lets a test inject faults per endpoint.

    python3 tools/refservice/refservice.py --port 8731
    python3 tools/refservice/refservice.py --port 0 --data-dir /tmp/svc --journal /tmp/svc/journal.jsonl

The first line on standard output is "listening 127.0.0.1:PORT" (the real port
when --port 0 asked for a free one). The service listens on loopback only.
See docs/refservice.md for the wire format, the control endpoints and the faults.
"""

import argparse
import base64
import binascii
import copy
import datetime
import http.server
import json
import os
import re
import signal
import socket
import struct
import sys
import tempfile
import threading
import time
import traceback
import urllib.parse
import zlib

try:
    from cryptography.hazmat.primitives import serialization
    from cryptography.hazmat.primitives.asymmetric import padding
    from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes
except ImportError:  # pragma: no cover - reported to the user
    sys.stderr.write("refservice: python3-cryptography is required (apt-get install python3-cryptography)\n")
    sys.exit(2)

import content
import pictures

HERE = os.path.dirname(os.path.abspath(__file__))
REPO_ROOT = os.path.dirname(os.path.dirname(HERE))
DEFAULT_KEY = os.path.join(REPO_ROOT, "tools", "devkeys", "dev_rsa_private.pem")
STATIC_DIRS = [os.path.join(HERE, "static"), os.path.join(REPO_ROOT, "resources")]

MAX_BODY = 64 * 1024 * 1024
# Content codings the service can compress its answers with; "deflate-raw" is
# a bare DEFLATE stream labelled "deflate", as some services send it.
CODINGS = ("identity", "gzip", "deflate", "deflate-raw")
WALL_PATH = "/q"
FAULT_KINDS = ("delay", "status", "empty", "garbage", "truncate", "close", "drop", "answer")
# Valid Base64 whose bytes ("garbage, not ciphertext") are no AES-CBC ciphertext:
# 23 bytes, not a whole number of blocks, so no key decrypts them.
GARBAGE_CIPHERTEXT = base64.b64encode(b"garbage, not ciphertext")
GARBAGE_PLAIN = b"\x00\xffgarbage, not an answer\xfe"
B64_ALPHABET = re.compile(rb"[^A-Za-z0-9+/]")


class BadRequest(Exception):
    """A request the service refuses with status 400."""


# ---------------------------------------------------------------- encoding


def tolerant_b64decode(text):
    """Decodes Base64, skipping every character outside the alphabet."""
    if isinstance(text, str):
        text = text.encode("latin-1", "replace")
    data = B64_ALPHABET.sub(b"", text)
    data = data[: len(data) - len(data) % 4] if len(data) % 4 == 1 else data
    data += b"=" * (-len(data) % 4)
    return base64.b64decode(data)


def raw_inflate(data):
    inflater = zlib.decompressobj(-15)
    try:
        out = inflater.decompress(data) + inflater.flush()
    except zlib.error as error:
        raise BadRequest(f"not a DEFLATE stream: {error}")
    if not inflater.eof:
        raise BadRequest("DEFLATE stream is truncated")
    return out


def raw_deflate(data):
    deflater = zlib.compressobj(9, zlib.DEFLATED, -15)
    return deflater.compress(data) + deflater.flush()


def encode_content(data, coding):
    """data compressed with coding (one of CODINGS)."""
    if coding == "gzip":
        deflater = zlib.compressobj(6, zlib.DEFLATED, 31)
        return deflater.compress(data) + deflater.flush()
    if coding == "deflate":
        return zlib.compress(data, 6)
    if coding == "deflate-raw":
        return raw_deflate(data)
    return data


def accepts_coding(accept_encoding, token):
    """Whether an Accept-Encoding value allows the content coding token (q > 0,
    named or through "*"). Without the field the service sends no coding."""
    if accept_encoding is None:
        return False
    qualities = {}
    for item in accept_encoding.split(","):
        name, _, params = item.strip().partition(";")
        quality = 1.0
        for param in params.split(";"):
            key, _, value = param.strip().partition("=")
            if key.strip().lower() == "q":
                try:
                    quality = float(value)
                except ValueError:
                    quality = 0.0
        if name.strip():
            qualities[name.strip().lower()] = quality
    return qualities.get(token, qualities.get("*", 0.0)) > 0


def aes_decrypt(key, iv, data):
    if not data or len(data) % 16:
        raise BadRequest(f"ciphertext of {len(data)} bytes is not a whole number of AES blocks")
    decryptor = Cipher(algorithms.AES(key), modes.CBC(iv)).decryptor()
    plain = decryptor.update(data) + decryptor.finalize()
    pad = plain[-1]
    if pad < 1 or pad > 16 or plain[-pad:] != bytes([pad]) * pad:
        raise BadRequest("bad PKCS#7 padding (wrong key or IV?)")
    return plain[:-pad]


def aes_encrypt(key, iv, data):
    pad = 16 - len(data) % 16
    encryptor = Cipher(algorithms.AES(key), modes.CBC(iv)).encryptor()
    return encryptor.update(data + bytes([pad]) * pad) + encryptor.finalize()


def wrap_answer(key, iv, payload):
    """The wall's answer: Base64 of AES(4 bytes + bare DEFLATE of the payload).

    The 4 leading bytes, which clients skip, carry the payload's length in
    bytes, big-endian, so that a reader can check the inflated size."""
    plain = struct.pack(">I", len(payload)) + raw_deflate(payload)
    return base64.b64encode(aes_encrypt(key, iv, plain))


def unwrap_answer(key, iv, text):
    """Inverse of wrap_answer (used by the self-test and handy in a REPL)."""
    plain = aes_decrypt(key, iv, tolerant_b64decode(text))
    return raw_inflate(plain[4:])


def text_of(data):
    return data.decode("utf-8", "replace")


def bytes_field(data, limit=4096):
    """Journal form of a byte string: its length, Base64, and its text when it is UTF-8."""
    field = {"len": len(data), "base64": base64.b64encode(data).decode("ascii")}
    try:
        field["text"] = data.decode("utf-8") if len(data) <= limit * 16 else None
    except UnicodeDecodeError:
        field["text"] = None
    return field


def parse_query(query):
    """Ordered (name, value) pairs of a query, percent-decoded as UTF-8."""
    return urllib.parse.parse_qsl(query, keep_blank_values=True, encoding="utf-8", errors="replace")


def header_params(value):
    """Main value and parameters of a header such as Content-Type."""
    parts = [p.strip() for p in (value or "").split(";")]
    params = {}
    for part in parts[1:]:
        if "=" in part:
            name, _, val = part.partition("=")
            params[name.strip().lower()] = val.strip().strip('"')
    return parts[0].lower(), params


_DISPOSITION_PARAM = re.compile(r';\s*([A-Za-z0-9_-]+)="((?:[^"\\]|\\.)*)"')


def parse_multipart(body, boundary):
    """Parts of a multipart/form-data body, strictly: every delimiter line,
    every header block and the closing delimiter must be where they belong."""
    if not boundary:
        raise BadRequest("multipart body without a boundary")
    delimiter = b"--" + boundary.encode("utf-8")
    if not body.startswith(delimiter + b"\r\n"):
        raise BadRequest("multipart body does not begin with its boundary line")
    parts = []
    pos = 0
    while True:
        pos += len(delimiter)
        if body[pos : pos + 2] == b"--":
            if body[pos:] != b"--\r\n":
                raise BadRequest("multipart body does not end with CR LF after its closing boundary")
            break
        if body[pos : pos + 2] != b"\r\n":
            raise BadRequest("boundary line not followed by CR LF")
        pos += 2
        end_of_headers = body.find(b"\r\n\r\n", pos)
        if end_of_headers < 0:
            raise BadRequest("multipart part without the empty line after its headers")
        header_lines = body[pos:end_of_headers].decode("utf-8", "replace").split("\r\n")
        pos = end_of_headers + 4
        next_delimiter = body.find(b"\r\n" + delimiter, pos)
        if next_delimiter < 0:
            raise BadRequest("multipart part is not closed by a boundary")
        data = body[pos:next_delimiter]
        pos = next_delimiter + 2
        headers = []
        disposition = {}
        for line in header_lines:
            name, _, value = line.partition(":")
            headers.append([name.strip(), value.strip()])
            if name.strip().lower() == "content-disposition":
                disposition = {k.lower(): v.replace('\\"', '"') for k, v in _DISPOSITION_PARAM.findall(value)}
        parts.append({"headers": headers, "name": disposition.get("name"), "filename": disposition.get("filename"), "data": data})
    return parts


def safe_file_name(name, fallback):
    name = os.path.basename((name or "").replace("\\", "/"))
    name = re.sub(r"[^\w.\-\u4e00-\u9fff]", "_", name).lstrip(".")
    return name or fallback


# ----------------------------------------------------------------- service


class Request:
    """One request as an endpoint sees it (plain, or unwrapped from the wall)."""

    def __init__(self, method, path, query, headers, body, base, via_wall):
        self.method = method
        self.path = path
        self.query_text = query
        self.query = parse_query(query)
        self.headers = headers
        self.body = body
        self.base = base
        self.via_wall = via_wall

    def header(self, name):
        name = name.lower()
        for key, value in self.headers:
            if key.lower() == name:
                return value
        return None

    def arg(self, name, default=None):
        for key, value in self.query:
            if key == name:
                return value
        return default


class Answer:
    def __init__(self, status=200, body=b"", content_type="application/json; charset=utf-8", headers=None):
        self.status = status
        self.body = body
        self.content_type = content_type
        self.headers = headers or []


def json_answer(obj, status=200):
    return Answer(status, json.dumps(obj, ensure_ascii=False).encode("utf-8"))


def html_answer(page, status=200):
    return Answer(status, page, "text/html; charset=utf-8")


class Service:
    def __init__(self, key, data_dir, journal_path, verbose):
        self.key = key
        self.data_dir = data_dir
        self.journal_path = journal_path
        self.verbose = verbose
        self.lock = threading.Lock()
        self.seq = 0
        self.journal = []
        self.faults = []
        self.help_list = None
        self.coding = "identity"
        self.analytics_ids = set()
        self.analytics = []
        # Published ratings the overview starts from, then every rating received.
        self.ratings = {1: 4, 2: 3, 3: 12, 4: 41, 5: 140}
        for folder in ("feedback", "uploads", "analytics", "reports"):
            os.makedirs(os.path.join(data_dir, folder), exist_ok=True)
        self._load_analytics()
        self.journal_file = open(journal_path, "a", encoding="utf-8")

    # journal ------------------------------------------------------------

    def next_seq(self):
        with self.lock:
            self.seq += 1
            return self.seq

    def record(self, entry):
        line = json.dumps(entry, ensure_ascii=False)
        with self.lock:
            self.journal.append(entry)
            self.journal_file.write(line + "\n")
            self.journal_file.flush()

    def entries(self, since):
        with self.lock:
            return [e for e in self.journal if e["seq"] > since]

    # faults -------------------------------------------------------------

    def add_fault(self, spec):
        if not isinstance(spec, dict):
            raise BadRequest("a fault is a JSON object")
        path = spec.get("path")
        kind = spec.get("fault")
        if not isinstance(path, str) or not path:
            raise BadRequest('a fault needs "path" (an endpoint path, or "*")')
        if kind not in FAULT_KINDS:
            raise BadRequest(f'"fault" must be one of {", ".join(FAULT_KINDS)}')
        if kind == "status" and not isinstance(spec.get("status"), int):
            raise BadRequest('fault "status" needs an integer "status"')
        if kind == "delay" and not isinstance(spec.get("ms"), (int, float)):
            raise BadRequest('fault "delay" needs "ms"')
        headers = spec.get("headers", [])
        if not isinstance(headers, list) or not all(
            isinstance(h, list) and len(h) == 2 and all(isinstance(x, str) for x in h) for h in headers
        ):
            raise BadRequest('"headers" must be a list of [name, value] texts')
        count = spec.get("count")
        if count is not None and (not isinstance(count, int) or count < 1):
            raise BadRequest('"count" must be a positive integer')
        fault = dict(spec)
        with self.lock:
            self.faults.append(fault)
        return fault

    def take_fault(self, path):
        """The first fault set for path (or "*"), used up by one when counted."""
        with self.lock:
            for fault in self.faults:
                if fault["path"] in (path, "*"):
                    if fault.get("count") is not None:
                        fault["count"] -= 1
                        if fault["count"] == 0:
                            self.faults.remove(fault)
                    return dict(fault)
        return None

    # analytics ----------------------------------------------------------

    def _analytics_file(self):
        return os.path.join(self.data_dir, "analytics", "events.jsonl")

    def _load_analytics(self):
        try:
            with open(self._analytics_file(), encoding="utf-8") as f:
                for line in f:
                    try:
                        event = json.loads(line)
                    except ValueError:
                        continue
                    self.analytics.append(event)
                    self.analytics_ids.add(event.get("event", {}).get("id"))
        except FileNotFoundError:
            pass

    def accept_events(self, events):
        accepted, duplicates, rejected = [], [], []
        with self.lock:
            with open(self._analytics_file(), "a", encoding="utf-8") as f:
                for event in events:
                    event_id = event.get("id") if isinstance(event, dict) else None
                    if not isinstance(event_id, str) or not event_id or not isinstance(event.get("code"), str):
                        rejected.append(event_id if isinstance(event_id, str) else None)
                        continue
                    if event_id in self.analytics_ids:
                        duplicates.append(event_id)
                        continue
                    record = {"received": now_text(), "event": event}
                    self.analytics_ids.add(event_id)
                    self.analytics.append(record)
                    f.write(json.dumps(record, ensure_ascii=False) + "\n")
                    accepted.append(event_id)
                f.flush()
                os.fsync(f.fileno())
        return accepted, duplicates, rejected

    # help list ----------------------------------------------------------

    def current_help_list(self, base):
        with self.lock:
            source = copy.deepcopy(self.help_list if self.help_list is not None else content.HELP_LIST)

        def fill(value):
            if isinstance(value, str):
                return value.replace("{base}", base)
            if isinstance(value, list):
                return [fill(v) for v in value]
            if isinstance(value, dict):
                return {k: fill(v) for k, v in value.items()}
            return value

        return fill(source)

    # ratings ------------------------------------------------------------

    def add_rating(self, score):
        with self.lock:
            self.ratings[score] += 1

    def overview(self):
        with self.lock:
            counts = dict(self.ratings)
        total = sum(counts.values())
        average = sum(score * n for score, n in counts.items()) / total
        ratio = {str(score): round(100.0 * counts[score] / total, 1) for score in range(1, 6)}
        return {"avg": round(average, 1), "ratio": ratio, "count": total}


def now_text():
    return datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="milliseconds")


# --------------------------------------------------------------- endpoints


def endpoint_help_list(service, req, entry):
    entry["endpoint_args"] = dict(req.query)
    return json_answer(service.current_help_list(req.base))


def endpoint_static(service, req, entry):
    name = req.path[len("/static/") :]
    if ".." in name.split("/") or name.startswith("/"):
        return html_answer(content.NOT_FOUND_PAGE, 404)
    for folder in STATIC_DIRS:
        path = os.path.join(folder, name)
        if os.path.isfile(path):
            with open(path, "rb") as f:
                data = f.read()
            kind = {".png": "image/png", ".gif": "image/gif", ".jpg": "image/jpeg"}.get(os.path.splitext(path)[1].lower(), "application/octet-stream")
            return Answer(200, data, kind)
    stem, ext = os.path.splitext(os.path.basename(name))
    if name.startswith("help/") and ext == ".png":
        data = pictures.picture(stem)
        if data is not None:
            return Answer(200, data, "image/png")
    return html_answer(content.NOT_FOUND_PAGE, 404)


def multipart_of(req, entry):
    kind, params = header_params(req.header("Content-Type"))
    boundary = params.get("boundary") if kind == "multipart/form-data" else None
    if not boundary and req.body.startswith(b"--"):
        # Through the wall the multipart body arrives encrypted; its boundary
        # is read from the outer header or, failing that, from its first line.
        boundary = req.body[2 : req.body.find(b"\r\n")].decode("utf-8", "replace")
    parts = parse_multipart(req.body, boundary)
    entry["multipart"] = {
        "boundary": boundary,
        "parts": [
            {
                "name": p["name"],
                "filename": p["filename"],
                "headers": p["headers"],
                "len": len(p["data"]),
                "value": text_of(p["data"]) if p["filename"] is None else None,
            }
            for p in parts
        ],
    }
    return parts


def endpoint_feedback(service, req, entry):
    entry["endpoint_args"] = dict(req.query)
    try:
        parts = multipart_of(req, entry)
    except BadRequest as error:
        entry["error"] = str(error)
        return json_answer({"code": 2, "msg": f"无法解析反馈内容：{error}"})
    fields = {p["name"]: text_of(p["data"]) for p in parts if p["filename"] is None and p["name"]}
    files = [p for p in parts if p["filename"] is not None]
    folder = os.path.join(service.data_dir, "feedback", f"{entry['seq']:06d}")
    os.makedirs(folder, exist_ok=True)
    stored = []
    for part in files:
        if not part["data"] and not part["filename"]:
            continue
        path = os.path.join(folder, safe_file_name(part["filename"], "attachment.bin"))
        with open(path, "wb") as f:
            f.write(part["data"])
        stored.append(path)
    with open(os.path.join(folder, "feedback.json"), "w", encoding="utf-8") as f:
        json.dump({"query": dict(req.query), "fields": fields, "files": stored, "received": now_text()}, f, ensure_ascii=False, indent=1)
    entry["stored"] = stored
    entry["stored_folder"] = folder
    if not fields.get("detail", "").strip():
        return json_answer({"code": 1, "msg": "请填写问题描述后再提交"})
    return json_answer({"code": 0, "msg": "提交成功，感谢您的反馈！"})


def endpoint_file_upload(service, req, entry):
    entry["endpoint_args"] = dict(req.query)
    try:
        parts = multipart_of(req, entry)
    except BadRequest as error:
        entry["error"] = str(error)
        return json_answer({"code": 2, "msg": str(error)}, 400)
    files = [p for p in parts if p["filename"] is not None]
    if not files:
        return json_answer({"code": 1, "msg": "no file part"}, 400)
    stored = []
    for part in files:
        name = f"{entry['seq']:06d}-{safe_file_name(part['filename'], 'upload.bin')}"
        path = os.path.join(service.data_dir, "uploads", name)
        with open(path, "wb") as f:
            f.write(part["data"])
        stored.append(path)
    entry["stored"] = stored
    return json_answer({"code": 0, "msg": "ok", "size": sum(len(p["data"]) for p in files)})


def endpoint_pingback(service, req, entry):
    args = dict(req.query)
    entry["endpoint_args"] = args
    with service.lock:
        with open(os.path.join(service.data_dir, "reports", "lost.jsonl"), "a", encoding="utf-8") as f:
            f.write(json.dumps({"received": now_text(), "query": args}, ensure_ascii=False) + "\n")
    if req.via_wall:
        return json_answer({"code": 0})
    return Answer(200, content.PIXEL_GIF, "image/gif")


def endpoint_click_save(service, req, entry):
    args = dict(req.query)
    entry["endpoint_args"] = args
    try:
        score = int(args.get("score", ""))
    except ValueError:
        score = 0
    if score < 1 or score > 5:
        return json_answer({"code": 1, "msg": "评分无效"})
    service.add_rating(score)
    return json_answer({"code": 0, "msg": "提交成功，感谢您的评分"})


def endpoint_click_overview(service, req, entry):
    entry["endpoint_args"] = dict(req.query)
    return json_answer({"code": 0, "msg": "ok", "data": service.overview()})


def endpoint_analytics(service, req, entry):
    if req.method not in ("POST", "PUT"):
        return json_answer({"code": 1, "msg": "POST a JSON batch of events"}, 405)
    try:
        batch = json.loads(req.body.decode("utf-8"))
    except (UnicodeDecodeError, ValueError) as error:
        return json_answer({"code": 1, "msg": f"not JSON: {error}"}, 400)
    events = batch.get("events") if isinstance(batch, dict) else batch
    if not isinstance(events, list):
        return json_answer({"code": 1, "msg": 'expected {"events": [...]} or a JSON array'}, 400)
    accepted, duplicates, rejected = service.accept_events(events)
    entry["analytics"] = {"accepted": accepted, "duplicates": duplicates, "rejected": len(rejected)}
    return json_answer({"code": 0, "accepted": len(accepted), "duplicates": len(duplicates), "rejected": len(rejected)})


def endpoint_change_log(service, req, entry):
    if req.arg("f") == "embeddedchangelog":
        return html_answer(content.CHANGE_LOG)
    return html_answer(content.NOT_FOUND_PAGE, 404)


def endpoint_about(service, req, entry):
    page = content.ABOUT_PAGES.get(req.arg("t", ""))
    return html_answer(page) if page else html_answer(content.NOT_FOUND_PAGE, 404)


def endpoint_home(service, req, entry):
    return html_answer(content.HOME_PAGE)


def endpoint_echo(service, req, entry):
    """Describes the request it received (tests of the HTTP client layer)."""
    status = int(req.arg("status", "200") or 200)
    return json_answer(
        {
            "method": req.method,
            "path": req.path,
            "query": req.query_text,
            "args": dict(req.query),
            "headers": req.headers,
            "body": base64.b64encode(req.body).decode("ascii"),
            "via_wall": req.via_wall,
        },
        status,
    )


def endpoint_bytes(service, req, entry):
    """n deterministic bytes (byte i is i mod 251), for progress reporting."""
    try:
        n = max(0, min(int(req.arg("n", "0")), MAX_BODY))
    except ValueError:
        n = 0
    pattern = bytes(range(251))
    data = (pattern * (n // 251 + 1))[:n]
    return Answer(200, data, req.arg("type", "application/octet-stream"))


ENDPOINTS = {
    "/mac_feed_tpl": endpoint_help_list,
    "/macfb/v1/macfeedback": endpoint_feedback,
    "/api/rec/file.php": endpoint_file_upload,
    "/lost.gif": endpoint_pingback,
    "/macfb/v1/click_save": endpoint_click_save,
    "/macfb/v1/click_overview": endpoint_click_overview,
    "/analytics/v1/events": endpoint_analytics,
    "/mac/proxy/": endpoint_change_log,
    "/proxy/inputclient.php": endpoint_about,
    "/": endpoint_home,
    "/__test/echo": endpoint_echo,
    "/__test/bytes": endpoint_bytes,
}


def dispatch(service, req, entry):
    entry["endpoint"] = req.path
    handler = ENDPOINTS.get(req.path)
    if handler is None and req.path.startswith("/static/"):
        handler = endpoint_static
    if handler is None:
        return html_answer(content.NOT_FOUND_PAGE, 404)
    return handler(service, req, entry)


# ----------------------------------------------------------------- the wall


def unwrap_wall(service, body):
    """Fields of a wall body, decrypted: (u text, g text or None, p bytes or None, key, iv, field order)."""
    try:
        text = body.decode("ascii")
    except UnicodeDecodeError:
        raise BadRequest("wall body is not ASCII text")
    fields = {}
    order = []
    for item in text.split("&"):
        name, sep, value = item.partition("=")
        if not sep:
            raise BadRequest(f"wall body item without '=': {item[:40]!r}")
        if name in fields:
            raise BadRequest(f"wall field {name!r} given twice")
        fields[name] = value
        order.append(name)
    for name in ("u", "k", "v"):
        if name not in fields:
            raise BadRequest(f"wall body without field {name!r}")

    def unwrap_rsa(name, size):
        try:
            wrapped = tolerant_b64decode(fields[name])
            value = service.key.decrypt(wrapped, padding.PKCS1v15())
        except (ValueError, binascii.Error) as error:
            raise BadRequest(f"field {name!r} does not decrypt with the service key: {error}")
        if len(value) != size:
            raise BadRequest(f"field {name!r} holds {len(value)} bytes, expected {size}")
        return value, len(wrapped)

    key, key_len = unwrap_rsa("k", 32)
    iv, iv_len = unwrap_rsa("v", 16)

    def field(name):
        if name not in fields:
            return None
        try:
            cipher = tolerant_b64decode(fields[name])
        except binascii.Error as error:
            raise BadRequest(f"field {name!r} is not Base64: {error}")
        try:
            return raw_inflate(aes_decrypt(key, iv, cipher))
        except BadRequest as error:
            raise BadRequest(f"field {name!r}: {error}")

    u = field("u")
    g = field("g")
    p = field("p")
    return {
        "fields": order,
        "u": u,
        "g": g,
        "p": p,
        "key": key,
        "iv": iv,
        "k_chars": len(fields["k"]),
        "v_chars": len(fields["v"]),
        "k_bytes": key_len,
        "v_bytes": iv_len,
    }


# ------------------------------------------------------------ HTTP handler


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "VeskoRefService/1.0"
    service = None  # set by main()

    def log_message(self, fmt, *args):
        if self.service.verbose:
            sys.stderr.write("refservice: %s - %s\n" % (self.address_string(), fmt % args))

    def do_GET(self):
        self.serve()

    def do_POST(self):
        self.serve()

    def do_PUT(self):
        self.serve()

    def do_DELETE(self):
        self.serve()

    def do_HEAD(self):
        self.serve()

    # reading ------------------------------------------------------------

    def read_body(self):
        if "chunked" in (self.headers.get("Transfer-Encoding") or "").lower():
            chunks = []
            total = 0
            while True:
                line = self.rfile.readline(1024)
                size = int(line.split(b";")[0].strip() or b"0", 16)
                if size == 0:
                    while self.rfile.readline(1024) not in (b"\r\n", b"\n", b""):
                        pass
                    break
                total += size
                if total > MAX_BODY:
                    raise BadRequest("body too large")
                chunks.append(self.rfile.read(size))
                self.rfile.readline(1024)
            return b"".join(chunks)
        length = self.headers.get("Content-Length")
        if not length:
            return b""
        try:
            n = int(length)
        except ValueError:
            raise BadRequest("bad Content-Length")
        if n < 0 or n > MAX_BODY:
            raise BadRequest("body too large")
        return self.rfile.read(n)

    # writing ------------------------------------------------------------

    def head_bytes(self, status, headers):
        reason = http.HTTPStatus(status).phrase if status in http.HTTPStatus._value2member_map_ else "Status"
        lines = [f"HTTP/1.1 {status} {reason}"]
        lines += [f"{k}: {v}" for k, v in headers]
        return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1")

    def coding_for(self, answer):
        """The content coding the answer goes out with: the service's, when the
        request accepts it and the answer carries no coding of its own."""
        coding = self.service.coding
        no_body = self.command == "HEAD" or answer.status in (204, 304) or 100 <= answer.status < 200
        own = any(name.lower() == "content-encoding" for name, _ in answer.headers)
        token = "deflate" if coding == "deflate-raw" else coding
        if coding == "identity" or no_body or own or not accepts_coding(self.headers.get("Accept-Encoding"), token):
            return "identity"
        return coding

    def send(self, answer, fault, coding="identity"):
        kind = fault["fault"] if fault else None
        payload = encode_content(answer.body, coding)
        body = payload if self.command != "HEAD" else b""
        no_body = answer.status in (204, 304) or 100 <= answer.status < 200
        if no_body:
            body = b""
        headers = [("Server", self.server_version), ("Date", self.date_time_string())]
        if answer.content_type and not no_body:
            headers.append(("Content-Type", answer.content_type))
        if coding != "identity":
            headers += [("Content-Encoding", "deflate" if coding == "deflate-raw" else coding), ("Vary", "Accept-Encoding")]
        headers += answer.headers
        if kind == "drop":
            self.close_connection = True
            return
        if kind == "close":
            # The status line and half a header, then the connection ends.
            self.wfile.write(f"HTTP/1.1 {answer.status} OK\r\nContent-Type: text/pl".encode("latin-1"))
            self.wfile.flush()
            self.close_connection = True
            return
        if kind == "truncate":
            declared = max(len(body), 2)
            headers += [("Content-Length", str(declared)), ("Connection", "close")]
            self.wfile.write(self.head_bytes(answer.status, headers) + body[: declared // 2])
            self.wfile.flush()
            self.close_connection = True
            return
        if not no_body:
            headers.append(("Content-Length", str(len(payload))))
        if self.close_connection:
            headers.append(("Connection", "close"))
        self.wfile.write(self.head_bytes(answer.status, headers) + body)
        self.wfile.flush()

    # the request --------------------------------------------------------

    def base_url(self):
        host = self.headers.get("Host") or "%s:%d" % self.server.server_address[:2]
        return "http://" + host

    def serve(self):
        try:
            self.serve_request()
        except (BrokenPipeError, ConnectionResetError):
            self.close_connection = True

    def serve_request(self):
        split = urllib.parse.urlsplit(self.path)
        path, query = split.path or "/", split.query
        headers = [[k, v] for k, v in self.headers.items()]
        try:
            body = self.read_body()
        except (BadRequest, ValueError) as error:
            self.close_connection = True
            self.send(Answer(400, f"bad request: {error}\n".encode(), "text/plain; charset=utf-8"), None)
            return

        if path.startswith("/__control/"):
            self.send(self.control(path, query, body), None)
            return

        service = self.service
        entry = {
            "seq": service.next_seq(),
            "time": now_text(),
            "client": "%s:%d" % self.client_address[:2],
            "method": self.command,
            "target": self.path,
            "path": path,
            "query": query,
            "args": parse_query(query),
            "headers": headers,
            "body": bytes_field(body),
        }
        fault = service.take_fault(path)
        key_iv = None
        try:
            if path == WALL_PATH and self.command == "POST":
                try:
                    wall = unwrap_wall(service, body)
                except BadRequest as error:
                    entry["wall_error"] = str(error)
                    answer = Answer(400, f"bad wall request: {error}\n".encode(), "text/plain; charset=utf-8")
                else:
                    key_iv = (wall["key"], wall["iv"])
                    address = text_of(wall["u"])
                    inner_query = text_of(wall["g"]) if wall["g"] is not None else ""
                    inner_body = wall["p"] if wall["p"] is not None else b""
                    entry["decrypted"] = {
                        "fields": wall["fields"],
                        "u": address,
                        "g": text_of(wall["g"]) if wall["g"] is not None else None,
                        "p": bytes_field(wall["p"]) if wall["p"] is not None else None,
                        "key": wall["key"].hex(),
                        "iv": wall["iv"].hex(),
                        "k_chars": wall["k_chars"],
                        "v_chars": wall["v_chars"],
                        "args": parse_query(inner_query),
                    }
                    inner_path = urllib.parse.urlsplit(address).path or "/"
                    if fault is None:
                        fault = service.take_fault(inner_path)
                    inner = Request("POST", inner_path, inner_query, headers, inner_body, self.base_url(), True)
                    answer = self.answer_for(inner, entry, fault)
            else:
                req = Request(self.command, path, query, headers, body, self.base_url(), False)
                answer = self.answer_for(req, entry, fault)
        except Exception as error:  # a bug of the service: say so, keep serving
            entry["error"] = traceback.format_exc()
            answer = Answer(500, f"internal error: {error}\n".encode(), "text/plain; charset=utf-8")

        if key_iv and answer.status == 200 and not (fault and fault.get("raw")):
            entry["answer_plain"] = bytes_field(answer.body)
            answer = Answer(200, wrap_answer(key_iv[0], key_iv[1], answer.body), "text/plain; charset=utf-8", answer.headers)
        answer = self.apply_fault(answer, fault, key_iv is not None)
        coding = self.coding_for(answer)
        entry["answer"] = {"status": answer.status, "len": len(answer.body), "fault": fault, "coding": coding}
        service.record(entry)
        if fault and fault.get("ms"):
            # Every fault may wait before it answers; "delay" only waits.
            time.sleep(float(fault["ms"]) / 1000.0)
        self.send(answer, fault, coding)

    def answer_for(self, req, entry, fault):
        if fault and fault["fault"] == "answer":
            if "json" in fault:
                body = json.dumps(fault["json"], ensure_ascii=False).encode("utf-8")
            elif "body_base64" in fault:
                body = base64.b64decode(fault["body_base64"])
            else:
                body = str(fault.get("body", "")).encode("utf-8")
            entry["endpoint"] = req.path
            headers = [tuple(h) for h in fault.get("headers", [])]
            return Answer(int(fault.get("status", 200)), body, fault.get("content_type", "application/json; charset=utf-8"), headers)
        return dispatch(self.service, req, entry)

    def apply_fault(self, answer, fault, wall):
        kind = fault["fault"] if fault else None
        if kind == "status":
            answer.status = fault["status"]
        elif kind == "empty":
            answer.status = int(fault.get("status", 200))
            answer.body = b""
        elif kind == "garbage":
            answer.status = int(fault.get("status", 200))
            answer.body = GARBAGE_CIPHERTEXT if wall else GARBAGE_PLAIN
            answer.content_type = "text/plain; charset=utf-8" if wall else "application/json; charset=utf-8"
        if fault and fault.get("content_type") and kind != "answer":
            answer.content_type = fault["content_type"]
        return answer

    # control ------------------------------------------------------------

    def control(self, path, query, body):
        service = self.service
        method = self.command
        try:
            payload = json.loads(body.decode("utf-8")) if body.strip() else None
        except (UnicodeDecodeError, ValueError) as error:
            return json_answer({"ok": False, "error": f"not JSON: {error}"}, 400)
        try:
            if path == "/__control/health":
                return json_answer({"ok": True, "port": self.server.server_address[1], "data_dir": service.data_dir})
            if path == "/__control/journal":
                if method == "DELETE":
                    with service.lock:
                        service.journal.clear()
                    return json_answer({"ok": True})
                since = int(dict(parse_query(query)).get("since", "0") or 0)
                return json_answer({"ok": True, "last": service.seq, "entries": service.entries(since)})
            if path == "/__control/faults":
                if method == "DELETE":
                    with service.lock:
                        service.faults.clear()
                    return json_answer({"ok": True})
                if method == "POST":
                    specs = payload if isinstance(payload, list) else [payload]
                    added = [service.add_fault(spec) for spec in specs]
                    return json_answer({"ok": True, "added": added})
                with service.lock:
                    return json_answer({"ok": True, "faults": list(service.faults)})
            if path == "/__control/helplist":
                if method == "DELETE":
                    with service.lock:
                        service.help_list = None
                    return json_answer({"ok": True})
                if method == "POST":
                    if not isinstance(payload, dict):
                        raise BadRequest("the help list is a JSON object")
                    with service.lock:
                        service.help_list = payload
                    return json_answer({"ok": True})
                return json_answer(service.current_help_list(self.base_url()))
            if path == "/__control/compression":
                if method in ("POST", "DELETE"):
                    coding = payload.get("coding") if method == "POST" and isinstance(payload, dict) else "identity"
                    if coding not in CODINGS:
                        raise BadRequest(f'"coding" must be one of {", ".join(CODINGS)}')
                    with service.lock:
                        service.coding = coding
                return json_answer({"ok": True, "coding": service.coding})
            if path == "/__control/analytics":
                if method == "DELETE":
                    with service.lock:
                        service.analytics.clear()
                        service.analytics_ids.clear()
                        open(service._analytics_file(), "w").close()
                    return json_answer({"ok": True})
                with service.lock:
                    return json_answer({"ok": True, "events": list(service.analytics)})
        except (BadRequest, ValueError) as error:
            return json_answer({"ok": False, "error": str(error)}, 400)
        return json_answer({"ok": False, "error": f"no control endpoint {path}"}, 404)


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True
    request_queue_size = 64

    def handle_error(self, request, client_address):
        exc = sys.exc_info()[1]
        if isinstance(exc, (BrokenPipeError, ConnectionResetError, socket.timeout)):
            return
        super().handle_error(request, client_address)


def main(argv=None):
    parser = argparse.ArgumentParser(description="Reference web service of the Vesko input method (loopback only).")
    parser.add_argument("--port", type=int, default=8731, help="TCP port on 127.0.0.1; 0 picks a free one (default 8731)")
    parser.add_argument("--data-dir", help="where uploads, feedback archives and analytics events are kept (default: a new temporary folder)")
    parser.add_argument("--journal", help="journal file, one JSON line per request (default: DATA_DIR/journal.jsonl)")
    parser.add_argument("--key", default=DEFAULT_KEY, help="PEM private key of the encrypted wall (default: the development key)")
    parser.add_argument(
        "--compress",
        choices=CODINGS,
        default="identity",
        help="content coding of the answers, for requests whose Accept-Encoding allows it (default identity)",
    )
    parser.add_argument("--verbose", action="store_true", help="log every request on standard error")
    parser.add_argument(
        "--stop-on-eof",
        action="store_true",
        help="stop when standard input reaches its end (a test harness that dies takes the service with it)",
    )
    args = parser.parse_args(argv)

    try:
        with open(args.key, "rb") as f:
            key = serialization.load_pem_private_key(f.read(), password=None)
    except (OSError, ValueError) as error:
        sys.stderr.write(f"refservice: cannot read the private key {args.key}: {error}\n")
        return 2
    data_dir = os.path.abspath(args.data_dir) if args.data_dir else tempfile.mkdtemp(prefix="vesko-refservice-")
    os.makedirs(data_dir, exist_ok=True)
    journal = os.path.abspath(args.journal) if args.journal else os.path.join(data_dir, "journal.jsonl")
    os.makedirs(os.path.dirname(journal), exist_ok=True)

    Handler.service = Service(key, data_dir, journal, args.verbose)
    Handler.service.coding = args.compress
    try:
        server = Server(("127.0.0.1", args.port), Handler)
    except OSError as error:
        sys.stderr.write(f"refservice: cannot listen on 127.0.0.1:{args.port}: {error}\n")
        return 1

    def stop(signum, frame):
        threading.Thread(target=server.shutdown, daemon=True).start()

    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGINT, stop)
    if args.stop_on_eof:

        def watch_stdin():
            while sys.stdin.buffer.read(4096):
                pass
            stop(None, None)

        threading.Thread(target=watch_stdin, daemon=True).start()
    host, port = server.server_address[:2]
    sys.stdout.write(f"listening {host}:{port}\n")
    sys.stdout.flush()
    sys.stderr.write(f"refservice: data in {data_dir}, journal {journal}\n")
    sys.stderr.flush()
    try:
        server.serve_forever(poll_interval=0.2)
    finally:
        server.server_close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
