#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# What a compiler does not see: src/ and agent/ never include each other, the contract and chars/ include neither,
# no panel includes another folder's panel, and none calls newt by itself.
set -u
cd "$(dirname "${BASH_SOURCE[0]}")/../.." || exit 2
status=0
forbid() { # folder pattern
    if grep -rnE "^ *# *include *[<\"]$2" "$1"; then
        echo "forbidden include in $1" >&2
        status=1
    fi
}
forbid src '.*(agent|store|compat|access|trace|bmc|service)/'
forbid agent '.*src/'
forbid include/zel '\.\.'
forbid chars '.*/.*'
for panels in monitor ipmi control; do
    forbid src/$panels '\.\./(main|monitor|ipmi|control)/'
done
forbid src/common '\.\./'
forbid agent/store '.*(compat|access|smbios|sensorshare|service|bmc)/'
forbid agent/access '.*service/'
# Panels call newt through Dialog and the widgets' helpers only, where its traps are known.
if grep -rnE 'newt\.newt' src/monitor src/ipmi src/control src/main/menu.cpp src/main/panel_table.cpp; then
    echo "newt called past Dialog" >&2
    status=1
fi
# A megabyte in each library that is linked with the C++ library.
for folder in src agent chars; do
    forbid $folder '(iostream|fstream|sstream|iomanip|filesystem|regex|locale)>'
done
exit $status
