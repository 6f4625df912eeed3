#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The messages of the code are those of the catalogue, and the build refuses a translation with other conversions.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }
build() { cmake --build "$work/build" >"$work/log" 2>&1; }

"$root/scripts/pot" --check

# The rules of the build on a copy.
cp -r "$root/po" "$work"
printf 'cmake_minimum_required(VERSION 3.25)\nproject(po NONE)\nset(CMAKE_INSTALL_LOCALEDIR locale)\nadd_subdirectory(po)\n' >"$work/CMakeLists.txt"
cmake -S "$work" -B "$work/build" >"$work/log"
build || fail "the translations do not build: $(<"$work/log")"
for broken in "%s/%d" "%s/" "%s/%s %s"; do
    sed "/^msgstr .*%s/s/$broken/" "$root/po/de.po" >"$work/po/de.po"
    ! build || fail "a translation with ${broken#*/} in the place of %s was built"
    grep -q 'de.po.*format specifications' "$work/log" || fail "the build did not tell what is wrong: $(<"$work/log")"
done
