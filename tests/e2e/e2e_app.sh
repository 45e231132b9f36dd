#!/usr/bin/env bash
# End-to-end test of the installed application, run from outside the process.
#   e2e_app.sh <install prefix> <zq-xclose>
# Runs under a private session bus and X server (tests/isolate.sh --dbus --x11).
# Windows are found by their titles with xwininfo, their level with xprop,
# and closed the way a window manager's close button closes them
# (WM_DELETE_WINDOW, sent by zq-xclose). Controls are read and pressed as a
# screen reader does, over the accessibility bus (atspi_tool.py), and typed
# at with the keyboard (xdotool). Every wait is a poll with a bound.
set -euo pipefail

stage=$1
xclose=$2
here=$(cd "$(dirname "$0")" && pwd)
app="$stage/Contents/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel"
title="Vesko输入法更新"
bus_name=com.vesko.ZQAssistPanel
object_path=/com/vesko/ZQAssistPanel

export VESKO_INSTALL_ROOT="$stage"
export QT_QPA_PLATFORM=xcb
unset VESKO_RESOURCES VESKO_PLUGINS

fail() {
    echo "FAIL: $*" >&2
    exit 1
}
step() { echo "--- $*"; }

# The change log cannot be reached: a loopback port that nothing listens on.
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
config="$ZQ_TEST_ROOT/e2e.ini"
printf '[Web]\nHost=http://127.0.0.1:%s\n' "$port" > "$config"
export VESKO_CONFIG="$config"

# The accessibility bus, as a desktop session has it.
/usr/libexec/at-spi-bus-launcher --launch-immediately &
a11y=$!
trap 'kill $a11y 2>/dev/null || true' EXIT
export QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
atspi() { /usr/bin/python3 "$here/atspi_tool.py" "$@"; }
for ((i = 0; i < 200; i++)); do
    gdbus call --session --dest org.a11y.Bus --object-path /org/a11y/bus \
        --method org.a11y.Bus.GetAddress > /dev/null 2>&1 && break
    sleep 0.1
done

[[ -x $app ]] || fail "the application is not installed at $app"
[[ -f $stage/Contents/Info.plist ]] || fail "Contents/Info.plist is not installed"
[[ -f $stage/Contents/ZQAssistPanel.app/Contents/Resources/pages/offline.html ]] ||
    fail "the offline page is not installed"
grep -q '^DBusActivatable=true$' "$stage/share/applications/com.vesko.ZQAssistPanel.desktop" ||
    fail "the desktop entry is not D-Bus activatable"

# Ids of the top-level windows titled $1.
windows_titled() {
    xwininfo -root -tree 2>/dev/null | awk -v t="\"$1\":" '$2 == t { print $1 }'
}
count_windows() { windows_titled "$1" | wc -l; }

# wait_windows TITLE COUNT: until exactly COUNT windows have the title (20 s at most).
wait_windows() {
    local i
    for ((i = 0; i < 200; i++)); do
        [[ $(count_windows "$1") -eq $2 ]] && return 0
        sleep 0.1
    done
    fail "expected $2 window(s) titled '$1', found $(count_windows "$1")"
}

# wait_text TITLE NAME TEXT: the control NAME of the window shows TEXT (20 s at most); the
# offline page, for one, is put in after the first paint.
wait_text() {
    local i
    for ((i = 0; i < 200; i++)); do
        [[ $(atspi text "$1" "$2" 2>/dev/null) == *"$3"* ]] && return 0
        sleep 0.1
    done
    return 1
}

# wait_exit PID: the process ends (20 s at most); its status goes to $exit_status.
exit_status=
wait_exit() {
    local i
    for ((i = 0; i < 200; i++)); do
        if ! kill -0 "$1" 2>/dev/null; then
            exit_status=0
            wait "$1" || exit_status=$?
            return 0
        fi
        sleep 0.1
    done
    kill "$1" 2>/dev/null || true
    fail "process $1 did not end"
}

above() {
    xprop -id "$1" _NET_WM_STATE | grep -q _NET_WM_STATE_ABOVE
}

post() {
    gdbus emit --session --object-path /com/vesko/DistributedNotification \
        --signal com.vesko.DistributedNotification.Post \
        "'kVeskoNotifyLoadXibInZQAssistPanel'" "$1" > /dev/null
}

# A round trip to the application's main thread: when it returns, every
# notification posted before has been handled.
sync_app() {
    gdbus call --session --dest "$bus_name" --object-path "$object_path" \
        --method org.freedesktop.Application.Open "[]" "{}" > /dev/null
}

pkg="$ZQ_TEST_ROOT/Downloads/VeskoInput-2.1.0.pkg"
mkdir -p "$(dirname "$pkg")"
: > "$pkg"

