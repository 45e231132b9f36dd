#!/usr/bin/env bash
# Installs what the project needs, builds and installs the application into
# build/stage (the installed input method's bundle shape), starts the reference
# web service on 127.0.0.1:8731 and, on the page's private session bus, the
# reference input-method service (VeskoService), and shows one page. Both
# services stop when the page ends.
#   run.sh [PAGE [PARAMETERS...]]      PAGE defaults to ZQAbout
# The input-method service offers version $ZQ_DEMO_VERSION (default 2.1.0, the
# version of the update-detail demonstration package) and journals to
# build/refim-journal.jsonl. Without a display the page is shown on a private
# X server and a screenshot is written to build/screenshot.png.
set -euo pipefail
here=$(cd "$(dirname "$0")/../.." && pwd)
bash "$here/tools/dev/deps.sh"
bash "$here/tools/dev/build.sh"
build=${ZQ_BUILD_DIR:-$here/build}
stage=$build/stage
cmake --install "$build" --prefix "$stage" >/dev/null

demo_version=${ZQ_DEMO_VERSION:-2.1.0}
page=${1:-ZQAbout}
shift || true
params=("$@")
if [[ $page == ZQUpdateDetail && ${#params[@]} -eq 0 ]]; then
    # A demonstration package beside the staged input method.
    mkdir -p "$stage/Downloads"
    : > "$stage/Downloads/VeskoInput-$demo_version.pkg"
    params=("-$stage/Downloads/VeskoInput-$demo_version.pkg" "-UpdateByPkg" "-$demo_version")
fi

export VESKO_INSTALL_ROOT=$stage
if ! python3 - <<'PY' 2>/dev/null
import socket, sys
s = socket.socket(); s.settimeout(0.5)
sys.exit(0 if s.connect_ex(("127.0.0.1", 8731)) == 0 else 1)
PY
then
    python3 "$here/tools/refservice/refservice.py" --port 8731 --data-dir "$build/refservice-data" \
        > "$build/refservice.log" 2>&1 &
    service=$!
    trap 'kill $service 2>/dev/null || true' EXIT
    for _ in $(seq 50); do grep -q listening "$build/refservice.log" 2>/dev/null && break; sleep 0.1; done
fi

app="$stage/Contents/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel"
if [[ $(id -u) == 0 ]]; then
    export QTWEBENGINE_CHROMIUM_FLAGS="${QTWEBENGINE_CHROMIUM_FLAGS:---no-sandbox}"
fi
export ZQ_RUN_APP=$app ZQ_RUN_SHOT=$build/screenshot.png
export ZQ_RUN_IM="$stage/Contents/VeskoService" ZQ_RUN_IM_LOG=$build/refim.log
export ZQ_RUN_IM_JOURNAL=$build/refim-journal.jsonl ZQ_RUN_IM_VERSION=$demo_version
# Run on the private bus before the page: the input-method service, ready
# before the page starts, stopped when the script ends.
with_im='
    "$ZQ_RUN_IM" --remote-version "$ZQ_RUN_IM_VERSION" --journal "$ZQ_RUN_IM_JOURNAL" \
        > "$ZQ_RUN_IM_LOG" 2>&1 &
    im=$!
    trap "kill $im 2>/dev/null; wait $im 2>/dev/null || true" EXIT
    for _ in $(seq 100); do
        grep -q "^ready" "$ZQ_RUN_IM_LOG" && break
        kill -0 $im 2>/dev/null || break
        sleep 0.1
    done
    grep -q "^ready" "$ZQ_RUN_IM_LOG" || { cat "$ZQ_RUN_IM_LOG" >&2; exit 1; }
'
if [[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]]; then
    dbus-run-session -- bash -c "$with_im"'"$ZQ_RUN_APP" "$@"' _ "-$page" "${params[@]}"
    exit
fi
echo "No display: showing $page on a private X server; the screenshot goes to $build/screenshot.png"
dbus-run-session -- xvfb-run -a -s "-screen 0 1280x800x24" bash -c "$with_im"'
    "$ZQ_RUN_APP" "$@" & pid=$!
    for _ in $(seq 150); do
        xwininfo -root -tree 2>/dev/null | grep -q "ZQAssistPanel\|Vesko" && break
        sleep 0.1
    done
    sleep 2
    import -window root "$ZQ_RUN_SHOT" 2>/dev/null || xwd -root -silent > "${ZQ_RUN_SHOT%.png}.xwd"
    xwininfo -root -tree | grep -E "^\s+0x[0-9a-f]+ \"" | grep -v "has no name" || true
    kill $pid 2>/dev/null; wait $pid 2>/dev/null || true
' _ "-$page" "${params[@]}"
echo "screenshot: $ZQ_RUN_SHOT"
