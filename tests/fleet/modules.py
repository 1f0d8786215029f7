#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""The modules themselves, run as Ansible runs them on a server; below "scripts/fleet 5"."""
import functools
import glob
import json
import os
import select
import signal
import subprocess
from concurrent.futures import ThreadPoolExecutor

FLEET = os.environ["ZEL_FLEET"]
MODULES = os.path.join(FLEET, "collections/ansible_collections/zel/agent/plugins/modules/")
for package in ("ansible_collections", "ansible_collections/zel"):  # before one that the system may have
    open(os.path.join(FLEET, "collections", package, "__init__.py"), "w", encoding="ascii").close()
SECRET = "geheim77"


def run(host, module="zel_settings", path="", mode=None, **arguments):
    """What a module says, and whether that is nothing of the secret."""
    fed = {"ANSIBLE_MODULE_ARGS": dict(arguments, **(mode or {}))}
    environment = dict(os.environ, ZelDir=os.path.join(FLEET, host), PYTHONPATH=os.path.join(FLEET, "collections"),
                       PATH=path + os.environ["PATH"])
    done = subprocess.run(["/usr/bin/python3", MODULES + module + ".py"], input=json.dumps(fed), env=environment,
                          capture_output=True, text=True, check=False)
    assert SECRET not in done.stdout + done.stderr, done
    return json.loads(done.stdout)


def zelctl(host, *arguments):
    return subprocess.run(["zelctl", *arguments], env=dict(os.environ, ZelDir=os.path.join(FLEET, host)),
                          capture_output=True, text=True, check=False)


def files(host):
    """All that is set, by inode, time and content."""
    found = {}
    for path in glob.glob(os.path.join(FLEET, host, "state/*.conf")):
        info = os.stat(path)
        found[path] = (info.st_ino, info.st_mtime_ns, open(path, "rb").read())
    return found


def lines(found):
    return [line for _, _, text in found.values() for line in text.splitlines()]


def changes(answer):
    return {one["path"]: (one["from"], one["to"]) for one in answer["changes"]}


def stop(host, what):
    with open(os.path.join(FLEET, host, what + ".pid"), encoding="ascii") as file:
        process = os.pidfd_open(int(file.read()))
    signal.pidfd_send_signal(process, signal.SIGTERM)
    assert select.select([process], [], [], 5)[0], f"{host}'s {what} does not end"


def check_one_host():
    """Check mode against what then happens; all that is not named stays; what YAML and templates make of values."""
    host = "host5"
    assert run(host, settings={"filesystem": {"/": {"mode": False, "warning": {"report": {"percent": 70}, "reset": {
        "percent": "60"}}}}, "lan": {"retry": 33}, "snmp": {"community": SECRET}})["changed"]
    before = files(host)
    export = json.loads(zelctl(host, "export").stdout)
    wish = {"cpu": {"TOTAL": {"fatal": {"report": "97"}}}, "filesystem": {"/": {"mode": "percent"}}, "rack": {"name": 42},
            "snmp": {"community": SECRET + "b"}, "agent": {"version": 4.0}}
    expected = {"agent.version": ("4.1", "4.0"), "cpu.TOTAL.fatal.report": (95, 97), "rack.name": ("", "42"),
                "filesystem[/].mode": ("off", "percent"), "snmp.community": ("(hidden)", "(hidden)")}
    seen = run(host, settings=wish, mode={"_ansible_check_mode": True, "_ansible_diff": True})
    assert seen["changed"] and changes(seen) == expected, seen
    assert files(host) == before, "check mode wrote"
    assert "cpu.TOTAL.fatal.report: 95\n" in seen["diff"]["before"] and "rack.name: 42\n" in seen["diff"]["after"], seen
    assert seen["diff"]["before"].count("hidden") == 1 and "(hidden, another)" in seen["diff"]["after"], seen
    done = run(host, settings=wish)
    assert done["diff"] == seen["diff"] and changes(done) == expected, done
    after = files(host)
    again = run(host, document={"schema": 1, "settings": wish}, if_tag=done["tag"])
    assert not again["changed"] and again["diff"]["before"] == again["diff"]["after"] == "" and files(host) == after, again
    now = json.loads(zelctl(host, "export").stdout)["settings"]
    for path in expected:
        for settings in (now, export["settings"]):
            *way, last = path.replace("[/]", "./").split(".")
            functools.reduce(dict.get, way, settings).pop(last, None)
    assert now == export["settings"], "something else was changed"
    gone = set(lines(before)) - set(lines(after))
    assert gone == {b"CurrentVersion=sz:4.1", b"Community=sz:" + SECRET.encode()}, gone

    refused = run(host, settings={"cpu": {"interval": 0}, "lan": {"retries": 1}, "snmp": {"community": SECRET * 20}})
    assert refused["failed"] and refused["rc"] == 3 and not refused["changed"] and files(host) == after, refused
    assert {one["path"] for one in refused["errors"]} == {"cpu.interval", "lan.retries", "snmp.community"}, refused
    assert "cpu.interval: 0 is not a whole number from 1 to 3600" in refused["msg"], refused
    late = run(host, settings={"cpu": {"interval": 9}}, if_tag="0123456789abcdef")
    assert late["rc"] == 4 and "nothing was written" in late["msg"] and files(host) == after, late
    # Arguments that are wrong are told before anything is looked at, and may hold the secret as well.
    for arguments in ({"settings": {"snmp": {"community": SECRET}}, "setings": {}}, {"settings": '{"snmp": {"comm": "' + SECRET},
                      {"document": json.dumps({"settings": {"snmp": {"community": SECRET}}}), "settings": {}}):
        assert run(host, **arguments)["failed"]
    status = run(host, module="zel_status")["ansible_facts"]["zel_agent"]
    assert status["level"] == "ok" and status["version"] == status["installed_version"], status
    assert {one["object"]: one["value"] for one in status["objects"]}["+12V"] == 12060, status
    assert sum(status["levels"].values()) == len(status["objects"]) > 15 and status["alarms"] == [], status


