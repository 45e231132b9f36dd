#!/usr/bin/env python3
"""Reliability figures of the analytics client, measured from outside.

Every figure runs the real `vesko-tool` in a private world (its own home,
data folder and configuration) against the reference web service on
loopback, and checks the outcome against the service's own records.

  analytics_reliability.py exits [--runs 1000] [--parallel 3]
      `vesko-tool analytics report` run after run, each starting with events
      already queued (so the sender is busy with them while the tool exits);
      counts exit statuses. The runs are shared among `parallel` private
      worlds that run at once, so that the machine is busy as a loaded
      desktop is. Passes with 0 abnormal exits.

  analytics_reliability.py kills [--runs 1000] [--parallel 2] [--seed S]
      `vesko-tool analytics report` runs (real-time and normal at random, a
      few at once), each sent SIGKILL at a random moment of its life, then
      one `vesko-tool analytics flush`. Passes when every event whose report
      was committed (the tool had announced it as queued) is held by the
      service, no event is held twice, no event was posted again after the
      service had acknowledged it, and the queue is empty.

--tool names the vesko-tool binary (default: build/tools/vesko-tool/vesko-tool).
The result is printed as JSON; the exit status is 0 when the figure passes.
"""

import argparse
import collections
import concurrent.futures
import json
import os
import random
import shutil
import signal
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import uuid
from datetime import datetime, timezone

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
APP_KEY = "7TQW2K5XPLM9D3EA"


