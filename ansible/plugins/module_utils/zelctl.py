# SPDX-License-Identifier: GPL-3.0-or-later
"""What the modules share: running zelctl, and what its exit statuses mean."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json

from ansible.module_utils.basic import AnsibleModule

DONE = 0
DIFFERS = 1
IN_PART = 5
NO_SERVICE = 6
NO_CONTROLLER = 7
FAILED = 10

# As zelctl(8) has them.
MEANINGS = {
    2: "not understood by this version of zelctl",
    3: "not valid; nothing was written",
    4: "the settings were changed since the tag was given out; nothing was written",
    IN_PART: "written in part",
    NO_SERVICE: "written, and not yet in force",
    NO_CONTROLLER: "the management controller does not answer, or there is none; nothing was written",
    8: "not permitted",
    9: "this machine has no such object; nothing was written",
    FAILED: "the system did not do its part",
}

COMMUNITY = ("snmp", "community")


def document_of(params):
    """The document that the parameters hold, before anybody has looked at them; empty when there is none."""
    settings = params.get("settings")
    document = params.get("document")
    if isinstance(document, str):
        try:
            document = json.loads(document)
        except ValueError:
            return {"text": document}
    if isinstance(settings, str):
        try:
            settings = json.loads(settings)
        except ValueError:
            return {"text": settings}
    return document if document is not None else {"settings": settings}


def secrets_in(params):
    """The community name, and all of a document that cannot be read and so might hold it."""
    document = document_of(params)
    for name in ("settings",) + COMMUNITY:
        if not isinstance(document, dict):
            return set()
        document = document.get(name, document.get("text"))
        if isinstance(document, str):
            return set([document]) if document else set()
    return set([str(document)]) if isinstance(document, (int, float)) else set()


class ZelModule(AnsibleModule):
    """A module of ours. Secrets are known to it before it says anything: to the journal, or of a wrong argument."""

    def _load_params(self):
        super(ZelModule, self)._load_params()
        self.no_log_values.update(secrets_in(self.params))

    def zelctl(self, *arguments, **options):
        """Runs zelctl, for an answer in JSON: its exit status, and the answer. A document goes to standard input."""
        program = self.get_bin_path("zelctl", required=True)
        document = options.get("document")
        status, out, err = self.run_command([program] + list(arguments) + ["--json"],
                                            data=None if document is None else json.dumps(document), binary_data=True)
        try:
            answer = json.loads(out)
        except ValueError:
            answer = None
        if not isinstance(answer, dict):
            self.fail_json(msg="zelctl %s: %s" % (arguments[0], err.strip() or out.strip() or "no answer"), rc=status)
        return status, answer

    def fail(self, status, answer, **result):
        """Ends with what zelctl said, each problem with its path."""
        errors = answer.get("errors", [])
        told = ["%s%s%s" % (one["path"], ": " if one["path"] else "", one["message"]) for one in errors]
        parts = [MEANINGS.get(status, "unknown to this module")] + told + [result.pop("stands", "")]
        self.fail_json(msg="zelctl ended with status %d: %s" % (status, "; ".join(part for part in parts if part)),
                       rc=status, errors=errors, **result)
