#!/usr/bin/python
# SPDX-License-Identifier: GPL-3.0-or-later
"""Ansible module: what the service of the server-management agent found."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: zel_status
short_description: Levels, values and versions, as the server-management agent has them
version_added: 4.1.1
description:
  - Takes what C(zelctl status) tells into the fact C(zel_agent). Changes nothing.
  - Fails where the service does not run; what it wrote last is in the result all the same, below C(zel_agent).
notes:
  - A private agent is meant where the environment variable C(ZelDir) names its folder.
  - Without the rights of the superuser, a service that does not run is not noticed; C(zel_agent.time) tells when it wrote.
seealso:
  - module: zel.agent.zel_settings
author: ZEL Agent maintainers
attributes:
  check_mode:
    support: full
    description: Changes nothing in any mode.
  facts:
    support: full
    description: Sets C(zel_agent).
"""

EXAMPLES = r"""
- name: Look at the agent
  zel.agent.zel_status:

- name: Stop where something is fatal
  ansible.builtin.assert:
    that: zel_agent.level != 'fatal'
    fail_msg: "{{ zel_agent.alarms | map(attribute='object') | join(', ') }}"
"""

RETURN = r"""
ansible_facts:
  description: What the agent found.
  returned: success
  type: dict
  contains:
    zel_agent:
      description: The status.
      type: dict
      contains:
        level:
          description: The worst level of all, C(fatal), C(warning), C(ok) or C(unknown).
          type: str
        levels:
          description: How many objects have each level.
          type: dict
        alarms:
          description: Those of the objects whose level is C(warning) or C(fatal).
          type: list
          elements: dict
        objects:
          description: All that is watched, with C(resource), C(object), C(level), C(value), C(unit), C(limit), C(since), C(stale).
          type: list
          elements: dict
        controller:
          description: The management controller, with its C(state), C(answering), C(silent) or C(none).
          type: dict
        watchdog:
          description: The watchdog timer, with its C(state).
          type: dict
        version:
          description: The version of the service that runs.
          type: str
        installed_version:
          description: The version that is installed; another one means that the service was not restarted.
          type: str
        time:
          description: When the service wrote this.
          type: str
rc:
  description: The exit status of C(zelctl), as zelctl(8) has it.
  returned: always
  type: int
"""

from ansible_collections.zel.agent.plugins.module_utils.zelctl import DONE, ZelModule

LEVELS = ("fatal", "warning", "ok", "unknown")


def installed_version(module):
    """What "zelctl --version" says behind its name."""
    program = module.get_bin_path("zelctl", required=True)
    return module.run_command([program, "--version"])[1].split(" ")[-1].strip()


def facts_of(module, answer):
    objects = answer.get("objects", [])
    levels = dict((level, sum(1 for one in objects if one.get("level") == level)) for level in LEVELS)
    return dict(objects=objects, levels=levels, level=next((level for level in LEVELS if levels[level]), "unknown"),
                alarms=[one for one in objects if one.get("level") in LEVELS[:2]],
                controller=answer.get("controller", {}), watchdog=answer.get("watchdog", {}),
                version=answer.get("version"), time=answer.get("time"), installed_version=installed_version(module))


def main():
    module = ZelModule(argument_spec={}, supports_check_mode=True)
    status, answer = module.zelctl("status")
    facts = facts_of(module, answer)
    if status != DONE:
        module.fail(status, answer, zel_agent=facts)
    module.exit_json(changed=False, ansible_facts=dict(zel_agent=facts), rc=status)


if __name__ == "__main__":
    main()
