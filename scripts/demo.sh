#!/usr/bin/env bash
# Installs what is missing, builds the demo host and runs it. Arguments go to orv-demo, e.g.
#   scripts/demo.sh                                  a window on the current display
#   scripts/demo.sh --screenshot out.png             render to PNG and quit (no display needed)
#   scripts/demo.sh --page contacts --screenshot c.png
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

BUILD_DIR=${BUILD_DIR:-build-demo}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORV_BUILD_TESTS=OFF -DORV_BUILD_BENCH=OFF >/dev/null
cmake --build "$BUILD_DIR" --target orv-demo -j "$(nproc)"

export QTWEBENGINE_DISABLE_SANDBOX=1
export QTWEBENGINE_CHROMIUM_FLAGS="--disable-gpu --no-sandbox"
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
if [ -z "${DISPLAY:-}" ]; then
    # No display: a virtual one, so web pages render too.
    exec xvfb-run -a -s "-screen 0 1600x1000x24" "$BUILD_DIR/demo/orv-demo" "$@"
fi
exec "$BUILD_DIR/demo/orv-demo" "$@"
