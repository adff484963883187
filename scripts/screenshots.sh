#!/usr/bin/env bash
# Renders the README's pictures from the program itself: started through its own wiring,
# offscreen, recording from the simulated instrument. Needs a build in build/.
set -euo pipefail
cd "$(dirname "$0")/.."
out=$(realpath docs)
mkdir -p "$out"
cmake --build build --target test_views >/dev/null
QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8 LVX_VIEWS_SHOTS="$out" \
  build/tests/views/test_views --gtest_filter='ProgramTest.SimulatedReadings*' >/dev/null
ls "$out"/program_table.png "$out"/program_chart.png
