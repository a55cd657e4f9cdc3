#!/bin/bash
# Runs a Windows program that the build itself needs (the type library writer) under wine64:
#   tools/wine-build-tool.sh PREFIX LOG program.exe args...
# The prefix is created on first use. Wine's own chatter and the wineserver that lingers after
# the program go to LOG, not to the build's output; the log is shown when the program fails.
set -uo pipefail
prefix=$1
log=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
"$here/wine-prefix.sh" "$prefix" || exit 1
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
/usr/lib/wine/wine64 "$@" </dev/null >"$log" 2>&1
status=$?
if [ $status -ne 0 ]; then
    cat "$log" >&2
fi
exit $status
