#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# What a compiler does not see: src/ and agent/ never include each other, the contract and chars/ include neither,
# the tool's shared declarations are the tool's alone, no panel includes another folder's, and none calls newt by
# itself.
set -u
cd "$(dirname "${BASH_SOURCE[0]}")/../.." || exit 2
status=0
forbid() { # folder pattern [pattern of what is allowed all the same]
    if grep -rnE "^ *# *include *[<\"]$2" "$1" | grep -vE "include *[<\"]${3:-^}"; then
        echo "forbidden include in $1" >&2
        status=1
    fi
}
forbid src '.*(agent|store|compat|access|trace|bmc|service)/'
forbid agent '.*(src|agntconf)/'
forbid include/zel '.*(\.\.|agntconf)/'
forbid include/agntconf '.*/' '(zel|agntconf)/'
forbid chars '.*/.*'
for folder in common monitor ipmi control; do
    forbid src/$folder '\.\./'
done
for folder in src agent tests bench tools; do
    forbid $folder '.*\.\./include/'
done
# The agent's rooms, each with those that it may include: arrows run downwards only (docs/ARCHITECTURE.md).
while read -r room allowed; do
    forbid "agent/$room" "(base|trace|store|client|system|settings|watchdog|watch|tell|bmc|compat|smbios|sensorshare|access|service|hooks|ctl)/" \
        "(${allowed:-none})/"
done <<'EOT'
base
trace base
store base
client base
system base|store
settings base|store|system
bmc base|store|settings
watchdog base|store|settings|bmc
watch base|store|system|settings|bmc|watchdog
tell base|store|system|settings|watch
compat base|store|settings
smbios system
sensorshare store|system
access base|store|client|system|settings|bmc
service base|store|client|system|settings|watch|watchdog|tell|bmc
hooks base|store
ctl base|store|client|system|settings|watch|watchdog|tell|bmc|hooks
EOT
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
