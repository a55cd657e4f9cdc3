#!/bin/bash
# Runs a command with a display and a persistent wineserver for the given prefix:
#   tools/with-wine.sh PREFIX command args...
# Without DISPLAY an Xvfb server is started on a free display and stopped afterwards by its own
# PID. A persistent wineserver plus one warm-up process keeps each Windows test at ~0.1 s
# instead of waiting for the server to linger out after every process.
set -uo pipefail
prefix=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
"$here/wine-prefix.sh" "$prefix" || exit 1
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
server=/usr/lib/wine/wineserver64

xvfb_pid=
cleanup() {
    "$server" -k >/dev/null 2>&1
    if [ -n "$xvfb_pid" ]; then
        kill "$xvfb_pid" 2>/dev/null
        wait "$xvfb_pid" 2>/dev/null
    fi
}
trap cleanup EXIT

if [ -z "${DISPLAY:-}" ]; then
    for n in $(seq 90 140); do
        [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ] && continue
        Xvfb ":$n" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
        xvfb_pid=$!
        for _ in $(seq 50); do
            [ -e "/tmp/.X11-unix/X$n" ] && break
            sleep 0.1
        done
        if kill -0 "$xvfb_pid" 2>/dev/null; then
            export DISPLAY=":$n"
            break
        fi
        xvfb_pid=
    done
    [ -n "${DISPLAY:-}" ] || { echo "could not start Xvfb" >&2; exit 1; }
fi

"$server" -p
/usr/lib/wine/wine64 cmd /c exit </dev/null >/dev/null 2>&1
"$@"
