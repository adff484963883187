#!/usr/bin/env bash
# Builds everything and runs every test suite, installs and packages the build, then the
# sanitizer builds: ThreadSanitizer over the instrument link, AddressSanitizer over the file and
# stream readers, and 40 seconds of libFuzzer on each stream reader.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

# CI leaves out the benchmarks (run by hand) to stay well inside its time.
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DLVX_BUILD_BENCHMARKS=$([ -n "${CI:-}" ] && echo OFF || echo ON) >/dev/null
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"
bash scripts/check-install.sh build

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

run_sanitized build-tsan thread test_ui test_instrument test_diagram_live test_designer
UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
  run_sanitized build-asan address,undefined,float-cast-overflow test_documents test_diagram_stream

# A short libFuzzer run over the object stream readers, from the seeds in the tests.
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_COMPILER=clang++ -DLVX_FUZZ=ON -DLVX_SANITIZE=address,undefined \
  -DLVX_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build build-fuzz -j "$jobs" --target fuzz_objectstream
corpus=$(mktemp -d)
cp tests/diagram/fuzz-seeds/* "$corpus"/
build-fuzz/tests/diagram/fuzz_objectstream -max_total_time=40 -rss_limit_mb=1024 \
  -max_len=65536 "$corpus"
rm -rf "$corpus"

# The document reader under libFuzzer (clang, ASan, UBSan), seeded with real documents; a
# finding stops the run and leaves its input in build-fuzz-documents/ for a regression test.
CC=clang CXX=clang++ cmake -S tests/documents/fuzz -B build-fuzz-documents -G Ninja >/dev/null
cmake --build build-fuzz-documents -j "$jobs" --target fuzz_document_reader
fuzz_work=$(mktemp -d)
trap 'rm -rf "$fuzz_work"' EXIT
build-fuzz-documents/fuzz_document_reader -max_total_time=40 -rss_limit_mb=2048 -timeout=10 \
  -artifact_prefix=build-fuzz-documents/ -print_final_stats=1 "$fuzz_work" \
  tests/documents/fuzz/corpus