def nested(path, value):
    for name in reversed(path.split(".")):
        value = {name: value}
    return value


def check_parallel():
    """Twenty at once on one host lose nothing."""
    values = dict(zip("""lan.interval lan.retry lan.hardware lan.abort raid.interval eventlog.interval storage.interval
        filesystem.interval cpu.interval cpu.cycle shutdown.timeout watchdog.timeout watchdog.interval rack.name
        storage.sda.media.fatal storage.sda.media.warning storage.sda.hardware.fatal storage.sda.recoverable.fatal
        storage.sda.nonrecoverable.fatal storage.sda.recoverable.warning""".split(),
                      [61, 31, 11, 21, 62, 63, 64, 65, 12, 120, 400, 200, 40, "r20", 1010, 7, 808, 707, 606, 60]))
    with ThreadPoolExecutor(20) as pool:
        for answer in pool.map(lambda path: run("host4", settings=nested(path, values[path])), values):
            assert answer["changed"], answer
    stands = json.loads(zelctl("host4", "get", "--json").stdout)["settings"]
    for path, value in values.items():
        assert functools.reduce(dict.get, path.split("."), stands) == value, path


def check_faults():
    """Each fails in its own way and says why, and what stands."""
    full = os.path.join(FLEET, "full")
    os.mkdir(full)
    with open(full + "/zelctl", "w", encoding="ascii") as file:  # a disk that takes nothing, as a limit has it
        file.write(f"#!/bin/sh\ntrap '' XFSZ\nulimit -f 0\nexec env PATH=\"$(echo \"$PATH\" | sed 's|^{full}:||')\" zelctl \"$@\"\n")
    os.chmod(full + "/zelctl", 0o755)
    stop("host1", "service")
    stop("host2", "simulator")
    config = os.path.join(FLEET, "host2/agent.conf")
    text = open(config, encoding="ascii").read()
    with open(config, "w", encoding="ascii") as file:
        file.write(text.replace("[controller]", "[controller]\ntimeout=1"))
    with open(os.path.join(FLEET, "host4/simulator/rules"), "w", encoding="ascii") as file:
        file.write("answer 04 26 * d5\n")
    before = files("host3"), files("host2")
    sensor = {"CPU1 Temp": {"high": {"fatal": 96}}}
    wish = {"storage": {"interval": 77}, "temperature": sensor}
    with ThreadPoolExecutor(8) as pool:
        stopped, away, filled, refused, asked, done = [one.result() for one in (
            pool.submit(run, "host1", settings=wish), pool.submit(run, "host2", settings=wish),
            pool.submit(run, "host3", settings={"storage": {"interval": 77}}, path=full + ":"),
            pool.submit(run, "host4", settings=wish), pool.submit(run, "host1", module="zel_status"),
            pool.submit(run, "host5", settings=wish))]
    assert done["changed"] and done["rc"] == 0, done
    assert stopped["rc"] == 6 and stopped["changed"] and changes(stopped)["storage.interval"][1] == 77, stopped
    assert "service" in stopped["msg"] and "written: temperature[0.1].high.fatal, storage.interval" in stopped["msg"], stopped
    assert asked["failed"] and asked["rc"] == 10 and asked["zel_agent"]["objects"], asked
    assert away["rc"] == 7 and not away["changed"] and "nothing was written" in away["msg"], away
    assert "temperature: the management controller does not answer" in away["msg"], away
    assert filled["rc"] == 10 and not filled["changed"] and filled["changes"] == [], filled
    assert "File too large" in filled["msg"] and "not written: storage.interval" in filled["msg"], filled
    assert (files("host3"), files("host2")) == before, "something was written"
    assert refused["rc"] == 5 and refused["changed"] and list(changes(refused)) == ["storage.interval"], refused
    assert "temperature[0.1]" in refused["msg"] and "not written: temperature[0.1].high.fatal" in refused["msg"], refused
    assert "high.fatal" not in refused["diff"]["after"], refused


check_one_host()
check_parallel()
check_faults()
