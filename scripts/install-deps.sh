#!/usr/bin/env bash
# Installs the Debian packages the build, the demo and the tests need; does nothing when all are present.
set -euo pipefail

PACKAGES=(
    cmake ninja-build g++ pkg-config
    qtbase5-dev qtbase5-dev-tools qttools5-dev-tools libqt5svg5-dev
    qtwebengine5-dev libqt5webchannel5-dev
    libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev
    libqrencode-dev libzxing-dev libcpp-httplib-dev libjpeg62-turbo-dev libicu-dev libcurl4-openssl-dev
    qt5-image-formats-plugins kimageformat-plugins zlib1g-dev libvips-tools
    xvfb xauth fonts-noto-cjk fonts-dejavu-core
    libqt5x11extras5-dev libxcb-ewmh-dev libxcb-icccm4-dev libxcb-randr0-dev
    xserver-xephyr openbox dbus-daemon
)

missing=()
for p in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
