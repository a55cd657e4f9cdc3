#!/bin/bash
# Creates (once) and prepares the Wine prefix of a build tree.
#   tools/wine-prefix.sh PREFIX
# A fresh prefix takes 10-15 s; later calls return at once. Windows run unmanaged and
# undecorated, which is what a display without a window manager (Xvfb) wants.
set -euo pipefail
prefix=$1
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
wine=/usr/lib/wine/wine64
server=/usr/lib/wine/wineserver64
if [ -f "$prefix/.orrelux-ready" ]; then
    exit 0
fi
mkdir -p "$prefix"
"$wine" wineboot -i </dev/null >/dev/null 2>&1
"$server" -w
"$wine" reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f </dev/null >/dev/null 2>&1
"$wine" reg add 'HKCU\Software\Wine\X11 Driver' /v Decorated /d N /f </dev/null >/dev/null 2>&1
"$server" -w
touch "$prefix/.orrelux-ready"
