#!/usr/bin/env bash
# Installs the Debian/Ubuntu packages Selvar needs to build, test and run.
# Idempotent: packages already present are skipped; works as root or through sudo.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  libicu-dev libcurl4-openssl-dev nlohmann-json3-dev libfmt-dev
  libkissfft-dev libsoxr-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcpp-httplib-dev
  clang libclang-rt-14-dev clang-format
  libglib2.0-dev libgtk-3-dev libayatana-appindicator3-dev
  libx11-dev libxtst-dev libxi-dev libpulse-dev libevdev-dev
  libgtk-layer-shell-dev libwayland-dev libwayland-bin wayland-protocols libxkbcommon-dev
  python3 python3-venv python3-pip
  espeak-ng sox xvfb xauth x11-utils xdotool xterm openbox pulseaudio pulseaudio-utils
  python3-gi gir1.2-gtk-3.0 iproute2
  sway grim dbus
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-deps: need root or sudo to install: ${missing[*]}" >&2; exit 1; }
  sudo_cmd=(sudo)
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
