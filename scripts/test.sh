#!/usr/bin/env bash
# Builds everything and runs every test suite, then the sanitizer builds:
# ThreadSanitizer over the instrument link, AddressSanitizer over the file and stream readers.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"

# name, sanitizer, suites
run_sanitized() {
  local dir=$1 san=$2; shift 2
  local targets=()
  for t in "$@"; do
    local folder=${t#test_}
    if [ -f "tests/${folder%%_*}/CMakeLists.txt" ]; then targets+=("$t"); fi
  done
  [ ${#targets[@]} -gt 0 ] || return 0
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DLVX_SANITIZE="$san" \
    -DLVX_BUILD_BENCHMARKS=OFF >/dev/null
  cmake --build "$dir" -j "$jobs" --target "${targets[@]}"
  local regex
  regex="^($(IFS='|'; echo "${targets[*]}"))$"
  ctest --test-dir "$dir" --output-on-failure -R "$regex"
}

run_sanitized build-tsan thread test_ui test_instrument
run_sanitized build-asan address,undefined test_documents test_diagram_stream

# A short libFuzzer run over the object stream readers, from the seeds in the tests.
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_COMPILER=clang++ -DLVX_FUZZ=ON -DLVX_SANITIZE=address,undefined \
  -DLVX_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build build-fuzz -j "$jobs" --target fuzz_objectstream
corpus=$(mktemp -d)
cp tests/diagram/fuzz-seeds/* "$corpus"/
build-fuzz/tests/diagram/fuzz_objectstream -max_total_time=60 -rss_limit_mb=1024 \
  -max_len=65536 "$corpus"
rm -rf "$corpus"