step "the application itself does not load the web engine"
! ldd "$app" | grep -q 'libQt6WebEngine' || fail "the application links Qt WebEngine"
[[ -f $stage/Contents/ZQAssistPanel.app/Contents/PlugIns/ZQChangeLogView.so ]] ||
    fail "the change-log view module is not installed"

# Whether the process maps a Qt WebEngine library.
maps_web_engine() { grep -q 'libQt6WebEngine' "/proc/$1/maps"; }

step "no page, unknown pages and bad arguments end the process at once with status 0"
for args in "" "-zqabout" "--ZQUpdateDetail" "-" "-ZQPreferences -1"; do
    status=0
    # shellcheck disable=SC2086
    timeout 20 "$app" $args 2>/dev/null || status=$?
    [[ $status -eq 0 ]] || fail "'$args' ended with status $status"
done
status=0
timeout 20 "$app" "$(printf '\377\376ZQAbout')" 2>/dev/null || status=$?
[[ $status -eq 0 ]] || fail "a non-UTF-8 page name ended with status $status"
status=0
timeout 20 "$app" "" 2>/dev/null || status=$?
[[ $status -eq 0 ]] || fail "an empty argument ended with status $status"
[[ $(count_windows "$title") -eq 0 ]] || fail "a window was left behind"

step "a page opened by launch arguments"
"$app" -ZQUpdateDetail "-$pkg" -UpdateByPkg -2.1.0 2> "$ZQ_TEST_ROOT/app1.log" &
pid=$!
wait_windows "$title" 1
window=$(windows_titled "$title")
above "$window" || fail "the update detail window is not kept above normal windows"
gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.NameHasOwner "$bus_name" | grep -q true ||
    fail "the application does not own $bus_name"

step "load notifications for no page and for another application's page change nothing"
post "{'kVeskoPreferencesXibName': <'ZQPreferences'>}"
post "{'UpdateMode': <'Silent'>}"
post "{'kVeskoPreferencesXibName': <int64 3>}"
sync_app
kill -0 "$pid" 2>/dev/null || fail "the application ended on a notification for no page"
[[ $(count_windows "$title") -eq 1 ]] || fail "a notification for no page opened a window"

step "a load notification for the open page re-uses its window"
post "{'kVeskoPreferencesXibName': <'ZQUpdateDetail'>, 'UpdatePkgPath': <'$pkg'>, 'UpdateMode': <'UpdateByPkg'>, 'UpdateVersion': <'2.1.1'>}"
sync_app
wait_windows "$title" 1
[[ $(windows_titled "$title") == "$window" ]] || fail "the page got a second window"
above "$window" || fail "the re-arranged window is not above normal windows"
atspi find "$title" "Vesko输入法 新版本2.1.1" > /dev/null || fail "the notification did not re-arrange the page"

step "the change log is shown by the web engine, loaded after the window"
atspi find "$title" "ChangeLog" > /dev/null || fail "no change-log view"
maps_web_engine "$pid" || fail "the change log is shown without the web engine"

step "an application action re-arranges the open page like the load notification"
gapplication action "$bus_name" ZQUpdateDetail "{'UpdateMode': <'Silent'>, 'UpdateVersion': <'2.2.0'>}" ||
    fail "gapplication action"
atspi find "$title" "Vesko输入法 已经升至2.2.0" > /dev/null || fail "the action did not re-arrange the page"
atspi find "$title" "好的" "push button" > /dev/null || fail "the silent layout has no close button"
# Markup in a parameter is shown as text: as rich text, the picture would have
# the window read a FIFO nobody writes to.
mkfifo "$ZQ_TEST_ROOT/picture"
version="<img src=\"$ZQ_TEST_ROOT/picture\">"
gapplication action "$bus_name" ZQUpdateDetail "{'UpdateMode': <'UpdateByPkg'>, 'UpdateVersion': <'$version'>}"
atspi find "$title" "Vesko输入法 新版本$version" > /dev/null || fail "the version was not shown as text"
gapplication action "$bus_name" ZQUpdateDetail "{'UpdateMode': <'UpdateByPkg'>, 'UpdateVersion': <'2.1.0'>}"
atspi find "$title" "Vesko输入法 新版本2.1.0" > /dev/null || fail "the action did not re-arrange the page back"
[[ $(windows_titled "$title") == "$window" ]] || fail "the action opened a second window"

step "a screen reader's press on remind later writes the choice and closes the last window"
atspi press "$title" "稍后提醒" "push button" || fail "no remind-later button to press"
wait_exit "$pid"
[[ $exit_status -eq 0 ]] || fail "the application ended with status $exit_status"
grep -q '<string>promptLater</string>' "$stage/Contents/updateInfo.plist" ||
    fail "remind later did not reach the choice file"

