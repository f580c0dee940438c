#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test (headless).
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

BUILD_DIR=${BUILD_DIR:-build-tests}
JOBS=${JOBS:-$(nproc)}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORV_WARNINGS_AS_ERRORS=OFF
cmake --build "$BUILD_DIR" -j "$JOBS"

export QTWEBENGINE_DISABLE_SANDBOX=1
export QTWEBENGINE_CHROMIUM_FLAGS="--disable-gpu --no-sandbox"
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
ctest --test-dir "$BUILD_DIR" --output-on-failure -j "$JOBS" "$@"