class World:
    """A private home, data folder and configuration, and the reference service."""

    def __init__(self, tool):
        self.tool = tool
        self.root = tempfile.mkdtemp(prefix="zq-analytics-")
        for sub in ("home", "data", "tmp", "install", "system", "service"):
            os.makedirs(os.path.join(self.root, sub))
        self.service_dir = os.path.join(self.root, "service")
        self.service = subprocess.Popen(
            [sys.executable, os.path.join(SOURCE, "tools/refservice/refservice.py"),
             "--port", "0", "--data-dir", self.service_dir, "--stop-on-eof"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.service.stdout.readline().strip()
        if not line.startswith("listening "):
            raise SystemExit("the reference service did not start: %r" % line)
        self.base = "http://" + line.split()[1]
        config = os.path.join(self.root, "vesko.ini")
        with open(config, "w", encoding="utf-8") as f:
            f.write("[Service]\nHost=%s\nWallHost=%s\n[Web]\nHost=%s\n"
                    "[Analytics]\nEndpoint=%s/analytics/v1/events\nEnabled=true\n"
                    % (self.base, self.base, self.base, self.base))
        self.env = dict(os.environ)
        for name in ("DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY", "VESKO_RESOURCES"):
            self.env.pop(name, None)
        self.env.update({
            "HOME": os.path.join(self.root, "home"),
            "XDG_DATA_HOME": os.path.join(self.root, "data"),
            "TMPDIR": os.path.join(self.root, "tmp"),
            "VESKO_INSTALL_ROOT": os.path.join(self.root, "install"),
            "VESKO_SYSTEM_ROOT": os.path.join(self.root, "system"),
            "VESKO_CONFIG": config,
            "LANG": "C.UTF-8", "LC_ALL": "C.UTF-8", "TZ": "UTC",
        })
        self.folder = os.path.join(self.root, "data/Vesko/InputMethod/Tessel")
        self.queue_path = os.path.join(self.folder, "events.sqlite")

    def close(self, keep=False):
        self.service.stdin.close()
        self.service.terminate()
        self.service.wait(10)
        if keep:
            print("world kept in", self.root, file=sys.stderr)
        else:
            shutil.rmtree(self.root, ignore_errors=True)

    def start(self, *args):
        return subprocess.Popen([self.tool, *args], env=self.env, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)

    def run(self, *args, timeout=600):
        process = self.start(*args)
        out, err = process.communicate(timeout=timeout)
        return process.returncode, out, err

    def queued(self):
        if not os.path.exists(self.queue_path):
            return 0
        db = sqlite3.connect(self.queue_path, timeout=30)
        try:
            return db.execute("SELECT COUNT(*) FROM events").fetchone()[0]
        finally:
            db.close()

    def seed(self, count):
        """Queues `count` normal events as an earlier process would have left them."""
        db = sqlite3.connect(self.queue_path, timeout=30)
        try:
            with db:
                for _ in range(count):
                    event_id = str(uuid.uuid4())
                    now = datetime.now(timezone.utc)
                    body = json.dumps({
                        "id": event_id, "code": "seeded", "app_key": APP_KEY, "kind": "normal",
                        "time": now.isoformat(timespec="milliseconds").replace("+00:00", "Z"),
                        "params": {}}, separators=(",", ":"))
                    db.execute("INSERT INTO events(id, realtime, created_ms, body)"
                               " VALUES(?, 0, ?, ?)", (event_id, int(now.timestamp() * 1000), body))
        finally:
            db.close()

    def accepted_ids(self):
        ids = []
        path = os.path.join(self.service_dir, "analytics/events.jsonl")
        if os.path.exists(path):
            with open(path, encoding="utf-8") as f:
                ids = [json.loads(line)["event"]["id"] for line in f if line.strip()]
        return ids

    def posted_batches(self):
        """The event ids of every analytics request in the service's journal."""
        batches = []
        with open(os.path.join(self.service_dir, "journal.jsonl"), encoding="utf-8") as f:
            for line in f:
                entry = json.loads(line)
                if entry.get("endpoint") != "/analytics/v1/events":
                    continue
                body = json.loads(entry.get("body", {}).get("text") or "{}")
                batches.append([e.get("id") for e in body.get("events", [])])
        return batches

    def audit_attempts(self):
        """Attempts of the audit log (older file first): [(ids, outcome or None)]."""
        attempts = collections.OrderedDict()
        for name in ("audit.jsonl.1", "audit.jsonl"):
            path = os.path.join(self.folder, name)
            if not os.path.exists(path):
                continue
            with open(path, encoding="utf-8", errors="replace") as f:
                for line in f:
                    try:
                        record = json.loads(line)
                    except ValueError:
                        continue  # a line cut short by a kill
                    key = record.get("attempt")
                    if "body" in record:
                        ids = [e.get("id") for e in record["body"].get("events", [])]
                        attempts[key] = [ids, None]
                    elif key in attempts:
                        attempts[key][1] = record.get("outcome")
        return list(attempts.values())


def report_args(code, n, normal, *extra):
    args = ["analytics", "report", code, "run=%d" % n, *extra]
    if normal:
        args.append("--normal")
    return args


def exits(worlds, runs):
    statuses = collections.Counter()
    abnormal = []
    started_empty = 0
    lock = threading.Lock()

    def loop(world, numbers):
        nonlocal started_empty
        code, _, err = world.run(*report_args("exit_seed", 0, True))
        if code != 0:
            raise SystemExit("the first report failed: " + err)
        for n in numbers:
            if world.queued() == 0:
                world.seed(3)
            empty = world.queued() == 0
            code, _, err = world.run(*report_args("exit_probe", n, n % 2 == 1))
            with lock:
                started_empty += empty
                statuses[code] += 1
                if code < 0 or code >= 128:
                    abnormal.append({"run": n, "status": code, "stderr": err[-2000:]})

    begin = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(len(worlds)) as pool:
        for done in [pool.submit(loop, world, range(k, runs, len(worlds)))
                     for k, world in enumerate(worlds)]:
            done.result()
    return {
        "figure": "exits", "runs": runs, "worlds": len(worlds),
        "seconds": round(time.monotonic() - begin, 1),
        "runsStartingWithAnEmptyQueue": started_empty,
        "exitStatuses": {str(k): v for k, v in sorted(statuses.items())},
        "abnormalExits": len(abnormal), "abnormal": abnormal[:10],
        "pass": not abnormal and started_empty == 0 and set(statuses) <= {0},
    }


def kills(world, runs, parallel, seed):
    rng = random.Random(seed)
    # How long an undisturbed real-time report lives, as many at once as the
    # figure runs: the kills fall anywhere in that time (and a little beyond).
    def undisturbed(n):
        begin = time.monotonic()
        code, _, err = world.run(*report_args("kill_warmup", n, False))
        if code != 0:
            raise SystemExit("an undisturbed report failed: " + err)
        return time.monotonic() - begin

    with concurrent.futures.ThreadPoolExecutor(parallel) as pool:
        durations = list(pool.map(undisturbed, range(4 * parallel)))
    span = 1.5 * statistics.median(durations)
    plans = [(n, rng.random() < 0.5, rng.uniform(0, span)) for n in range(runs)]

    def one(plan):
        n, normal, delay = plan
        process = world.start(*report_args("kill_run", n, normal, "--print-queued"))
        try:
            process.wait(delay)
            killed = False
        except subprocess.TimeoutExpired:
            os.kill(process.pid, signal.SIGKILL)
            killed = True
        _, err = process.communicate()
        committed = [line.split()[1] for line in err.splitlines() if line.startswith("queued ")]
        return n, killed, process.returncode, committed

    begin = time.monotonic()
    committed, killed, finished, abnormal = [], 0, collections.Counter(), []
    with concurrent.futures.ThreadPoolExecutor(parallel) as pool:
        for n, was_killed, status, ids in pool.map(one, plans):
            committed += ids
            if was_killed:
                killed += 1
            else:
                finished[status] += 1
                if status < 0 or status >= 128:
                    abnormal.append({"run": n, "status": status})
    runs_seconds = time.monotonic() - begin
    queued_before_flush = world.queued()
    flush_begin = time.monotonic()
    flush_status, flush_out, flush_err = world.run("analytics", "flush", "--timeout", "300000")
    flush_seconds = time.monotonic() - flush_begin

    accepted = collections.Counter(world.accepted_ids())
    lost = sorted(set(committed) - set(accepted))
    twice = sorted(i for i, c in accepted.items() if c > 1)
    posts = collections.Counter(i for batch in world.posted_batches() for i in batch)
    acknowledged, reposted = set(), set()
    for ids, outcome in world.audit_attempts():
        reposted.update(i for i in ids if i in acknowledged)
        if outcome in ("delivered", "rejected"):
            acknowledged.update(ids)
    left = world.queued()
    try:
        flush_result = json.loads(flush_out)
    except ValueError:
        flush_result = flush_err.strip()
    return {
        "figure": "kills", "runs": runs, "parallel": parallel, "seed": seed,
        "killWindowMs": round(span * 1000), "killed": killed,
        "finishedBeforeTheKill": {str(k): v for k, v in sorted(finished.items())},
        "abnormalExits": len(abnormal), "abnormal": abnormal[:10],
        "committed": len(committed), "queuedBeforeFlush": queued_before_flush,
        "flush": {"status": flush_status, "seconds": round(flush_seconds, 1),
                  "result": flush_result},
        "heldByTheService": len(accepted), "lost": len(lost), "lostIds": lost[:10],
        "heldTwice": len(twice), "heldTwiceIds": twice[:10],
        "postedAgainAfterAnAnswer": len(reposted),
        "requests": len(world.posted_batches()),
        "eventsPostedMoreThanOnce": sum(1 for c in posts.values() if c > 1),
        "queuedAfterFlush": left,
        "seconds": round(runs_seconds + flush_seconds, 1),
        "pass": (not lost and not twice and not reposted and not abnormal and left == 0
                 and flush_status == 0),
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("figure", choices=("exits", "kills"))
    parser.add_argument("--runs", type=int, default=1000)
    parser.add_argument("--parallel", type=int, default=None,
                        help="reports at once (kills: 2) or worlds at once (exits: 3)")
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--tool", default=os.path.join(SOURCE, "build/tools/vesko-tool/vesko-tool"))
    parser.add_argument("--keep", action="store_true", help="keep the private world for a look")
    args = parser.parse_args()
    if not os.access(args.tool, os.X_OK):
        raise SystemExit("no vesko-tool at %s (build it, or pass --tool)" % args.tool)
    parallel = max(1, args.parallel or (3 if args.figure == "exits" else 2))
    worlds = [World(args.tool) for _ in range(parallel if args.figure == "exits" else 1)]
    try:
        if args.figure == "exits":
            result = exits(worlds, args.runs)
        else:
            seed = args.seed if args.seed is not None else random.randrange(1 << 32)
            result = kills(worlds[0], args.runs, parallel, seed)
    finally:
        for world in worlds:
            world.close(keep=args.keep)
    print(json.dumps(result, indent=2, ensure_ascii=False))
    return 0 if result["pass"] else 1


if __name__ == "__main__":
    sys.exit(main())
