#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The documents lead nowhere that is not there, the figures are those of their sources, the headers are sound to Doxygen.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
failed=0
complain() { echo "$*" >&2; failed=1; }

for page in ./*.md doc/*.md; do
    # Links to files, and commands of the project.
    while read -r target; do
        [[ -e $target ]] || complain "$page: there is no $target"
    done < <(grep -oP '\]\(\K[^):#]+(?=[)#])' "$page" | sed "s|^|$(dirname "$page")/|"
        grep -oE '\bscripts/[a-z]+' "$page" | sort -u)
done
doc/figures/draw --check >&2 || failed=1
reference=$(mktemp -d)
trap 'rm -rf "$reference"' EXIT
GREX_VERSION=test GREX_REFERENCE_DIR=$reference doxygen doc/Doxyfile >&2 || complain "Doxygen warns of the public headers"
exit "$failed"
