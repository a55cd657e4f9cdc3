#!/bin/bash
# The main job: shows the dialogs from a small demo client.
#   tools/demo.sh X64_BUILD_DIR OUT_DIR
# With a display (DISPLAY set) the dialogs are interactive. Without one they run under Xvfb:
# the colour client visits every page with a colour of its own, the file client selects sample
# pictures one after another in the open dialog, and the pictures land in OUT_DIR as PNG
# (colour-page-N.png, file-dialog-N.png). The file client writes its sample pictures (every
# format, one with transparency, a portrait JPEG with EXIF orientation 6, a damaged one) into
# OUT_DIR/file-samples.
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
        '$run' '$build/bin/color_demo.exe' &&
        '$run' '$build/bin/file_demo.exe' 'Z:$out/file-samples'"
    exit $?
fi

unset DISPLAY
rm -f "$out"/colour-page-*.bmp "$out"/colour-page-*.png "$out"/file-dialog-*.bmp \
    "$out"/file-dialog-*.png
"$here/with-wine.sh" "$prefix" bash -c "$(declare -f register); run='$run' bin='$bin' register &&
    '$run' '$build/bin/color_demo.exe' --tour 'Z:$out' &&
    '$run' '$build/bin/file_demo.exe' --tour 'Z:$out/file-samples' 'Z:$out'"
for picture in "$out"/colour-page-*.bmp "$out"/file-dialog-*.bmp; do
    convert "$picture" "${picture%.bmp}.png"
    rm -f "$picture"
done
echo "screenshots:"
ls -1 "$out"/*.png
