#!/usr/bin/env python3
"""Runs the test suite against deliberate faults, one at a time.

Each fault in tools/dev/faults.json names a file, a piece of text that occurs
exactly once in it, and the text that replaces it: a slip a developer could
make (an inverted comparison, an off-by-one limit, a misspelt key, a skipped
step, a wrong default, swapped arguments). For every fault this script

  1. writes the faulty text into the source tree,
  2. builds (cmake --build BUILD),
  3. runs the tests of the fault's area, then, if they all pass, the rest of
     the suite (ctest --stop-on-failure -j2 --timeout 300),
  4. records "caught by <test>" or "missed", and
  5. puts the file back as it was (also on Ctrl-C, SIGTERM or an exception).

At the end the clean tree is built again. A fault whose text is not found
exactly once, or that does not build, is an error in the list and is
reported as such.

The style check (the "style" label: clang_format) is never run here: it
would "catch" a fault only by its layout, not by its behaviour.

Usage:
  tools/dev/faults.py [--build DIR] [--results FILE] [--compare OLD.json]
                      [--resume] [FAULT-ID ...]
  tools/dev/faults.py --no-run --results NEW.json --compare OLD.json
  tools/dev/faults.py --no-run --results FILE --markdown

Creating BUILD/faults.stop ends a run after the fault being tried (the clean
tree is built again and the results written); --resume goes on from there.

--compare OLD.json lists the faults that OLD caught and that are missed now
(exit status 1 if there is any).
"""

import argparse
import datetime
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.normpath(os.path.join(HERE, "..", ".."))
DEFAULT_LIST = os.path.join(HERE, "faults.json")
TEST_TIMEOUT = 300

# The tests of each area, as patterns over the names that `ctest -N` lists.
# The area's -R regex is made of the names these patterns match.
AREA_TESTS = {
    "crypto": [r"tst_crypto_.*"],
    "net": [r"tst_httpclient", r"tst_veskonetworking"],
    "help": [r"tst_ziparchive.*", r"tst_helplist", r"tst_helplist_fuzz", r"tst_feedbackcalls",
             r"tst_helptool"],
    "help/models": [r"tst_helplistmodel", r"tst_feedbackform", r"e2e_feedback"],
    "stats": [r"tst_statstores", r"tst_analytics", r"tst_tesselreporttool", r"tst_statstool",
              r"tst_statistician"],
    "log": [r"tst_logmanager", r"tst_logwriters", r"tst_linelog_fuzz"],
    "utility": [r"tst_locations", r"tst_systeminfo", r"tst_deviceidentity",
                r"tst_processcaches", r"tst_toolcommands", r"tst_desktop",
                r"tst_imdatahelpers"],
    "pages/models": [r"tst_updatedetailmodel", r"tst_aboutmodel", r"tst_evaluationmodel",
                     r"tst_debugmodemodel", r"tst_accesauthorizemodel"],
    "pages/widgets": [r"tst_aboutwidgets", r"tst_updatedetailwindow", r"tst_appdelegate",
                      r"e2e_about", r"e2e_authorize"],
    "app": [r"tst_shellcore", r"tst_appdelegate", r"tst_requests_fuzz", r"e2e_app"],
}
STYLE_TESTS = [r"clang_format"]


class Interrupted(Exception):
    """Raised by the SIGTERM handler so that the faulty file is restored."""


def on_sigterm(signum, frame):
    raise Interrupted("terminated")


def load_faults(path):
    with open(path, encoding="utf-8") as f:
        faults = json.load(f)
    seen = set()
    for fault in faults:
        for key in ("id", "area", "file", "original", "replacement", "description"):
            if not isinstance(fault.get(key), str) or not fault[key]:
                sys.exit("%s: fault %r lacks %r" % (path, fault.get("id"), key))
        if fault["id"] in seen:
            sys.exit("%s: fault id %r twice" % (path, fault["id"]))
        if fault["area"] not in AREA_TESTS:
            sys.exit("%s: fault %r has an unknown area %r" % (path, fault["id"], fault["area"]))
        seen.add(fault["id"])
    return faults


def list_tests(build):
    """The test names `ctest -N` lists for the build folder."""
    out = subprocess.run(["ctest", "--test-dir", build, "-N"], capture_output=True, text=True,
                         check=True).stdout
    return re.findall(r"^\s*Test\s+#\d+:\s+(\S+)\s*$", out, re.M)


