#!/usr/bin/env bash
# Runs a command on X servers of its own, with a private session bus:
#   xsession.sh [--screens one|two|xinerama] [--wm] -- command [args...]
#   one       Xvfb, one screen of 1600x1000
#   two       Xvfb, two X screens (1280x800 and 1024x768), each its own desktop
#   xinerama  Xephyr on Xvfb: one X screen of two monitors (1280x800 and 1024x768 side by side);
#             Xephyr without RandR, so Qt reads the monitors through Xinerama
#   --wm      openbox manages the windows
# TMPDIR and the XDG folders point into a folder of its own, removed at the end.
set -euo pipefail
screens=one
wm=0
while [ $# -gt 0 ]; do
    case "$1" in
        --screens) screens=$2; shift 2 ;;
        --wm) wm=1; shift ;;
        --) shift; break ;;
        *) break ;;
    esac
done

work=$(mktemp -d)
pids=()
cleanup() {
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill "${pids[$i]}" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

# Starts an X server that picks a free display and says which; sets $display.
start_server() {
    local name=$1; shift
    local fd_file="$work/$name.display"
    : > "$fd_file"
    "$@" -displayfd 3 3>"$fd_file" >"$work/$name.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 400); do
        [ -s "$fd_file" ] && break
        sleep 0.025
    done
    if [ ! -s "$fd_file" ]; then
        echo "xsession: $name did not start" >&2
        cat "$work/$name.log" >&2
        exit 1
    fi
    display=":$(tr -d '\n' < "$fd_file")"
}

case "$screens" in
    one) start_server xvfb Xvfb -nolisten tcp -screen 0 1600x1000x24 ;;
    two) start_server xvfb Xvfb -nolisten tcp -screen 0 1280x800x24 -screen 1 1024x768x24 ;;
    xinerama)
        start_server host Xvfb -nolisten tcp -screen 0 2400x900x24
        host=$display
        DISPLAY=$host start_server xephyr Xephyr -nolisten tcp -no-host-grab -screen 1280x800 -screen 1024x768 \
            +xinerama -extension RANDR
        ;;
    *) echo "xsession: unknown screens '$screens'" >&2; exit 2 ;;
esac
export DISPLAY=$display

if [ "$wm" = 1 ]; then
    openbox --sm-disable --startup "touch $work/wm-ready" >"$work/openbox.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 400); do
        [ -e "$work/wm-ready" ] && break
        sleep 0.025
    done
    [ -e "$work/wm-ready" ] || { echo "xsession: openbox did not start" >&2; cat "$work/openbox.log" >&2; exit 1; }
fi

mkdir -p "$work/tmp" "$work/data" "$work/config" "$work/runtime"
chmod 700 "$work/runtime"
bus_file="$work/bus"
dbus-daemon --session --nofork --print-address=3 3>"$bus_file" >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 400); do
    [ -s "$bus_file" ] && break
    sleep 0.025
done
export DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$bus_file")
export TMPDIR="$work/tmp" XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config" XDG_RUNTIME_DIR="$work/runtime"
export QT_QPA_PLATFORM=xcb LC_ALL=C.UTF-8
unset XDG_SESSION_TYPE WAYLAND_DISPLAY

status=0
"$@" || status=$?
exit $status
