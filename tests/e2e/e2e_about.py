#!/usr/bin/python3
"""End-to-end test of the About window, its evaluation page and the debug-mode
window: the installed application with the reference input-method service
(VeskoService) and the reference web service, driven from outside as a screen
reader drives it (AT-SPI).
    e2e_about.py <install prefix> <source folder>
Runs under tests/isolate.sh --dbus --x11. The shared stage is never changed:
each run works on a copy (a tree of links with a real Info.plist)."""
import json
import os
import plistlib
import shutil
import subprocess
import sys
import time
import urllib.request

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
at = None  # atspi_tool, imported once the accessibility bus runs

STAGE, SOURCE = sys.argv[1], sys.argv[2]
ROOT = os.environ["ZQ_TEST_ROOT"]
ABOUT, DEBUG = "关于Vesko输入法", "协助调试模式"
processes = []


def step(text):
    print("---", text, flush=True)


def check(condition, text):
    if not condition:
        raise at.Failure(text)


def start(command, log, ready=None, env=None):
    process = subprocess.Popen(command, stdout=open(log, "w"), stderr=subprocess.STDOUT, env=env)
    processes.append(process)
    if ready:
        at.poll("%s to be ready" % command[0],
                lambda: process.poll() is None and open(log).read().startswith(ready))
    return process


def stop(process):
    process.terminate()
    process.wait(20)


def web(path):
    return json.load(urllib.request.urlopen(BASE + "/__control/" + path, timeout=20))


def lines(journal):
    with open(journal) as f:
        return [json.loads(line) for line in f if line.strip()]


def anywhere(name, role=None):
    """A showing node of that name in any window of the application."""
    def probe():
        for app in at.applications():
            for node in at.walk(app):
                if node.name == name and (role is None or at.role_name(node) == role) and \
                        node.getState().contains(at.pyatspi.STATE_SHOWING):
                    return node
        return None
    return at.poll(repr(name), probe)


def label_starting(window, prefix):
    return at.poll("a label starting with %r" % prefix, lambda: next(
        (n.name for n in at.find_all(window, "label") if n.name.startswith(prefix)), None))


def run(name, service_options=(), read_only=False, page="-ZQAbout"):
    """A copy of the stage, its VeskoService and the application on it."""
    copy = os.path.join(ROOT, name)
    subprocess.run(["cp", "-as", STAGE, copy], check=True)
    os.remove(copy + "/Contents/Info.plist")  # the installation rewrites it
    shutil.copy(STAGE + "/Contents/Info.plist", copy + "/Contents/Info.plist")
    env = dict(os.environ, VESKO_INSTALL_ROOT=copy)
    journal = copy + ".jsonl"
    service = start([copy + "/Contents/VeskoService", "--install-seconds", "0.3", "--journal",
                     journal] + list(service_options), copy + ".im.log", "ready", env)
    command = [copy + "/Contents/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel", page]
    if read_only:
        contents = copy + "/Contents"
        os.chmod(contents, 0o555)
        if os.geteuid() == 0:
            # File modes do not bind root: the application alone sees the
            # folder through a read-only mount; the installer writes as before.
            command = ["unshare", "-m", "sh", "-c", 'mount --bind "$0" "$0" && '
                       'mount -o remount,bind,ro "$0" && exec "$@"', contents] + command
    app = start(command, copy + ".app.log", env=env)
    window = at.window(DEBUG if page == "-ZQDebugMode" else ABOUT)
    with open("/proc/%d/maps" % app.pid) as maps:
        check("libQt6WebEngine" not in maps.read(), "the page maps Qt WebEngine")
    return service, app, window, journal


def install(window, journal, request):
    at.find(window, "Vesko输入法版本：1.0.0", "label")
    at.press(window, "更新APP", "push button")
    names = lambda: [e["name"] for e in lines(journal) if e["kind"] == "notification"]
    at.poll("the request " + request, lambda: request in names())
    other = {"kVeskoNotifyRemoteVersion", "kVeskoNotifyDownloadInstaller"} - {request}
    check(not other & set(names()), "both install requests were sent")


