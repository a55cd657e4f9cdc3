#!/bin/bash
# Runs the native suite and the Windows suite (under Wine) and closes with one line
#   N passed, M failed
# Usage: tools/run-tests.sh NATIVE_BUILD_DIR [X64_BUILD_DIR]   (an empty first argument skips native)
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
native=${1:-}
x64=${2:-}
passed=0
failed=0
status=0

count() { # log file -> adds to passed/failed
    local line total bad
    line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$1" | tail -n 1)
    if [ -z "$line" ]; then
        failed=$((failed + 1))
        status=1
        return
    fi
    total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
    bad=$(sed -E 's/.*tests passed, ([0-9]+) tests? failed.*/\1/' <<<"$line")
    passed=$((passed + total - bad))
    failed=$((failed + bad))
    [ "$bad" -eq 0 ] || status=1
}

log_dir=$(mktemp -d)
trap 'rm -rf "$log_dir"' EXIT

if [ -n "$native" ]; then
    echo "== native tests ($native)"
    (cd "$native" && ctest --output-on-failure -j "$(nproc)") 2>&1 | tee "$log_dir/native.log" | grep -vE '^ +[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed'
    count "$log_dir/native.log"
fi

if [ -n "$x64" ]; then
    echo "== Windows tests under Wine ($x64)"
    "$here/with-wine.sh" "$(cd "$x64" && pwd)/wineprefix" \
        bash -c "cd '$x64' && ctest --output-on-failure --timeout 120" 2>&1 |
        tee "$log_dir/windows.log" | grep -vE '^ +[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed'
    count "$log_dir/windows.log"
fi

echo "$passed passed, $failed failed"
exit $status
