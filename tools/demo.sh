#!/bin/bash
# The main job: shows the dialogs from a small demo client.
#   tools/demo.sh X64_BUILD_DIR OUT_DIR
# With a display (DISPLAY set) the dialog is interactive. Without one it runs under Xvfb: the
# client visits every page with a colour of its own and the pictures land in OUT_DIR as PNG.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
mkdir -p "$2"
out=$(cd "$2" && pwd)
prefix=$build/wineprefix
run="$build/wine-run.sh"
bin="Z:$build/bin"

register() {
    "$run" regsvr32 /s "$bin/ImagingEngine.dll"
    "$run" regsvr32 /s "$bin/Orrelux20Dialogs.dll"
}

if [ -n "${DISPLAY:-}" ] && [ -z "${CI:-}" ]; then
    "$here/with-wine.sh" "$prefix" bash -c "$(declare -f register); run='$run' bin='$bin' register &&
        '$run' '$build/bin/color_demo.exe'"
    exit $?
fi

unset DISPLAY
rm -f "$out"/colour-page-*.bmp "$out"/colour-page-*.png
"$here/with-wine.sh" "$prefix" bash -c "$(declare -f register); run='$run' bin='$bin' register &&
    '$run' '$build/bin/color_demo.exe' --tour 'Z:$out'"
for picture in "$out"/colour-page-*.bmp; do
    convert "$picture" "${picture%.bmp}.png"
    rm -f "$picture"
done
echo "screenshots:"
ls -1 "$out"/*.png