step "the page works from the keyboard: Tab to ignore this version, Return"
"$app" -ZQUpdateDetail "-$pkg" -UpdateByPkg -2.1.0 2> "$ZQ_TEST_ROOT/app1b.log" &
pid=$!
wait_windows "$title" 1
window=$(windows_titled "$title")
atspi find "$title" "忽略该版本" "push button" > /dev/null || fail "no ignore button"
xdotool windowfocus --sync "$window"
for ((i = 0; i < 6; i++)); do
    atspi states "$title" "忽略该版本" | grep -qw focused && break
    xdotool key Tab
done
atspi states "$title" "忽略该版本" | grep -qw focused || fail "Tab never reached the ignore button"
xdotool key Return
wait_exit "$pid"
grep -q '<string>ignore</string>' "$stage/Contents/updateInfo.plist" ||
    fail "Return on ignore this version did not reach the choice file"

step "without the change-log module the page shows the offline page and stays usable"
# A copy of the installed tree (made of links) whose change-log module is broken.
cp -as "$stage" "$ZQ_TEST_ROOT/broken"
plugins="$ZQ_TEST_ROOT/broken/Contents/ZQAssistPanel.app/Contents/PlugIns"
rm "$plugins/ZQChangeLogView.so"
echo "not a module" > "$plugins/ZQChangeLogView.so"
VESKO_PLUGINS="$plugins" "$app" -ZQUpdateDetail "-$pkg" -UpdateByPkg -2.1.0 2> "$ZQ_TEST_ROOT/app1c.log" &
pid=$!
wait_windows "$title" 1
wait_text "$title" "ChangeLog" "暂时无法获取更新内容" || fail "no offline page"
! maps_web_engine "$pid" || fail "the web engine was loaded from a broken module"
atspi press "$title" "忽略该版本" "push button" || fail "no ignore button to press"
wait_exit "$pid"
[[ $exit_status -eq 0 ]] || fail "the application ended with status $exit_status"

step "Qt's own option names are page parameters; closing the last window ends the process"
"$app" -ZQUpdateDetail -style -reverse -platform xcb 2> "$ZQ_TEST_ROOT/app1d.log" &
pid=$!
wait_windows "$title" 1
"$xclose" "$title" > /dev/null || fail "no window to close"
wait_exit "$pid"
[[ $exit_status -eq 0 ]] || fail "the application ended with status $exit_status"
[[ $(count_windows "$title") -eq 0 ]] || fail "the window outlived the process"

step "a page opened by a load notification (gdbus emit)"
"$app" --gapplication-service 2> "$ZQ_TEST_ROOT/app2.log" &
pid=$!
for ((i = 0; i < 200; i++)); do
    gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.NameHasOwner "$bus_name" | grep -q true && break
    sleep 0.1
done
[[ $(count_windows "$title") -eq 0 ]] || fail "a window opened before any request"
post "{'kVeskoPreferencesXibName': <'ZQUpdateDetail'>, 'UpdatePkgPath': <'$pkg'>, 'UpdateMode': <'UpdateByPkg'>, 'UpdateVersion': <'2.1.0'>}"
wait_windows "$title" 1
above "$(windows_titled "$title")" || fail "the window is not above normal windows"
"$xclose" "$title" > /dev/null || fail "no window to close"
wait_exit "$pid"
[[ $exit_status -eq 0 ]] || fail "the application ended with status $exit_status"

step "D-Bus activation of the installed service by 'gapplication action'"
XDG_DATA_DIRS="$stage/share:${XDG_DATA_DIRS:-/usr/local/share:/usr/share}" \
    dbus-run-session -- bash -c '
        set -euo pipefail
        gapplication action com.vesko.ZQAssistPanel ZQUpdateDetail
        for ((i = 0; i < 200; i++)); do
            [[ $(xwininfo -root -tree | awk -v t="\"$1\":" "\$2 == t" | wc -l) -eq 1 ]] && break
            sleep 0.1
        done
        [[ $i -lt 200 ]] || { echo "FAIL: no window after activation" >&2; exit 1; }
        "$2" "$1" > /dev/null
        for ((i = 0; i < 200; i++)); do
            gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
                --method org.freedesktop.DBus.NameHasOwner com.vesko.ZQAssistPanel | grep -q false && break
            sleep 0.1
        done
        [[ $i -lt 200 ]] || { echo "FAIL: the activated application did not end" >&2; exit 1; }
    ' _ "$title" "$xclose" || fail "D-Bus activation"

echo "e2e_app: every step passed"
