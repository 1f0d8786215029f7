#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# What an administrator does with the collection, in two runs, for Ansible takes a second to start; below
# "scripts/fleet 2".
set -Eeuo pipefail
trap 'echo "plays.sh: line $LINENO failed"; tail -n 30 "$said"' ERR

said=$ZEL_FLEET/said
policy=$ZEL_FLEET/policy.json
cat >"$policy" <<'EOT'
{"schema":1,"settings":{"cpu":{"TOTAL":{"fatal":{"report":97}}},"temperature":{"CPU1 Temp":{"high":{"fatal":96}}},
 "snmp":{"community":"geheim77"}}}
EOT

# play STATUS ARGUMENT ...: as Ansible tells it most loudly, which is no secret.
play() {
    local status=0
    ansible-playbook -e zel_become=false -vvv --diff "${@:2}" >"$said" 2>&1 || status=$?
    [ "$status" -eq "$1" ]
    if grep -n geheim77 "$said"; then false; fi
}

# A host ended so.
recap() {
    grep -q "^$1 .* $2 .*unreachable=0 .*failed=$3 " "$said"
}

settings() {
    ls -i --full-time "$ZEL_FLEET"/host*/state/*.conf
}

# Who differs, and what would be done: nothing is. A host without its controller is told of, and holds nobody up.
mv "$ZEL_FLEET/host2/agent.conf" "$ZEL_FLEET/host2/agent.conf.whole"
echo 'interface=lan' >"$ZEL_FLEET/host2/agent.conf"
settings >"$ZEL_FLEET/before"
play 2 --check -e policy="$policy" -e report="$ZEL_FLEET/report.json" zel.agent.report zel.agent.policy
recap host1 changed=2 0
recap host2 changed=0 1
for line in '-cpu.TOTAL.fatal.report: 95' '+cpu.TOTAL.fatal.report: 97' '+temperature\[0.1\].high.fatal: 96'; do
    grep -q -- "^$line$" "$said"
done
/usr/bin/python3 - "$ZEL_FLEET/report.json" <<'EOT'
import json
import sys
report = json.load(open(sys.argv[1], encoding="utf-8"))
expected = {"temperature[0.1].high.fatal": 96, "cpu.TOTAL.fatal.report": 97, "snmp.community": "(hidden)"}
assert {one["path"]: one["to"] for one in report["host1"]} == expected, report
assert "status 7" in report["host2"] and "no management controller is configured" in report["host2"], report
EOT
settings | cmp - "$ZEL_FLEET/before"
mv "$ZEL_FLEET/host2/agent.conf.whole" "$ZEL_FLEET/host2/agent.conf"

# The role does all of it, and nothing the second time.
play 0 "$(dirname "$0")/role.yml" "$(dirname "$0")/role.yml"
recap host1 changed=5 0
[ "$(grep -c '^PLAYBOOK: ' "$said")" -eq 2 ]
if sed '1,/^PLAYBOOK: /d; 1,/^PLAYBOOK: /d' "$said" | grep '^changed: '; then false; fi
folder=$ZEL_FLEET/host1
[ "$(ZelDir=$folder zelctl get cpu.TOTAL.fatal.report | awk '{ print $2 }')" -eq 91 ]
[ "$(grep -v '^\(#.*\)\?$' "$folder/machine/agent.conf" | xargs -d '\n')" = \
    '[hardware] fault_tolerant=false [hooks] timeout=20 [snmp] conf=a b\\c' ]
[ "$(stat -c '%a' "$folder/machine/password" "$folder/machine/alert.d/say" | xargs)" = '600 755' ]
