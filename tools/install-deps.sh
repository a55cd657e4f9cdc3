#!/bin/bash
# Installs what building and testing need, on Debian. Idempotent and quiet when all is there.
set -euo pipefail
packages=(
    cmake make g++ clang
    g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-tools
    wine64 libwine-dev xvfb imagemagick googletest
    nasm libjpeg-turbo-progs libjpeg62-turbo-dev dpkg-dev
)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
# The Windows builds compile Debian's own libjpeg-turbo source (apt-get source), which needs a
# deb-src entry beside the binary one.
src_list=/etc/apt/sources.list.d/debian-src.sources
need_src=0
apt-cache showsrc libjpeg-turbo 2>/dev/null | grep '^Package:' >/dev/null || need_src=1
[ ${#missing[@]} -eq 0 ] && [ $need_src -eq 0 ] && exit 0
sudo=
[ "$(id -u)" -eq 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive
if [ $need_src -eq 1 ] && ! grep -qsE '^(Types:.*deb-src|deb-src )' /etc/apt/sources.list \
    /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; then
    echo "adding $src_list"
    uri=$(awk '/^URIs:/ { print $2; exit }' /etc/apt/sources.list.d/debian.sources 2>/dev/null || true)
    suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
    printf 'Types: deb-src\nURIs: %s\nSuites: %s\nComponents: main\nSigned-By: %s\n' \
        "${uri:-http://deb.debian.org/debian}" "$suite" \
        /usr/share/keyrings/debian-archive-keyring.gpg | $sudo tee "$src_list" >/dev/null
fi
[ ${#missing[@]} -eq 0 ] || echo "installing: ${missing[*]}"
$sudo apt-get update -qq
[ ${#missing[@]} -eq 0 ] ||
    $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
