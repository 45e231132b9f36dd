#!/usr/bin/env bash
# Runs one test in a private world: fresh home and data folders, fixed locale
# and time zone, optionally a private D-Bus session bus and X server.
#   isolate.sh [--dbus] [--x11] -- command args...
set -euo pipefail
dbus=0
x11=0
while [[ $# -gt 0 ]]; do
    case "$1" in
        --dbus) dbus=1; shift ;;
        --x11) x11=1; shift ;;
        --) shift; break ;;
        *) break ;;
    esac
done

root=$(mktemp -d "${ZQ_TEST_TMP:-/tmp}/zqtest.XXXXXX")
trap 'rm -rf "$root"' EXIT
mkdir -p "$root/home" "$root/data" "$root/tmp" "$root/install" "$root/shared" "$root/system" "$root/runtime"
chmod 700 "$root/runtime"
export HOME="$root/home"
export XDG_DATA_HOME="$root/data"
export XDG_CONFIG_HOME="$root/home/.config"
export XDG_CACHE_HOME="$root/home/.cache"
export XDG_RUNTIME_DIR="$root/runtime"
export TMPDIR="$root/tmp"
export VESKO_INSTALL_ROOT="$root/install"
export VESKO_SHARED_DATA="$root/shared"
export ZQ_TEST_ROOT="$root"
export LANG=C.UTF-8 LC_ALL=C.UTF-8 TZ=UTC
export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"
export QTWEBENGINE_CHROMIUM_FLAGS="${QTWEBENGINE_CHROMIUM_FLAGS:---no-sandbox --disable-gpu}"
export QTWEBENGINE_DISABLE_SANDBOX=1
unset DBUS_SESSION_BUS_ADDRESS DISPLAY WAYLAND_DISPLAY VESKO_CONFIG VESKO_RESOURCES VESKO_SYSTEM_ROOT
unset XDG_CURRENT_DESKTOP XDG_SESSION_TYPE

cmd=("$@")
if [[ $x11 == 1 ]]; then
    # The server picks a free display itself and names it on the pipe. Servers
    # start one at a time (a lock held until the display is named), so that
    # tests running side by side never race for the same display.
    exec {startlock}> /tmp/zq-xvfb-start.lock
    flock "$startlock"
    coproc xserver {
        exec {startlock}>&-
        exec Xvfb -displayfd 1 -screen 0 1920x1080x24 -nolisten tcp 2> "$root/xvfb.log"
    }
    xpid=$xserver_PID
    trap 'kill "$xpid" 2> /dev/null; wait "$xpid" 2> /dev/null; rm -rf "$root"' EXIT
    if ! read -r display <&"${xserver[0]}"; then
        echo "isolate.sh: Xvfb did not start:" >&2
        cat "$root/xvfb.log" >&2
        exit 1
    fi
    exec {startlock}>&-
    export DISPLAY=":$display" QT_QPA_PLATFORM=xcb
fi
if [[ $dbus == 1 ]]; then
    cmd=(dbus-run-session -- "${cmd[@]}")
fi
"${cmd[@]}"
