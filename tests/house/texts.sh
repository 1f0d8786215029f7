#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Messages and trace texts are read by other programs and by people who know them by heart: each line of
# texts.txt stands in a string literal of the tool, literals that go over several lines joined.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cd "$here/../.."

literals=$(find src include -name '*.cpp' -o -name '*.h' | sort | xargs cat | sed -zE 's/"[[:space:]]*\n[[:space:]]*"//g' |
    grep -oE '"([^"\\]|\\.)*"' | sed 's/\\\\/\\/g' | sort -u)
missing=0
while IFS= read -r text; do
    grep -qF -- "$text" <<<"$literals" || { echo "no longer said: $text" && missing=1; }
done <"$here/texts.txt"
exit $missing