def name_regex(names):
    return "^(" + "|".join(re.escape(n) for n in names) + ")$" if names else None


def matching(names, patterns):
    return [n for n in names if any(re.fullmatch(p, n) for p in patterns)]


def area_regexes(names):
    """The -R regex of every area, and the regex of the style tests."""
    regexes = {}
    for area, patterns in AREA_TESTS.items():
        found = matching(names, patterns)
        if not found:
            print("warning: no tests of area %s among the %d listed" % (area, len(names)))
        regexes[area] = (found, name_regex(found))
    return regexes, matching(names, STYLE_TESTS)


def run(command, log):
    """Runs a command, appends its output to the log file; returns (status, output).

    The command runs in a process group of its own; when this script is
    interrupted the whole group (ninja's compilers, ctest's tests) is ended
    before the faulty file is put back."""
    proc = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            errors="replace", start_new_session=True)
    try:
        out, _ = proc.communicate()
    except BaseException:
        for sig, grace in ((signal.SIGTERM, 20), (signal.SIGKILL, 5)):
            try:
                os.killpg(proc.pid, sig)
                proc.wait(grace)
                break
            except ProcessLookupError:
                break
            except subprocess.TimeoutExpired:
                continue
        raise
    with open(log, "a", encoding="utf-8") as f:
        f.write("$ %s\n%s\n" % (" ".join(command), out))
    return proc.returncode, out


def build(build_dir, log):
    status, out = run(["cmake", "--build", build_dir], log)
    return status == 0, out


def failed_tests(junit, output):
    """The tests that failed in one ctest run, from its JUnit file or its output."""
    failed = []
    try:
        for case in ET.parse(junit).getroot().iter("testcase"):
            if case.get("status") == "fail" or case.find("failure") is not None:
                failed.append(case.get("name"))
    except (OSError, ET.ParseError):
        pass
    if not failed:
        section = output.split("The following tests FAILED:", 1)
        if len(section) == 2:
            failed = re.findall(r"^\s*\d+\s+-\s+(\S+)\s+\(", section[1], re.M)
    return failed


def run_tests(build_dir, log, include=None, exclude=None):
    """Runs ctest once; returns (failed test names, ctest's exit status)."""
    fd, junit = tempfile.mkstemp(suffix=".xml", prefix="faults-")
    os.close(fd)
    command = ["ctest", "--test-dir", build_dir, "--stop-on-failure", "-j2", "--timeout",
               str(TEST_TIMEOUT), "--output-on-failure", "--output-junit", junit]
    if include:
        command += ["-R", include]
    if exclude:
        command += ["-E", exclude]
    try:
        status, out = run(command, log)
        failed = failed_tests(junit, out)
    finally:
        os.unlink(junit)
    if status != 0 and not failed:
        failed = ["(ctest exit status %d)" % status]
    return failed, status


class Applied:
    """The fault written into its file for the span of a with-block.

    A marker file in the build folder holds the original bytes while the fault
    is in place, so that a run killed outright can be undone by the next one."""

    def __init__(self, fault, marker):
        self.path = os.path.join(ROOT, fault["file"])
        self.fault = fault
        self.marker = marker
        self.original = None

    def __enter__(self):
        with open(self.path, "rb") as f:
            self.original = f.read()
        text = self.original.decode("utf-8")
        faulty = text.replace(self.fault["original"], self.fault["replacement"], 1)
        with open(self.marker, "w", encoding="utf-8") as f:
            json.dump({"file": self.path, "original": text}, f)
        with open(self.path, "wb") as f:
            f.write(faulty.encode("utf-8"))
        return self

    def __exit__(self, *exc):
        with open(self.path, "wb") as f:
            f.write(self.original)
        os.unlink(self.marker)
        return False


def restore_leftover(marker):
    """Puts back a file a killed run left faulty."""
    if os.path.exists(marker):
        with open(marker, encoding="utf-8") as f:
            left = json.load(f)
        with open(left["file"], "wb") as f:
            f.write(left["original"].encode("utf-8"))
        os.unlink(marker)
        print("restored %s, left faulty by an interrupted run" % left["file"])


def check_text(fault):
    path = os.path.join(ROOT, fault["file"])
    if not os.path.isfile(path):
        return "no such file"
    with open(path, encoding="utf-8") as f:
        count = f.read().count(fault["original"])
    if count != 1:
        return "the original text occurs %d times" % count
    return None


