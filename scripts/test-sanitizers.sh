#!/usr/bin/env bash
# Builds everything with AddressSanitizer and UndefinedBehaviorSanitizer in build-asan and runs
# the whole test suite there (headless). A sanitizer report fails the test that caused it.
#   scripts/test-sanitizers.sh [ctest options...]      e.g. -R tst_transferqueue
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

BUILD_DIR=${BUILD_DIR:-build-asan}
JOBS=${JOBS:-$(nproc)}
LAUNCHER=()
if command -v ccache >/dev/null; then LAUNCHER=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORV_SANITIZE=ON \
    -DORV_BUILD_BENCH=OFF "${LAUNCHER[@]}" >/dev/null
cmake --build "$BUILD_DIR" -j "$JOBS"

export QTWEBENGINE_DISABLE_SANDBOX=1
export QTWEBENGINE_CHROMIUM_FLAGS="--disable-gpu --no-sandbox"
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
# Leaks count too, except what the web engine, the desktop libraries and Qt's platform plug-ins
# keep for the life of the process; a failed allocation is an error, not a crash of the whole run.
export ASAN_OPTIONS=${ASAN_OPTIONS:-"detect_leaks=1:allocator_may_return_null=1:abort_on_error=1:detect_stack_use_after_return=1"}
export LSAN_OPTIONS=${LSAN_OPTIONS:-"suppressions=$PWD/tests/sanitizers/lsan.supp:print_suppressions=0"}
# The web engine draws without the GPU here; without this, Qt would load Mesa's driver into the
# test process only to probe OpenGL, and that driver leaks what it allocates before it is unloaded.
export QT_XCB_GL_INTEGRATION=${QT_XCB_GL_INTEGRATION:-none}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-"print_stacktrace=1:halt_on_error=1"}
ctest --test-dir "$BUILD_DIR" --output-on-failure -j "$JOBS" "$@"
