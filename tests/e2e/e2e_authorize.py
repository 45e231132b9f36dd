#!/usr/bin/python3
"""The installed permission guidance window from outside (e2e_authorize.py <install prefix>, under
tests/isolate.sh --dbus --x11): "ZQAuthorize" -4 -6 on GNOME with the shipped settings table, a
recording gnome-control-center on PATH and the reference web service taking the analytics."""
import json, os, re, subprocess, sys, time, urllib.request

here = os.path.dirname(os.path.abspath(__file__))
source, stage, root = os.path.dirname(os.path.dirname(here)), sys.argv[1], os.environ["ZQ_TEST_ROOT"]
app, title = stage + "/Contents/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel", "Vesko输入法权限设置"
service = subprocess.Popen([sys.executable, source + "/tools/refservice/refservice.py", "--port", "0",
                            "--data-dir", root + "/service"], stdout=subprocess.PIPE, text=True)
port = service.stdout.readline().strip().rsplit(":", 1)[1]  # "listening 127.0.0.1:PORT"
a11y = subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
with open(source + "/resources/config/ZQAssistPanel.ini") as shipped, open(root + "/e2e.ini", "w") as ini:
    ini.write(shipped.read().replace("127.0.0.1:8731", "127.0.0.1:" + port))
os.makedirs(root + "/bin")
with open(root + "/bin/gnome-control-center", "w") as stub:
    stub.write('#!/bin/sh\necho "gnome-control-center $*" >> "%s/started.log"\n' % root)
os.chmod(root + "/bin/gnome-control-center", 0o755)
os.environ.update(VESKO_INSTALL_ROOT=stage, VESKO_CONFIG=root + "/e2e.ini", QT_QPA_PLATFORM="xcb",
                  PATH=root + "/bin:" + os.environ["PATH"], XDG_CURRENT_DESKTOP="GNOME",
                  QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
deadline = time.monotonic() + 20  # the accessibility bus, before pyatspi looks for it
while subprocess.run(["gdbus", "call", "--session", "--dest", "org.a11y.Bus", "--object-path",
                      "/org/a11y/bus", "--method", "org.a11y.Bus.GetAddress"],
                     capture_output=True).returncode != 0 and time.monotonic() < deadline:
    time.sleep(0.1)
sys.path.insert(0, here)
import atspi_tool as at  # noqa: E402


def run(*command):
    return subprocess.run(command, capture_output=True, text=True).stdout


def analytics():  # "code:auth_rea/mac_cont/mac_icon" of every event the service accepted
    answer = json.load(urllib.request.urlopen("http://127.0.0.1:%s/__control/analytics" % port))
    return " ".join(e["event"]["code"] + ":" + "/".join(e["event"]["params"].get(k, "") for k in (
        "auth_rea", "mac_cont", "mac_icon")) for e in answer["events"])


def frame():  # x, y, width, height of the window titled `title`
    global xid
    xid = re.search(r"(0x[0-9a-f]+) \"%s\"" % title, run("xwininfo", "-root", "-tree")).group(1)
    return [int(v) for v in re.findall(r"(?:Absolute upper-left [XY]|Width|Height):\s+(-?\d+)", run("xwininfo", "-id", xid))]


try:
    process = subprocess.Popen([app, "-ZQAuthorize", "-4", "-6"])
    window = at.window(title)
    at.find(window, "“语音输入”功能的使用，需要您授权“麦克风”“辅助功能”权限", "label")
    at.poll("a window of 520 x 617", lambda: frame()[2:] == [520, 617])
    at.poll("the window above others", lambda: "ABOVE" in run("xprop", "-id", xid, "_NET_WM_STATE"))
    at.poll("both prompt counts", lambda: analytics() == "mac_prompt_imp:4/1/ mac_prompt_imp:4/2/")
    at.press(window, "前往授权", "push button")
    at.poll("the microphone page started", lambda: os.path.exists(root + "/started.log") and open(
        root + "/started.log").read() == "gnome-control-center microphone\n")
    at.poll("the click count", lambda: analytics().endswith(" mac_clck://2"))
    screen = int(re.search(r"Width:\s+(\d+)", run("xwininfo", "-root")).group(1))
    at.poll("the window open at the right edge", lambda: process.poll() is None and frame()[0] == screen - 520)
    at.poll("no Qt WebEngine", lambda: "libQt6WebEngine" not in open("/proc/%d/maps" % process.pid).read())
    at.press(window, "关闭", "push button")
    at.poll("the process to end with status 0 by the close button", lambda: process.poll() == 0)
    # No settings page on this desktop and no action button (577 points); a load notification adds
    # the button (617 points, the lower edge kept); 前往授权 shows the address to open by hand.
    process = subprocess.Popen([app, "-ZQAccesAuthorize", "-0", "-3"], env=dict(os.environ, XDG_CURRENT_DESKTOP="Unknown"))
    at.poll("a window of 577 points", lambda: at.window(title) and frame()[3] == 577)
    bottom = frame()[1] + 577
    run("gdbus", "emit", "--session", "--object-path", "/com/vesko/DistributedNotification", "--signal",
        "com.vesko.DistributedNotification.Post", "kVeskoNotifyLoadXibInZQAssistPanel",
        "{'kVeskoPreferencesXibName': <'ZQAuthorize'>, 'ZQAuthorizeType': <'5'>, 'ZQAuthorizeSourceType': <'13'>}")
    at.poll("617 points, the lower edge kept", lambda: frame()[3] == 617 and frame()[1] + 617 == bottom)
    at.press(at.window(title), "前往授权", "push button")
    at.poll("the address", lambda: at.text(at.find(at.window(title), "系统设置页面"))
            == "x-apple.systempreferences:com.apple.LoginItems-Settings.extension")
    at.find(at.window(title), "复制", "push button")
    process.terminate()
    process.wait(20)
except (at.Failure, AttributeError) as failure:
    sys.exit("FAIL: %s" % failure)
finally:
    for child in (service, a11y):
        child.terminate()
print("e2e_authorize: every step passed")
