#!/usr/bin/python
# SPDX-License-Identifier: GPL-3.0-or-later
"""Ansible module: the settings of the server-management agent."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: zel_settings
short_description: Settings of the server-management agent
version_added: 4.1.1
description:
  - Makes settings of the agent what a document says, by C(zelctl apply). What the document does not name stays as it is.
  - All settings are judged before the first one is written; when one is wrong, nothing is written.
  - In check mode nothing is written, and what would change is told.
options:
  settings:
    description:
      - The settings, as they stand below C(settings) of a document, by resource, object and name.
        C(zelctl describe) tells all of them.
      - Numbers may be given as text, as templates give them; where a word as C(off) is wanted, YAML's C(false) is taken for it.
      - The community name, if it is there, is neither logged nor shown.
    type: dict
  document:
    description: A whole document, as C(zelctl export) prints it.
    type: dict
  if_tag:
    description:
      - Change something only where the resources that the document names are just as they were when this tag was given out.
        Else the task fails with C(rc) 4.
    type: str
notes:
  - Needs the rights of the superuser on an installed agent.
  - A private agent is meant where the environment variable C(ZelDir) names its folder.
seealso:
  - module: zel.agent.zel_status
author: ZEL Agent maintainers
attributes:
  check_mode:
    support: full
    description: Tells what would change and changes nothing.
  diff_mode:
    support: full
    description: Tells old and new values; of the community name only that it changes.
"""

EXAMPLES = r"""
- name: Warn of the root file system from 85 percent on
  zel.agent.zel_settings:
    settings:
      filesystem:
        /:
          mode: percent
          warning:
            report: {percent: 85}

- name: One policy for all
  zel.agent.zel_settings:
    document: "{{ lookup('ansible.builtin.file', 'policy.json') | from_json }}"

- name: The community name, out of a vault
  zel.agent.zel_settings:
    settings:
      snmp:
        community: "{{ vault_community }}"
"""

RETURN = r"""
changes:
  description: What was changed, or would be, with old and new values. After a failure, what was changed before it.
  returned: always, unless that is not known
  type: list
  elements: dict
  sample: [{path: "cpu.interval", from: 10, to: 5}]
not_written:
  description: What was to be changed and is not.
  returned: after a failure on the way
  type: list
  elements: dict
errors:
  description: What is wrong, each with the path of the setting that it is about.
  returned: failure
  type: list
  elements: dict
  sample: [{path: "cpu.interval", message: "0 is not a whole number from 1 to 3600"}]
tag:
  description: Stands for all settings of the named resources; for I(if_tag) later on.
  returned: when it is known
  type: str
rc:
  description: The exit status of C(zelctl), as zelctl(8) has it.
  returned: always
  type: int
"""

import re

from ansible_collections.zel.agent.plugins.module_utils.zelctl import (
    DIFFERS, DONE, FAILED, IN_PART, NO_SERVICE, ZelModule)

# Words that YAML, or a template, takes for something else.
YAML_WORDS = {False: ("off", "no", "false"), True: ("on", "yes", "true")}


def kinds(module):
    """What zelctl says a setting may be, by resource and last name."""
    status, answer = module.zelctl("describe")
    if status != DONE:
        module.fail(status, answer)
    return dict(((re.split(r"[.\[]", one["path"])[0], one["path"].rsplit(".", 1)[-1]), one)
                for one in answer["settings"])


def fit(kind, value):
    """A value as zelctl wants it, where YAML or a template made another type of it."""
    if kind["type"] == "number" and isinstance(value, str) and re.match(r"-?[0-9]{1,18}\Z", value):
        return int(value)
    if kind["type"] == "word" and isinstance(value, bool):
        return next((word for word in YAML_WORDS[value] if word in kind["words"]), value)
    if kind["type"] in ("word", "text") and isinstance(value, (int, float)) and not isinstance(value, bool):
        return str(value)
    return value


def fitted(known, resource, name, value):
    if isinstance(value, dict):
        return dict((str(key), fitted(known, resource or str(key), str(key), below)) for key, below in value.items())
    kind = known.get((resource, name))
    return fit(kind, value) if kind else value


def side(changes, name):
    """One side of the differences. Of a hidden value only that it is another."""
    lines = []
    for change in changes:
        value = change[name]
        if change["from"] == change["to"]:
            value = "(hidden)" if name == "from" else "(hidden, another)"
        lines.append("%s: %s\n" % (change["path"], str(value).lower() if isinstance(value, bool) else value))
    return "".join(lines)


def differences(changes):
    return {"before_header": "zelctl", "after_header": "zelctl", "before": side(changes, "from"),
            "after": side(changes, "to")}


def what_stands(module, document, changes):
    """After a failure on the way: which changes were made, and which were not; nothing when that cannot be told."""
    status, answer = module.zelctl("diff", "-", document=document)
    if status not in (DONE, DIFFERS):
        return None
    left = set(one["path"] for one in answer["changes"])
    return [one for one in changes if one["path"] not in left], [one for one in changes if one["path"] in left]


def paths(changes):
    return ", ".join(one["path"] for one in changes) or "nothing"


def fail(module, status, answer, document):
    result = dict(tag=answer.get("tag"), changed=False, changes=[])
    changes = answer.get("changes", [])
    if status == NO_SERVICE:
        result.update(changed=bool(changes), changes=changes, stands="written: " + paths(changes))
    elif status == FAILED and not changes:
        result.update(stands="nothing was written")
    elif status in (IN_PART, FAILED) and not module.check_mode:
        stands = what_stands(module, document, changes)
        if stands is None:
            del result["changes"]
            result.update(changed=True, stands="which of these are written cannot be told: " + paths(changes))
        else:
            written, left = stands
            result.update(changed=bool(written), changes=written, not_written=left,
                          stands="written: %s; not written: %s" % (paths(written), paths(left)))
    result["diff"] = differences(result.get("changes", []))
    module.fail(status, answer, **result)


def main():
    module = ZelModule(argument_spec=dict(settings=dict(type="dict"), document=dict(type="dict"),
                                          if_tag=dict(type="str")),
                       mutually_exclusive=[("settings", "document")], required_one_of=[("settings", "document")],
                       supports_check_mode=True)
    document = module.params["document"]
    if document is None:
        document = {"schema": 1, "settings": module.params["settings"]}
    if isinstance(document.get("settings"), dict):
        document = dict(document, settings=fitted(kinds(module), "", "", document["settings"]))
    arguments = ["apply", "-"]
    if module.check_mode:
        arguments.append("--dry-run")
    if module.params["if_tag"] is not None:
        arguments.append("--if-tag=" + module.params["if_tag"])
    status, answer = module.zelctl(*arguments, document=document)
    if status != DONE:
        fail(module, status, answer, document)
    changes = answer["changes"]
    module.exit_json(changed=bool(changes), changes=changes, diff=differences(changes), tag=answer["tag"], rc=status)


if __name__ == "__main__":
    main()