def confirmed_failure(build_dir, log, include, exclude, flaky):
    """The first test of a phase that fails, and fails again when run alone.

    A test that fails in the busy parallel run but passes alone (a timing
    test on a loaded machine) is added to `flaky` and left out of the phase,
    which then runs again."""
    while True:
        excluded = list(exclude or []) + flaky
        failed, _ = run_tests(build_dir, log, include=include,
                              exclude=name_regex(excluded) if excluded else None)
        if not failed:
            return None
        first = failed[0]
        if first.startswith("("):
            return first  # ctest itself failed
        again, _ = run_tests(build_dir, log, include=name_regex([first]))
        if again:
            return first
        flaky.append(first)


def try_fault(fault, build_dir, regexes, style, log):
    """Applies, builds and tests one fault; returns its result entry."""
    entry = {key: fault[key] for key in ("id", "area", "file", "description")}
    started = time.monotonic()
    problem = check_text(fault)
    if problem:
        entry.update(status="error", detail=problem)
        return entry
    marker = os.path.join(build_dir, "faults-in-progress.json")
    with Applied(fault, marker):
        ok, out = build(build_dir, log)
        if not ok:
            errors = [line for line in out.splitlines() if "error" in line][:5]
            entry.update(status="error", detail="does not build: " + " | ".join(errors))
        else:
            names, area_regex = regexes[fault["area"]]
            flaky = []
            caught, phase = None, None
            if area_regex:
                caught = confirmed_failure(build_dir, log, area_regex, None, flaky)
                phase = "area"
            if not caught:
                caught = confirmed_failure(build_dir, log, None, names + style, flaky)
                phase = "rest"
            if caught:
                entry.update(status="caught", caught_by=caught, phase=phase)
            else:
                entry.update(status="missed")
            if flaky:
                entry["flaky"] = flaky
    entry["seconds"] = round(time.monotonic() - started, 1)
    return entry


def git_commit():
    try:
        return subprocess.run(["git", "-C", ROOT, "rev-parse", "HEAD"], capture_output=True,
                              text=True, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return None


def summary(results):
    counts = {"caught": 0, "missed": 0, "error": 0}
    for entry in results:
        counts[entry["status"]] += 1
    return counts


def write_results(path, document):
    document["summary"] = summary(document["faults"])
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="utf-8") as f:
        json.dump(document, f, indent=1, ensure_ascii=False)
        f.write("\n")
    os.replace(tmp, path)


def outcome(entry):
    if entry["status"] == "caught":
        return "caught by %s" % entry["caught_by"]
    if entry["status"] == "error":
        return "ERROR: %s" % entry.get("detail", "")
    return "missed"


def print_table(results):
    width = max([len(e["id"]) for e in results] + [2])
    area_width = max([len(e["area"]) for e in results] + [4])
    print("%-*s  %-*s  %7s  %s" % (width, "id", area_width, "area", "seconds", "result"))
    for e in results:
        print("%-*s  %-*s  %7s  %s" % (width, e["id"], area_width, e["area"],
                                       e.get("seconds", ""), outcome(e)))
    counts = summary(results)
    print("%d faults: %d caught, %d missed, %d errors" % (len(results), counts["caught"],
                                                          counts["missed"], counts["error"]))


def print_markdown(results):
    """The results as the table of docs/testing.md."""
    print("| id | area | description | caught by |")
    print("|---|---|---|---|")
    for e in results:
        if e["status"] == "caught":
            result = "`%s`" % e["caught_by"]
        elif e["status"] == "missed":
            result = "**missed**"
        else:
            result = "error: %s" % e.get("detail", "")
        print("| `%s` | %s | %s | %s |" % (e["id"], e["area"], e["description"], result))
    counts = summary(results)
    print("\n%d faults: %d caught, %d missed." % (len(results), counts["caught"], counts["missed"]))


