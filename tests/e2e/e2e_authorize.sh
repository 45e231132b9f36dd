#!/usr/bin/env bash
# End-to-end test of the installed permission guidance window, from outside the process:
#   e2e_authorize.sh <install prefix>
# Runs under tests/isolate.sh --dbus --x11. The input method asks for the microphone for voice
# input ("ZQAuthorize" -4 -6) on a GNOME desktop whose settings program is a recording stub;
# the shipped settings table and analytics go to the reference web service on loopback.
set -euo pipefail
stage=$1
here=$(cd "$(dirname "$0")" && pwd)
source_dir=$(cd "$here/../.." && pwd)
app="$stage/Contents/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel"
title="Vesko输入法权限设置"
prompt="“语音输入”功能的使用，需要您授权“麦克风”“辅助功能”权限"
fail() { echo "FAIL: $*" >&2; exit 1; }
step() { echo "--- $*"; }
atspi() { /usr/bin/python3 "$here/atspi_tool.py" "$@"; }
# poll SECONDS COMMAND...: until the command succeeds.
poll() {
    local end=$((SECONDS + $1)); shift
    until "$@"; do ((SECONDS < end)) || return 1; sleep 0.1; done
}

python3 "$source_dir/tools/refservice/refservice.py" --port 0 --data-dir "$ZQ_TEST_ROOT/service" \
    > "$ZQ_TEST_ROOT/service.out" 2>&1 &
service=$!
/usr/libexec/at-spi-bus-launcher --launch-immediately &
a11y=$!
trap 'kill $service $a11y 2>/dev/null || true' EXIT
poll 20 grep -q '^listening' "$ZQ_TEST_ROOT/service.out" || fail "the reference web service did not start"
port=$(sed -n 's/^listening 127.0.0.1:\([0-9]*\).*/\1/p' "$ZQ_TEST_ROOT/service.out")
sed "s#127.0.0.1:8731#127.0.0.1:$port#" "$source_dir/resources/config/ZQAssistPanel.ini" \
    > "$ZQ_TEST_ROOT/e2e.ini"
mkdir -p "$ZQ_TEST_ROOT/bin"
printf '#!/bin/sh\necho "$(basename "$0") $*" >> "%s/started.log"\n' "$ZQ_TEST_ROOT" \
    > "$ZQ_TEST_ROOT/bin/gnome-control-center"
chmod +x "$ZQ_TEST_ROOT/bin/gnome-control-center"
export VESKO_INSTALL_ROOT="$stage" VESKO_CONFIG="$ZQ_TEST_ROOT/e2e.ini" QT_QPA_PLATFORM=xcb
export PATH="$ZQ_TEST_ROOT/bin:$PATH" XDG_CURRENT_DESKTOP=GNOME QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
poll 20 gdbus call --session --dest org.a11y.Bus --object-path /org/a11y/bus \
    --method org.a11y.Bus.GetAddress > /dev/null || fail "no accessibility bus"

geometry() { xwininfo -id "$window" | awk -v k="$1:" 'index($0, k) { print $NF }'; }
# The events the service accepted, "code:auth_rea/mac_cont/mac_icon" each.
analytics() {
    python3 -c 'import json, sys, urllib.request
events = json.load(urllib.request.urlopen("http://127.0.0.1:%s/__control/analytics" % sys.argv[1]))["events"]
print(" ".join(e["event"]["code"] + ":" + "/".join(e["event"]["params"].get(k, "") for k in ("auth_rea", "mac_cont", "mac_icon")) for e in events))' "$port"
}
counts_are() { [[ $(analytics) == "$1" ]]; }
at_right_edge() { (($(geometry "Absolute upper-left X") + 520 == screen_width)); }
ended() { ! kill -0 "$pid" 2>/dev/null; }

step "the prompt for voice input, read through the accessibility bus"
"$app" -ZQAuthorize -4 -6 2> "$ZQ_TEST_ROOT/app.log" &
pid=$!
atspi find "$title" "$prompt" label > /dev/null || fail "no microphone prompt"
window=$(xwininfo -root -tree | awk -v t="\"$title\":" '$2 == t { print $1 }')
[[ $(geometry Height) == 617 && $(geometry Width) == 520 ]] || fail "the window is not 520 x 617"
xprop -id "$window" _NET_WM_STATE | grep -q _NET_WM_STATE_ABOVE || fail "the window is not kept above"
poll 20 counts_are "mac_prompt_imp:4/1/ mac_prompt_imp:4/2/" ||
    fail "prompt counts: $(analytics)"

step "前往授权 starts the desktop's microphone page and reports the click"
atspi press "$title" "前往授权" "push button" || fail "no action button to press"
poll 20 grep -qx "gnome-control-center microphone" "$ZQ_TEST_ROOT/started.log" 2>/dev/null ||
    fail "the microphone settings page was not started"
poll 20 counts_are "mac_prompt_imp:4/1/ mac_prompt_imp:4/2/ mac_clck://2" ||
    fail "click count: $(analytics)"
screen_width=$(xwininfo -root | awk '/Width:/ { print $2 }')
poll 20 at_right_edge ||
    fail "the window did not move to the right edge"
kill -0 "$pid" || fail "the window closed on 前往授权"
! grep -q libQt6WebEngine "/proc/$pid/maps" || fail "the page maps Qt WebEngine"

step "the close button ends the process"
atspi press "$title" "关闭" "push button" || fail "no close button"
poll 20 ended || fail "the process did not end"
wait "$pid" || fail "the process ended with status $?"

step "without a settings page for the desktop, the address to open by hand"
XDG_CURRENT_DESKTOP=Unknown "$app" -ZQAuthorize -5 -13 2> "$ZQ_TEST_ROOT/app2.log" &
pid=$!
atspi press "$title" "前往授权" "push button" || fail "no action button to press"
[[ $(atspi text "$title" "系统设置页面") == "x-apple.systempreferences:com.apple.LoginItems-Settings.extension" ]] ||
    fail "no address shown"
atspi find "$title" "复制" "push button" > /dev/null || fail "no copy button"
kill "$pid"
echo "e2e_authorize: every step passed"
