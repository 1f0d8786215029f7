#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# hardening.sh FILE ...: every program and library is position independent, has its relocations read-only from
# the start, no executable stack, no code that must be written to, no RPATH, and was compiled with stack
# protector; the programs also call checked forms of the string functions. A library that takes nothing but tables of
# calls from another one only jumps through them.
set -euo pipefail

failed=0
complain() { echo "$1: $2" && failed=1; }

for file in "$@"; do
    headers=$(readelf -Wlhd "$file")
    symbols=$(nm -D --undefined-only "$file")
    grep -q 'Type: *DYN' <<<"$headers" || complain "$file" "not position independent"
    grep -q 'GNU_RELRO' <<<"$headers" || complain "$file" "relocations stay writable"
    grep -qE '(BIND_NOW|FLAGS.*NOW)' <<<"$headers" || complain "$file" "binds late"
    grep -q 'GNU_STACK.* RW ' <<<"$headers" || complain "$file" "executable stack"
    grep -qE '\((TEXTREL|RPATH)\)' <<<"$headers" && complain "$file" "TEXTREL or RPATH"
    grep -qv ' zel_calls_' <<<"$symbols" || continue
    grep -q '__stack_chk_fail' <<<"$symbols" || complain "$file" "no stack protector"
    # A small library may have nothing to check.
    grep -q INTERP <<<"$headers" && ! grep -q '_[a-z]*_chk@' <<<"$symbols" && complain "$file" "no fortified functions"
done
exit $failed
