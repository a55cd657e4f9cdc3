#!/bin/bash
# Fails when a C++ file of the repository differs from what clang-format makes of it.
set -euo pipefail
cd "$(dirname "$0")/.."
files=$(git ls-files '*.cpp' '*.h' 2>/dev/null || find src tests bench engine demo -name '*.cpp' -o -name '*.h')
[ -n "$files" ] || exit 0
clang-format --dry-run -Werror $files
