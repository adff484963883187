#!/usr/bin/env bash
# Builds the reader and starts it.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"
if [ -x build/app/LvxReader ]; then
  exec build/app/LvxReader "$@"
else
  exec build/tools/lvxtool simulate "$@"
fi
