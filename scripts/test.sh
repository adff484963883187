#!/usr/bin/env bash
# Builds everything and runs every test suite, then the sanitizer builds:
# ThreadSanitizer over the instrument link, AddressSanitizer over the file and stream readers,
# and a minute of libFuzzer on the document reader.
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
    if [ -f "tests/${t#test_}/CMakeLists.txt" ]; then targets+=("$t"); fi
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
UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
  run_sanitized build-asan address,undefined,float-cast-overflow test_documents

# The document reader under libFuzzer (clang, ASan, UBSan), seeded with real documents; a
# finding stops the run and leaves its input in build-fuzz/ for a regression test.
CC=clang CXX=clang++ cmake -S tests/documents/fuzz -B build-fuzz -G Ninja >/dev/null
cmake --build build-fuzz -j "$jobs"
fuzz_work=$(mktemp -d)
trap 'rm -rf "$fuzz_work"' EXIT
build-fuzz/fuzz_document_reader -max_total_time=60 -rss_limit_mb=2048 -timeout=10 \
  -artifact_prefix=build-fuzz/ -print_final_stats=1 "$fuzz_work" tests/documents/fuzz/corpus