def main():
    global BASE, at
    subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
    for _ in range(200):
        if subprocess.run(["gdbus", "call", "--session", "--dest", "org.a11y.Bus", "--object-path",
                           "/org/a11y/bus", "--method", "org.a11y.Bus.GetAddress"],
                          capture_output=True).returncode == 0:
            break
        time.sleep(0.1)
    import atspi_tool
    at = atspi_tool
    os.environ["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
    os.environ["QT_QPA_PLATFORM"] = "xcb"
    web_log = ROOT + "/web.log"
    start([sys.executable, SOURCE + "/tools/refservice/refservice.py", "--port", "0", "--data-dir",
           ROOT + "/web"], web_log, "listening")
    BASE = "http://" + open(web_log).readline().split()[1]
    config = ROOT + "/e2e.ini"
    with open(config, "w") as f:
        f.write("[Service]\nHost={0}\n[Web]\nHost={0}\nHomePage={0}/\n[Analytics]\n"
                "Endpoint={0}/analytics/v1/events\nEnabled=true\n".format(BASE))
    os.environ["VESKO_CONFIG"] = config

    step("check -> 更新APP -> install -> 已是最新 with the new version")
    service, app, about, journal = run("update")
    install(about, journal, "kVeskoNotifyRemoteVersion")
    at.find(about, "已是最新", "push button")
    at.find(about, "Vesko输入法版本：1.1.0", "label")
    codes = lambda: [e["event"]["code"] for e in web("analytics")["events"]]
    at.poll("the analytics events", lambda: sorted(codes()) == ["mac_clck", "mac_upd_suc"])
    click = [e["event"] for e in web("analytics")["events"] if e["event"]["code"] == "mac_clck"]
    check(click[0]["params"]["mac_icon"] == "13", "mac_icon")

    step("an evaluation reaches the web service and the input method counts it")
    at.press(about, "给Vesko输入法评分", "push button")
    stars = at.find(about, "评分", "slider")
    stars.queryValue().currentValue = 4
    at.set_text(at.find(about, "评价[选填]", "text"), "很好用")
    at.press(about, "提交评价", "push button")
    anywhere("提交成功，感谢您的评分", "label")
    saved = [e for e in web("journal")["entries"] if e.get("endpoint") == "/macfb/v1/click_save"]
    check(len(saved) == 1, "one evaluation saved, not %d" % len(saved))
    check(saved[0]["endpoint_args"]["score"] == "4" and
          saved[0]["endpoint_args"]["feedcont"] == "很好用", "score and comment")
    # The input method hears of the evaluation by a message the page does not wait for.
    counts = lambda: [e["count"] for e in lines(journal)
                      if e["name"] == "clickCommitEvalutionStatistics"]
    at.poll("the input method's evaluation count", counts)
    check(counts() == [1], "the input method's evaluation count: %r" % counts())
    at.action(anywhere("好", "push button"), "Press")
    at.press(about, "返回", "push button")

    step("the icon offers the debug mode; the About window gives way to it")
    at.press(about, "Vesko输入法", "image")
    at.action(anywhere("确认", "push button"), "Press")
    debug = at.window(DEBUG)
    at.no_window(ABOUT)
    check(app.poll() is None, "the process ended between the two windows")
    # Exactly one of the two switches is on, the one pressed last.
    checked = lambda: [name for name in ("开启", "关闭")
                       if "checked" in at.states(at.find(debug, name, "radio button"))]
    for name in ("关闭", "开启"):
        at.press(debug, name, "radio button")
        at.poll("only %s checked" % name, lambda: checked() == [name])
    statuses = lambda: [e["payload"].get("debugmodestatus") for e in lines(journal)
                        if e["name"] == "kVeskoNotifyStartDebugModeByHand"]
    at.poll("the debug-mode messages", lambda: statuses() == ["1", "0", "1"])
    stop(app)
    stop(service)

    step("-ZQDebugMode shows the period the input method keeps")
    store = os.environ["XDG_DATA_HOME"] + "/Vesko/InputMethod/VeskoPY/stat3.dat"
    with open(store, "rb") as f:
        end = int(plistlib.load(f)["ZQSettingLogFinishedTime"])
    service, app, debug, journal = run("debug", page="-ZQDebugMode")
    fmt = lambda t: time.strftime("%Y-%m-%d %H:%M", time.localtime(t))
    period = label_starting(debug, "协助调试模式开启后").split("开启时间：")[1]
    check(period == fmt(end - 14400) + "～" + fmt(end), "period %r, end %d" % (period, end))
    stop(app)
    stop(service)

    step("a read-only Contents folder: the installer path, and the installation succeeds")
    service, app, about, journal = run("read-only", read_only=True)
    install(about, journal, "kVeskoNotifyDownloadInstaller")
    at.find(about, "已是最新", "push button")
    stop(app)
    stop(service)

    step("a failed installation shows 更新失败 and offers 更新APP again")
    service, app, about, journal = run("failing", ["--install", "fail"])
    install(about, journal, "kVeskoNotifyRemoteVersion")
    at.find(about, "更新失败", "label")
    at.find(about, "更新APP", "push button")
    return 0


if __name__ == "__main__":
    try:
        status = main()
    except Exception as failure:  # a failed wait or check, or a broken step
        print("FAIL: %s" % failure, file=sys.stderr)
        for log in sorted(f for f in os.listdir(ROOT) if f.endswith(".log")):
            print("== %s\n%s" % (log, open(os.path.join(ROOT, log)).read()[-2000:]), file=sys.stderr)
        status = 1
    finally:
        for process in processes:
            if process.poll() is None:
                process.kill()
    sys.exit(status)
