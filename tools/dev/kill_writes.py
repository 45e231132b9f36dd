#!/usr/bin/python3
"""Kills the product's file writers at random moments and checks every file.

    kill_writes.py [--kills N] [--writer PATH] [--seed S]

For each kill, zq-writestorm (tools/writestorm) writes one kind of file over
and over through the product's own writer; after a random delay it is killed
with SIGKILL, and the file is read back through the product's own reader. The
file must read, and hold the last generation whose write had returned (old) or
the one being written (new). Kills rotate over the kinds: the stores, the help
cache, the run log and its configuration, the line log, the usage statistics,
the analytics choice and the feedback draft. The writer says when each write
begins and when it returned, so the kills that landed inside a write are
counted.

Runs in a scratch home (and on a private session bus); prints a table and
exits 1 when any file was unreadable or held neither generation.
"""
import argparse
import collections
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

here = os.path.dirname(os.path.abspath(__file__))
root = os.path.dirname(os.path.dirname(here))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--kills", type=int, default=1000)
    parser.add_argument("--writer", default=os.path.join(root, "build/tools/writestorm/zq-writestorm"))
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--max-delay-ms", type=float, default=40.0)
    args = parser.parse_args()
    if "DBUS_SESSION_BUS_ADDRESS" not in os.environ:  # the line log posts on the bus
        os.execvp("dbus-run-session", ["dbus-run-session", "--", sys.executable] + sys.argv)

    scratch = tempfile.mkdtemp(prefix="zq-killwrites.")
    env = dict(os.environ, HOME=scratch + "/home", XDG_DATA_HOME=scratch + "/data",
               XDG_CONFIG_HOME=scratch + "/config", XDG_CACHE_HOME=scratch + "/cache",
               TMPDIR=scratch + "/tmp", LANG="C.UTF-8", LC_ALL="C.UTF-8", TZ="UTC",
               QT_LOGGING_RULES="*.debug=false;vesko.*.warning=false")
    for folder in ("home", "tmp"):
        os.makedirs(os.path.join(scratch, folder))
    rng = random.Random(args.seed)
    listing = subprocess.run([args.writer, "kinds"], env=env, capture_output=True, text=True, check=True)
    kinds = dict(line.split("\t") for line in listing.stdout.splitlines())
    names = sorted(kinds)
    rows = collections.OrderedDict((k, collections.Counter()) for k in names)
    failures = []
    started = time.monotonic()
    try:
        for i in range(args.kills):
            kind = names[i % len(names)]
            writer = subprocess.Popen([args.writer, "write", kind], env=env, stdout=subprocess.PIPE,
                                      stderr=subprocess.DEVNULL, text=True)
            if writer.stdout.readline().strip() != "ready":
                writer.wait()
                failures.append("%s: the writer did not start (the file did not read)" % kind)
                rows[kind]["unreadable"] += 1
                continue
            time.sleep(rng.uniform(0, args.max_delay_ms) / 1000)
            writer.send_signal(signal.SIGKILL)
            writer.wait()
            lines = writer.stdout.read().split("\n")
            acked = [int(line) for line in lines if line.strip().isdigit()]
            reading = subprocess.run([args.writer, "read", kind], env=env, capture_output=True, text=True)
            row = rows[kind]
            row["kills"] += 1
            row["writes"] += len(acked)
            begun = [line for line in lines if line.startswith("begin ")]
            if begun and (not acked or int(begun[-1].split()[1]) > acked[-1]):
                row["inside a write"] += 1
            if reading.returncode != 0:
                row["unreadable"] += 1
                failures.append("%s, kill %d: %s" % (kind, i, reading.stdout.strip()))
                continue
            held = int(reading.stdout)
            if kind == "choice":  # one boolean: any choice that reads is old or new
                row["old or new"] += 1
                continue
            last = acked[-1] if acked else None
            if last is None:  # killed before its first write returned: old, or the first new one
                row["old or new"] += 1
            elif held == last:
                row["old or new"] += 1
            elif held == last + 1:
                row["old or new"] += 1
            else:
                row["neither"] += 1
                failures.append("%s, kill %d: holds generation %d, last written %d" % (kind, i, held, last))
    finally:
        shutil.rmtree(scratch, ignore_errors=True)

    seconds = time.monotonic() - started
    columns = ("kills", "writes", "inside a write", "old or new", "unreadable", "neither")
    print("%-12s" % "kind" + "".join("%16s" % c for c in columns))
    total = collections.Counter()
    for kind, row in rows.items():
        total.update(row)
        print("%-12s" % kind + "".join("%16d" % row[c] for c in columns))
    print("%-12s" % "all" + "".join("%16d" % total[c] for c in columns))
    print("%d kills in %.0f s (seed %d)" % (total["kills"], seconds, args.seed))
    for failure in failures[:20]:
        print("FAILED:", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
