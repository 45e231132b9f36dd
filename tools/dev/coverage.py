#!/usr/bin/env python3
"""Which product lines each test function reaches, and which tests reach
nothing that the others do not.

The suite is run one QTest function at a time (other tests, such as the
end-to-end scripts, as a whole) in a clang coverage build, each with its own
raw profiles. For every unit the script records the product lines and branch
outcomes it reaches (tests/, fuzz/ and bench/ are not product), then reports:

  report.txt    every unit: how many items only it reaches ("uniq"), its
                length in non-blank lines (the function and its _data table),
                what it reaches in all, and its exit status when run alone;
  programs.txt  the same per test program;
  greedy.txt    a set of units that can all go together without any product
                line or branch outcome losing its last test (longest first).

Reaching a line is not checking it: a unit in greedy.txt is a candidate for
review, not a verdict. Known-answer values, texts and bytes on the wire are
asserted by particular tests whatever their coverage. Running every unit
alone also shows tests that depend on the order they run in (exit status
other than 0 in report.txt).

Usage:
  tools/dev/coverage.py [--build DIR] [--out DIR] [--jobs N] [--configure]
                        [--no-run] [TEST-REGEX]

--configure makes DIR a clang coverage build (Debug, -O0) and builds it.
--no-run reads the profiles of an earlier run and only reports.
"""

import argparse
import collections
import glob
import json
import os
import re
import shlex
import shutil
import subprocess
from concurrent.futures import ThreadPoolExecutor
from typing import NamedTuple

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
NOT_PRODUCT = ("tests/", "fuzz/", "bench/")
FIXTURE_SLOTS = {"initTestCase", "cleanupTestCase", "init", "cleanup"}
FLAGS = "-fprofile-instr-generate -fcoverage-mapping"


class Unit(NamedTuple):
    """One test function run alone, or a whole test that is not a QtTest program."""
    id: str
    test: str  # the ctest name
    command: list
    binary: str | None  # the QtTest program, if it is one
    slot: str | None  # the test function, if the unit is one


def configure(build):
    subprocess.run(["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                    "-DCMAKE_C_COMPILER=clang", "-DCMAKE_CXX_COMPILER=clang++",
                    "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DZQ_BUILD_BENCH=OFF", "-DZQ_BUILD_TESTS=ON"] +
                   [f"-DCMAKE_{kind}_FLAGS={FLAGS}"
                    for kind in ("C", "CXX", "EXE_LINKER", "SHARED_LINKER")], check=True)
    subprocess.run(["cmake", "--build", build], check=True)


def ctest_commands(build, pattern):
    listing = subprocess.run(["ctest", "--test-dir", build, "-N", "-V", "-R", pattern],
                             capture_output=True, text=True, check=True).stdout
    names, commands = {}, {}
    for line in listing.splitlines():
        if m := re.match(r"\s*Test\s+#(\d+): (\S+)", line):
            names[m[1]] = m[2]
        elif m := re.match(r"(\d+): Test command: (.*)", line):
            commands[m[1]] = shlex.split(m[2])
    return [(names[k], commands[k]) for k in sorted(commands, key=int)]


def units(build, pattern):
    """Every unit of the tests matching `pattern`, in ctest's order."""
    found = []
    for name, command in ctest_commands(build, pattern):
        if name == "clang_format":
            continue
        binary = command[-1]
        if not (os.path.basename(binary).startswith("tst_") and os.access(binary, os.X_OK)):
            found.append(Unit(name, name, command, None, None))
            continue
        listed = subprocess.run(command + ["-functions"], capture_output=True, text=True,
                                env=dict(os.environ, LLVM_PROFILE_FILE=os.devnull)).stdout
        slots = [line.strip()[:-2] for line in listed.splitlines() if line.strip().endswith("()")]
        slots = [s for s in slots if s not in FIXTURE_SLOTS] or [None]
        for slot in slots:
            found.append(Unit(f"{name}__{slot}" if slot else name, name,
                              command + ([slot] if slot else []), binary, slot))
    return found


def run_unit(out, unit):
    # Profiles of an earlier run would be merged with this one's.
    raw = os.path.join(out, "raw", unit.id)
    shutil.rmtree(raw, ignore_errors=True)
    os.makedirs(raw)
    env = dict(os.environ, LLVM_PROFILE_FILE=raw + "/%p-%m.profraw")
    try:
        status = subprocess.run(unit.command, env=env, capture_output=True,
                                timeout=600).returncode
    except subprocess.TimeoutExpired:
        status = "timeout"
    print(unit.id, status, flush=True)
    return status


def product_objects(build):
    """Every ELF library and program of the build that is not a test."""
    objects = []
    for path in glob.glob(build + "/**/*", recursive=True):
        if ("/tests/" in path or "CMakeFiles" in path or not os.path.isfile(path)
                or not os.access(path, os.X_OK)):
            continue
        with open(path, "rb") as f:
            if f.read(4) == b"\x7fELF":
                objects.append(path)
    return objects


