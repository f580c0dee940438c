#!/usr/bin/env bash
# Builds and runs the benchmarks; each prints a table and writes bench-results/<name>.json.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
BUILD_DIR=${BUILD_DIR:-build-bench}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Release -DORV_BUILD_TESTS=OFF >/dev/null
cmake --build "$BUILD_DIR" -j "$(nproc)"
mkdir -p bench-results
export QTWEBENGINE_DISABLE_SANDBOX=1
export QTWEBENGINE_CHROMIUM_FLAGS="--disable-gpu --no-sandbox"
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
for exe in "$BUILD_DIR"/bench/*/bench_*; do
    [ -x "$exe" ] || continue
    name=$(basename "$exe")
    echo "== $name"
    xvfb-run -a -s "-screen 0 1600x1000x24" "$exe" --json "bench-results/$name.json"
done
