#!/usr/bin/env bash
# Installs the Debian packages needed to build, run and test the reader.
# Idempotent: only what is missing is installed. Needs root (or sudo).
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config ccache clang-format clang libclang-rt-14-dev
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev qt6-tools-dev libqt6svg6
  libqt6opengl6-dev libgl-dev libxkbcommon-dev
  libqcustomplot-dev libqcustomplot2.1-qt6
  fonts-dseg fonts-dejavu-core
  libudev-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  xvfb xauth xdotool
  clang libclang-rt-14-dev
  desktop-file-utils appstream dpkg-dev file
  poppler-utils man-db
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: everything is already installed"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
