#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# abi_test.sh LIB SYMBOLS: what the library exports is what the list has, no symbol more and none less.
# abi_test.sh --list LIB: makes such a list, "VERSION mangled-name" a line.
set -euo pipefail
export LC_ALL=C

# Without the symbols that stand for the versions themselves.
exported() {
    nm -D --defined-only --with-symbol-versions "$1" | sed -nE 's/.* (\S+)@@(\S+)$/\2 \1/p' | sort
}

(($# == 2)) || { echo "usage: abi_test.sh LIB SYMBOLS | --list LIB" >&2; exit 2; }
if [[ $1 == --list ]]; then
    exported "$2"
    exit
fi
[[ -s $2 ]] || { echo "$2 lists nothing" >&2; exit 1; }
difference=$(diff <(sort "$2") <(exported "$1")) && exit
echo "$1 does not export what $2 lists:"
sed -n 's/^< /  missing:  /p; s/^> /  unlisted: /p' <<<"$difference" | c++filt
echo "Programs that use a missing symbol no longer start; doc/abi.md says what may change when."
echo "The list is renewed with: scripts/abi symbols"
exit 1
