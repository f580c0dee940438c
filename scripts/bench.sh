#!/usr/bin/env bash
# Builds and runs the benchmarks; each prints a table and writes bench-results/<name>.json.
#   scripts/bench.sh            every benchmark
#   scripts/bench.sh bridge     only those whose name contains "bridge"
# Web engine benchmarks need a display: without DISPLAY they run under xvfb-run.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
BUILD_DIR=${BUILD_DIR:-build-bench}
FILTER=${1:-}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Release -DORV_BUILD_TESTS=OFF >/dev/null
cmake --build "$BUILD_DIR" -j "${JOBS:-$(nproc)}"
mkdir -p bench-results
export QTWEBENGINE_DISABLE_SANDBOX=1
export QTWEBENGINE_CHROMIUM_FLAGS=${QTWEBENGINE_CHROMIUM_FLAGS:-"--disable-gpu --no-sandbox"}
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}

run() {
    if [ -n "${DISPLAY:-}" ]; then
        "$@"
    else
        xvfb-run -a -s "-screen 0 1600x1000x24" "$@"
    fi
}

for exe in "$BUILD_DIR"/bench/*/bench_*; do
    [ -f "$exe" ] && [ -x "$exe" ] || continue
    name=$(basename "$exe")
    case "$name" in *"$FILTER"*) ;; *) continue ;; esac
    echo "== $name"
    run "$exe" --json "bench-results/$name.json"
done
