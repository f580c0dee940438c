#!/usr/bin/env bash
# Fuzzes the page bridges: builds fuzz/ in build-fuzz with clang (libFuzzer, AddressSanitizer,
# UndefinedBehaviorSanitizer) and runs it for a number of seconds. Not part of the test suite.
#   scripts/fuzz.sh [seconds] [libFuzzer options...]    run (default 120 s)
#   scripts/fuzz.sh --repro FILE                        run one input again, with the log
#   scripts/fuzz.sh --memory [N]                        run every seed N times (default 40) and print
#                                                       how much memory each run leaves behind
# The growing corpus is kept in build-fuzz/fuzz-corpus, findings (crash-*, leak-*, timeout-*) in
# build-fuzz/fuzz-findings/. Web engine pages need a display: without DISPLAY it runs under xvfb-run.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
missing=()
for p in clang-14 libclang-rt-14-dev; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    SUDO=""
    if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
    export DEBIAN_FRONTEND=noninteractive
    $SUDO apt-get update -qq
    $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

BUILD_DIR=${BUILD_DIR:-build-fuzz}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
    -DORV_BUILD_FUZZ=ON -DORV_BUILD_TESTS=OFF -DORV_BUILD_DEMO=OFF -DORV_BUILD_BENCH=OFF >/dev/null
cmake --build "$BUILD_DIR" --target fuzz_bridges -j "${JOBS:-$(nproc)}"

FUZZER="$BUILD_DIR/fuzz/fuzz_bridges"
export QTWEBENGINE_DISABLE_SANDBOX=1
export QTWEBENGINE_CHROMIUM_FLAGS=${QTWEBENGINE_CHROMIUM_FLAGS:-"--disable-gpu --no-sandbox --dns-prefetch-disable"}
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
export LC_ALL=C.UTF-8
# Leaks are ours to find; what the web engine and the desktop libraries keep until exit is not.
export ASAN_OPTIONS=${ASAN_OPTIONS:-"detect_leaks=1:allocator_may_return_null=1:handle_abort=1"}
export LSAN_OPTIONS=${LSAN_OPTIONS:-"suppressions=$PWD/fuzz/lsan.supp:print_suppressions=0"}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-"print_stacktrace=1:halt_on_error=1"}

run() {
    if [ -n "${DISPLAY:-}" ]; then
        "$@"
    else
        xvfb-run -a -s "-screen 0 1280x1024x24" "$@"
    fi
}

if [ "${1:-}" = "--memory" ]; then
    # No quarantine: freed memory must not look like growth.
    ASAN_OPTIONS="$ASAN_OPTIONS:quarantine_size_mb=0:thread_local_quarantine_size_kb=0" \
        ORV_FUZZ_REPEAT=${2:-40} run "$FUZZER" -runs=0 fuzz/corpus 2>&1 | grep '==fuzz_bridges== memory'
    exit "${PIPESTATUS[0]}"
fi

if [ "${1:-}" = "--repro" ]; then
    [ $# -ge 2 ] || { echo "usage: $0 --repro FILE" >&2; exit 2; }
    ORV_FUZZ_VERBOSE=1 run "$FUZZER" -runs=1 "$2"
    exit $?
fi

TIME=${1:-120}
shift || true
mkdir -p "$BUILD_DIR/fuzz-corpus" "$BUILD_DIR/fuzz-findings"
run "$FUZZER" "$BUILD_DIR/fuzz-corpus" fuzz/corpus \
    -dict=fuzz/bridges.dict -max_total_time="$TIME" -max_len=65536 -timeout=30 \
    -rss_limit_mb=8192 -artifact_prefix="$BUILD_DIR/fuzz-findings/" -print_final_stats=1 "$@"
