#!/usr/bin/env bash
# Installs everything the project needs to build, run and test on Debian 12.
set -euo pipefail
packages=(
    cmake ninja-build g++ pkg-config git
    qt6-base-dev qt6-base-dev-tools qt6-svg-dev qt6-webengine-dev qt6-declarative-dev
    qml6-module-qtwebengine qml6-module-qtquick qt6-tools-dev qt6-tools-dev-tools
    qt6-l10n-tools libqt6sql6-sqlite libgl-dev libqt6opengl6-dev
    libplist-dev libssl-dev zlib1g-dev libminizip-dev libbenchmark-dev
    fonts-noto-cjk xvfb xauth dbus dbus-x11 libglib2.0-bin x11-utils libxcb1-dev
    python3-dbus python3-gi
    python3 python3-cryptography openssl unzip imagemagick x11-apps
    clang libclang-rt-14-dev clang-format
    at-spi2-core python3-pyatspi gir1.2-atspi-2.0 python3-gi python3-dbus xdotool
)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [[ ${#missing[@]} -gt 0 ]]; then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -q
    apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