def reached(out, uid, binary, objects):
    """The product items (file:line, file:line:bBLOCK.BRANCH) a unit reached."""
    raws = glob.glob(f"{out}/raw/{uid}/*.profraw")
    if not raws:
        return set()
    profile = f"{out}/raw/{uid}.profdata"
    subprocess.run(["llvm-profdata", "merge", "-sparse", "-o", profile] + raws, check=True,
                   capture_output=True)
    objects = ([binary] if binary else []) + [o for o in objects if o != binary]
    command = ["llvm-cov", "export", "-format=lcov", "-instr-profile", profile, objects[0]]
    for o in objects[1:]:
        command += ["-object", o]
    lcov = subprocess.run(command, capture_output=True, text=True).stdout
    items, source = set(), None
    for line in lcov.splitlines():
        if line.startswith("SF:"):
            source = os.path.relpath(line[3:], ROOT)
            if source.startswith(("..",) + NOT_PRODUCT) or "_autogen" in source:
                source = None
        elif source and line.startswith("DA:"):
            number, count = line[3:].split(",")[:2]
            if int(count) > 0:
                items.add(f"{source}:{number}")
        elif source and line.startswith("BRDA:"):
            number, block, branch, count = line[5:].split(",")
            if count not in ("-", "0"):
                items.add(f"{source}:{number}:b{block}.{branch}")
    return items


def slot_length(test_sources, slot):
    """Non-blank lines of slot() and slot_data() in the test program's sources."""
    total = 0
    for path in test_sources:
        lines = open(path, encoding="utf-8").read().splitlines()
        for name in (slot, slot + "_data"):
            start = next((i for i, line in enumerate(lines) if re.match(
                rf"\s*void (\w+::)?{re.escape(name)}\(\)( const)?\s*\{{", line)), None)
            if start is None:
                continue
            depth = 0
            for line in lines[start:]:
                depth += line.count("{") - line.count("}")
                total += bool(line.strip())
                if depth == 0:
                    break
    return total


def report(out, results):
    count = collections.Counter()
    for r in results:
        count.update(r["items"])
    rows = []
    for r in results:
        only = sum(1 for x in r["items"] if count[x] == 1)
        rows.append((only, r["length"], r["unit"], r["status"], len(r["items"])))
    rows.sort(key=lambda row: (row[0], -row[1]))
    with open(os.path.join(out, "report.txt"), "w") as f:
        for only, length, uid, status, total in rows:
            f.write(f"{only:6d} uniq {length:4d} lines  {uid}  status={status} reaches={total}\n")

    programs = collections.defaultdict(set)
    for r in results:
        programs[r["test"]] |= r["items"]
    per_program = collections.Counter()
    for items in programs.values():
        per_program.update(items)
    with open(os.path.join(out, "programs.txt"), "w") as f:
        for test, items in sorted(programs.items(),
                                  key=lambda kv: sum(per_program[x] == 1 for x in kv[1])):
            f.write(f"{sum(per_program[x] == 1 for x in items):6d} uniq "
                    f"{len(items):7d} reaches  {test}\n")

    # Longest first: a unit goes when every item it reaches keeps another unit.
    alive, gone = collections.Counter(count), []
    by_unit = {r["unit"]: r for r in results}
    for only, length, uid, status, total in sorted(rows, key=lambda row: -row[1]):
        items = by_unit[uid]["items"]
        if length and items and status == 0 and all(alive[x] > 1 for x in items):
            alive.subtract(items)
            gone.append((length, uid))
    with open(os.path.join(out, "greedy.txt"), "w") as f:
        for length, uid in sorted(gone, key=lambda g: g[1]):
            f.write(f"{length:4d} lines  {uid}\n")
    print(f"{len(rows)} units; {sum(row[0] == 0 for row in rows)} reach nothing of their own; "
          f"{len(gone)} ({sum(g[0] for g in gone)} lines) could go together")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", default=os.path.join(ROOT, "build-cov"))
    parser.add_argument("--out", default=None, help="results folder (default BUILD/coverage)")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--configure", action="store_true")
    parser.add_argument("--no-run", action="store_true")
    parser.add_argument("pattern", nargs="?", default=".")
    args = parser.parse_args()
    out = args.out or os.path.join(args.build, "coverage")
    if args.configure:
        configure(args.build)

    found = units(args.build, args.pattern)
    status_file = os.path.join(out, "status.json")
    statuses = json.load(open(status_file)) if os.path.exists(status_file) else {}
    if not args.no_run:
        # The staged installation comes first, alone: the end-to-end tests use it.
        first = [u for u in found if u.id == "e2e_install"]
        rest = [u for u in found if u not in first]
        statuses.update((u.id, run_unit(out, u)) for u in first)
        with ThreadPoolExecutor(args.jobs) as pool:
            statuses.update(zip((u.id for u in rest), pool.map(lambda u: run_unit(out, u), rest)))
        json.dump(statuses, open(status_file, "w"), indent=1)

    objects = product_objects(args.build)
    sources = collections.defaultdict(list)
    for path in glob.glob(os.path.join(ROOT, "tests", "**", "*.cpp"), recursive=True):
        sources[os.path.basename(os.path.dirname(path))].append(path)

    def measure(unit):
        folder = os.path.basename(os.path.dirname(unit.binary)) if unit.binary else ""
        return {"unit": unit.id, "test": unit.test, "status": statuses.get(unit.id),
                "length": slot_length(sources[folder], unit.slot) if unit.slot else 0,
                "items": reached(out, unit.id, unit.binary, objects)}

    with ThreadPoolExecutor(args.jobs) as pool:
        results = list(pool.map(measure, found))
    report(out, results)


if __name__ == "__main__":
    main()