def compare(old_path, results):
    """Prints the faults caught in the old results and missed now; True if none."""
    with open(old_path, encoding="utf-8") as f:
        old = {e["id"]: e for e in json.load(f)["faults"]}
    now = {e["id"]: e for e in results}
    regressions = [i for i, e in old.items()
                   if e["status"] == "caught" and i in now and now[i]["status"] == "missed"]
    for i in regressions:
        print("caught in %s (by %s), missed now: %s" % (old_path, old[i]["caught_by"], i))
    if not regressions:
        print("no fault caught in %s is missed now" % old_path)
    return not regressions


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("ids", nargs="*", help="the faults to try (all by default)")
    parser.add_argument("--list", default=DEFAULT_LIST, help="the list of faults")
    parser.add_argument("--build", default=os.path.join(ROOT, "build"), help="the build folder")
    parser.add_argument("--results", help="the results file (default BUILD/faults-results.json)")
    parser.add_argument("--compare", metavar="OLD.json",
                        help="report the faults caught in OLD.json and missed now")
    parser.add_argument("--resume", action="store_true",
                        help="keep the results already in the results file and try the others")
    parser.add_argument("--no-run", action="store_true",
                        help="run nothing: only --compare or --markdown the results file")
    parser.add_argument("--markdown", action="store_true",
                        help="print the results file as a Markdown table")
    args = parser.parse_args()

    build_dir = os.path.abspath(args.build)
    results_path = os.path.abspath(args.results or os.path.join(build_dir, "faults-results.json"))

    if args.no_run:
        if not args.compare and not args.markdown:
            parser.error("--no-run needs --compare or --markdown")
        with open(results_path, encoding="utf-8") as f:
            results = json.load(f)["faults"]
        if args.markdown:
            print_markdown(results)
        return 0 if not args.compare or compare(args.compare, results) else 1

    faults = load_faults(args.list)
    if args.ids:
        unknown = set(args.ids) - {f["id"] for f in faults}
        if unknown:
            parser.error("unknown fault ids: " + ", ".join(sorted(unknown)))
        by_id = {f["id"]: f for f in faults}
        faults = [by_id[i] for i in dict.fromkeys(args.ids)]  # in the order given

    signal.signal(signal.SIGTERM, on_sigterm)
    marker = os.path.join(build_dir, "faults-in-progress.json")
    restore_leftover(marker)

    document = {"commit": git_commit(), "build": build_dir,
                "started": datetime.datetime.now().astimezone().isoformat(timespec="seconds"),
                "faults": []}
    if args.resume and os.path.exists(results_path):
        with open(results_path, encoding="utf-8") as f:
            previous = json.load(f)
        wanted = {f["id"] for f in faults}
        document["faults"] = [e for e in previous["faults"]
                              if e["id"] in wanted and e["status"] != "error"]
        document["started"] = previous.get("started", document["started"])
        document["seconds"] = previous.get("seconds", 0)
    done = {e["id"] for e in document["faults"]}

    log = os.path.join(build_dir, "faults.log")
    open(log, "w").close()
    print("log: %s" % log)
    ok, _ = build(build_dir, log)
    if not ok:
        sys.exit("the clean tree does not build; see %s" % log)
    regexes, style = area_regexes(list_tests(build_dir))

    started = time.monotonic()
    base_seconds = document.get("seconds", 0)
    stop_file = os.path.join(build_dir, "faults.stop")
    if os.path.exists(stop_file):
        os.unlink(stop_file)
    try:
        for fault in faults:
            if fault["id"] in done:
                continue
            if os.path.exists(stop_file):
                os.unlink(stop_file)
                print("stopped by %s; --resume goes on from here" % stop_file)
                break
            entry = try_fault(fault, build_dir, regexes, style, log)
            document["faults"].append(entry)
            document["seconds"] = round(base_seconds + time.monotonic() - started)
            write_results(results_path, document)
            print("%-32s %s (%ss)" % (entry["id"], outcome(entry), entry.get("seconds", "")),
                  flush=True)
    except (KeyboardInterrupt, Interrupted):
        print("interrupted; the results so far are in %s" % results_path)
        build(build_dir, log)
        return 130
    finally:
        restore_leftover(marker)

    order = {f["id"]: n for n, f in enumerate(load_faults(args.list))}
    document["faults"].sort(key=lambda e: order.get(e["id"], len(order)))
    document["finished"] = datetime.datetime.now().astimezone().isoformat(timespec="seconds")
    document["seconds"] = round(base_seconds + time.monotonic() - started)
    write_results(results_path, document)

    print("rebuilding the clean tree")
    ok, _ = build(build_dir, log)
    if not ok:
        print("warning: the clean tree did not build again; see %s" % log)

    print_table(document["faults"])
    print("results: %s (%d s)" % (results_path, document["seconds"]))
    if args.compare and not compare(args.compare, document["faults"]):
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
