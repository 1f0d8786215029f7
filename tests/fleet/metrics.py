#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""What zelctl metrics makes of statuses of all kinds, as Prometheus' own readers see it; both programs are in PATH."""
import atexit
import json
import os
import random
import resource
import shutil
import subprocess
import tempfile

from prometheus_client.parser import text_string_to_metric_families

folder = tempfile.mkdtemp()
atexit.register(shutil.rmtree, folder)
os.environ["ZelDir"] = folder
status_file = os.path.join(folder, "state", "status.json")
output = os.path.join(folder, "zelagent.prom")
LEVELS = {"ok": 0, "warning": 1, "fatal": 2}
UNITS = ["degrees", "millivolts", "percent", "MiB", "errors", ""]
NAMES = ["CPU1 Temp", 'quoted "name"', "back\\slash", "line\nfeed", "C:\\new", "/srv/ä €", "a,b={}", "", "'", "%0A"]


def run(*command, fed=None):
    return subprocess.run(command, input=fed, capture_output=True, text=True, check=False)


def made_up(chance):
    """A status: every level and unit, hostile names, numbers at the ends of their ranges, what is missing missing."""
    objects, seen = [], set()
    for _ in range(chance.randrange(80)):
        one = {"resource": chance.choice(["temperature", "voltage", "lan"]), "level": chance.choice([*LEVELS, "unknown"]),
               "object": chance.choice(NAMES) + str(chance.randrange(3)), "stale": chance.random() < 0.3,
               "unit": chance.choice(UNITS)}
        if chance.random() < 0.3:
            one["kind"] = chance.choice(NAMES)
        for name in ("value", "limit"):
            one[name] = chance.choice([None, 0, -1, 999, -1000, 12060, 2**63 - 1, -2**63, chance.randrange(-5000, 5000)])
        one["sampled"] = chance.choice([None, "1970-01-12T13:46:40.045Z"])
        if labels_of(one) not in seen:
            seen.add(labels_of(one))
            objects.append(one)
    controller = chance.choice(["answering", "silent", "none"])
    return {"schema": 1, "time": "1970-01-01T00:00:01.500Z", "version": chance.choice(NAMES), "objects": objects,
            "controller": {"state": controller, "requests": chance.randrange(10**12)}}


def labels_of(one):
    labels = {"resource": one["resource"], "object": one["object"], "kind": one.get("kind", "")}
    return tuple(sorted((name, text) for name, text in labels.items() if text or name != "kind"))


def expected(status):
    """Every sample that there should be."""
    samples = {("zelagent_up", ()): 1, ("zelagent_build_info", (("version", status["version"]),)): 1,
               ("zelagent_status_timestamp_seconds", ()): 1.5,
               ("zelagent_controller_requests_total", ()): status["controller"]["requests"]}
    if status["controller"]["state"] != "none":
        samples["zelagent_controller_up", ()] = int(status["controller"]["state"] == "answering")
    for one in status["objects"]:
        scale = 1000 if one["unit"] == "millivolts" else 1
        value, limit = ((None if one[name] is None else one[name] / scale) for name in ("value", "limit"))
        fresh = None if one["stale"] else value
        found = {"level": LEVELS.get(one["level"], -1), "stale": int(one["stale"]), "value": value, "threshold": limit,
                 "last_sample_timestamp_seconds": one["sampled"] and 1000000.045,
                 "sensor_celsius": fresh if one["unit"] == "degrees" else None,
                 "sensor_volts": fresh if one["unit"] == "millivolts" else None}
        samples |= {("zelagent_" + name, labels_of(one)): sample for name, sample in found.items() if sample is not None}
    return samples


def parsed(text):
    samples = {}
    for family in text_string_to_metric_families(text):
        assert family.documentation and family.type in ("gauge", "counter"), family
        for sample in family.samples:
            key = sample.name, tuple(sorted(sample.labels.items()))
            assert key not in samples, f"{key} stands twice"
            samples[key] = sample.value
    return samples


def write(to=output):
    return run("zelctl", "metrics", "--output=" + to)


os.makedirs(os.path.dirname(status_file))
text = ""
for seed in range(25):
    status = made_up(random.Random(seed))
    with open(status_file, "w", encoding="utf-8") as file:
        json.dump(status, file)
    answer = run("zelctl", "metrics")
    assert answer.returncode == 0, answer
    assert parsed(answer.stdout) == expected(status), f"seed {seed}:\n{answer.stdout}"
    text = max(text, answer.stdout, key=len)
linted = run("promtool", "check", "metrics", fed=text)
assert linted.returncode == 0, linted.stdout + linted.stderr

# Replaced at once: who holds the former file open still reads all of it.
assert write().returncode == 0
before = open(output, encoding="utf-8")
assert write().returncode == 0 and parsed(before.read()) == expected(status)
assert os.stat(output).st_ino != os.fstat(before.fileno()).st_ino and os.stat(output).st_mode & 0o777 == 0o644

# A disk that fills up on the way: the former file stays, nothing else does, and it is said.
whole = open(output, encoding="utf-8").read()
for room in (0, 1, len(whole.encode()) - 1):
    full = subprocess.run(["zelctl", "metrics", "--output=" + output], capture_output=True, text=True, check=False,
                          restore_signals=False,  # a limit that is reached is an error then, and no signal
                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (room, room)))
    assert full.returncode == 10 and output in full.stderr, full
    assert open(output, encoding="utf-8").read() == whole
    assert sorted(os.listdir(folder)) == ["state", "zelagent.prom"], os.listdir(folder)

# What is no file is not replaced, and what is nowhere is told.
os.symlink("/dev/null", os.path.join(folder, "null"))
for place in (os.path.join(folder, "null"), folder, os.path.join(folder, "nowhere", "x.prom")):
    refused = write(place)
    assert refused.returncode == 10 and place in refused.stderr, refused
assert os.path.islink(os.path.join(folder, "null"))

# No status, or none that can be read: the file says so, and so does the status of the program.
for damage in (lambda: open(status_file, "w", encoding="utf-8").write('{"objects": ['), lambda: os.remove(status_file)):
    damage()
    gone = write()
    assert gone.returncode == 10 and status_file in gone.stderr, gone
    assert parsed(open(output, encoding="utf-8").read()) == {("zelagent_up", ()): 0}
    assert run("zelctl", "metrics").stdout == ""
