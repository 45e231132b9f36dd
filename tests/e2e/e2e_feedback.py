#!/usr/bin/python3
"""End-to-end test of the installed help-and-feedback window, from outside.

    e2e_feedback.py <install prefix> <source dir>

Runs under tests/isolate.sh --dbus --x11. Starts the reference web service on
loopback and the accessibility bus, then drives the window as a screen reader
does (atspi_tool): the cached help rows, then the service's newer list; a row
opened; the alert for a too-short description; two pictures chosen in the file
panel; the draft surviving a killed process; the submission arriving in the
service's journal with an archive that Python's zipfile reads. Every wait is a
poll with a bound.
"""
import json
import os
import plistlib
import signal
import subprocess
import sys
import time
import urllib.request
import zipfile

stage, source = sys.argv[1], sys.argv[2]
root = os.environ["ZQ_TEST_ROOT"]
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
os.environ["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
at = None  # atspi_tool, imported once the accessibility bus runs

app = os.path.join(stage, "Contents/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel")
HELP, FORM, ALERT = "帮助与反馈", "意见反馈", "Vesko输入法"


def step(text):
    print("---", text, flush=True)


def check(condition, message):
    if not condition:
        raise at.Failure(message)


def start_service():
    data = os.path.join(root, "service")
    service = subprocess.Popen(
        ["/usr/bin/python3", os.path.join(source, "tools/refservice/refservice.py"), "--port", "0",
         "--data-dir", data, "--stop-on-eof"],
        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    port = service.stdout.readline().split(":")[-1].strip()
    base = "http://127.0.0.1:" + port
    config = os.path.join(root, "e2e-feedback.ini")
    with open(config, "w") as f:
        f.write("[Service]\nHost=%s\nWallHost=%s\nPingbackHost=%s\nUploadHost=%s\n"
                "[Analytics]\nEnabled=false\n" % (base, base, base, base))
    os.environ["VESKO_CONFIG"] = config
    return service, base, os.path.join(data, "journal.jsonl")


def control(base, method, path, body):
    request = urllib.request.Request(base + path, data=json.dumps(body).encode(), method=method)
    urllib.request.urlopen(request, timeout=10).read()


def journal(path, endpoint):
    if not os.path.exists(path):
        return []
    with open(path, encoding="utf-8") as f:
        entries = [json.loads(line) for line in f if line.strip()]
    return [e for e in entries if e.get("endpoint") == endpoint]


def launch():
    process = subprocess.Popen([app, "-ZQFeedbackWindowController"],
                               stderr=open(os.path.join(root, "feedback-app.log"), "a"))
    return process, at.window(HELP)


def maps_web_engine(pid):
    with open("/proc/%d/maps" % pid) as f:
        return "libQt6WebEngine" in f.read()


def answer_alert(text):
    """The window-modal alert shows `text`; its button dismisses it."""
    alert = at.window(ALERT)
    at.find(alert, text)
    at.press(alert, "好的", "push button")
    at.no_window(ALERT)


def text_of(window, name):
    return at.text(at.find(window, name, "text"))


def main():
    service, base, journal_path = start_service()
    downloads = os.path.join(os.environ["HOME"], "Downloads")
    os.makedirs(downloads, exist_ok=True)
    pictures = {"a.png": b"\x89PNG\r\n\x1a\n" + bytes(300), "b.jpg": b"\xff\xd8\xff\xe0" + bytes(500)}
    for name, data in pictures.items():
        with open(os.path.join(downloads, name), "wb") as f:
            f.write(data)
    with open(os.path.join(source, "resources/help/helpInfo.plist"), "rb") as f:
        seed_first = plistlib.load(f)["helplist"][0]["title"]
    service_first = "如何切换到Vesko输入法？"
    draft = os.path.join(os.environ["XDG_DATA_HOME"], "Vesko/InputMethod/feedbackDraft.plist")
    description = "输入法在终端里无法切换，按 Ctrl+空格 没有反应。"

    step("the cached rows appear, then the service's newer list")
    control(base, "POST", "/__control/faults", {"path": "/q", "fault": "delay", "ms": 4000, "count": 1})
    process, window = launch()
    at.find(window, seed_first, "check box", timeout=3)
    at.find(window, service_first, "check box")
    check(not [n for n in at.walk(window) if n.name == seed_first], "the cached rows stayed")
    check(not maps_web_engine(process.pid), "the window maps Qt WebEngine")

    step("a row opens; the open row reads as checked")
    row = at.find(window, "怎样快速切换中英文？", "check box")
    at.action(row, "Toggle")
    at.poll("the row to open", lambda: "checked" in at.states(row))
    at.find(window, "查看大图", "push button")

    step("the form: a too-short description shows the alert")
    at.press(window, "意见反馈", "push button")
    window = at.window(FORM)
    description_field = at.find(window, "请详细描述您遇到的问题（10至300字）", "text")
    at.set_text(description_field, "太短了")
    at.press(window, "提交", "push button")
    answer_alert("字数不足10个，请详细描述您的问题")

    step("two pictures chosen in the file panel")
    at.set_text(description_field, description)
    at.set_text(at.find(window, "联系方式（QQ、邮箱或手机，选填）", "text"), "qq 12345")
    at.press(window, "添加图片", "push button")
    panel = at.window("上传图片")
    name_field = [n for n in at.find_all(panel, "text") if n.getState().contains(at.pyatspi.STATE_EDITABLE)][-1]
    at.set_text(name_field, '"a.png" "b.jpg"')
    at.press(panel, "Open", "push button")
    at.find(window, "a.png", "push button")
    at.find(window, "b.jpg", "push button")

    step("the draft survives a killed process")
    at.poll("the draft to be saved", lambda: os.path.exists(draft) and
            plistlib.load(open(draft, "rb")).get("pictures", [None])[-1:] == [os.path.join(downloads, "b.jpg")]
            and plistlib.load(open(draft, "rb"))["description"] == description)
    process.send_signal(signal.SIGKILL)
    process.wait(20)
    process, window = launch()
    at.press(window, "意见反馈", "push button")
    window = at.window(FORM)
    check(text_of(window, "请详细描述您遇到的问题（10至300字）") == description, "the description was lost")
    check(text_of(window, "联系方式（QQ、邮箱或手机，选填）") == "qq 12345", "the contact was lost")
    at.find(window, "a.png", "push button")
    at.find(window, "b.jpg", "push button")

    step("the submission arrives with both pictures in its archive")
    at.press(window, "提交", "push button")
    alert = at.window(ALERT)
    at.find(alert, "提交成功")
    reports = at.poll("the report in the journal", lambda: journal(journal_path, "/macfb/v1/macfeedback"))
    archive = reports[-1]["stored"][0]
    with zipfile.ZipFile(archive) as z:
        check(z.namelist() == ["pic_001.png", "pic_002.jpg"], "archive entries %s" % z.namelist())
        check(z.read("pic_002.jpg") == pictures["b.jpg"], "the second picture's bytes differ")
    at.poll("the draft to be removed", lambda: not os.path.exists(draft))
    at.press(alert, "好的", "push button")
    at.poll("the form to be cleared", lambda: text_of(window, "请详细描述您遇到的问题（10至300字）") == "")
    check(not maps_web_engine(process.pid), "the window maps Qt WebEngine")

    process.terminate()
    process.wait(20)
    service.stdin.close()
    service.wait(20)
    print("e2e_feedback: every step passed")


if __name__ == "__main__":
    bus = subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
    try:
        for _ in range(200):
            if subprocess.run(["gdbus", "call", "--session", "--dest", "org.a11y.Bus", "--object-path",
                               "/org/a11y/bus", "--method", "org.a11y.Bus.GetAddress"],
                              capture_output=True).returncode == 0:
                break
            time.sleep(0.1)
        import atspi_tool as at
        try:
            main()
        except at.Failure as failure:
            print("FAIL:", failure, file=sys.stderr)
            log = os.path.join(root, "feedback-app.log")
            if os.path.exists(log):
                sys.stderr.write(open(log).read()[-3000:])
            sys.exit(1)
    finally:
        bus.terminate()
