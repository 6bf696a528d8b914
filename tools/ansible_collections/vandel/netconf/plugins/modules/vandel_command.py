#!/usr/bin/python3
"""Runs commands of vandel on a device."""

import json

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vandel.netconf.plugins.module_utils.device import (
    ARGUMENTS,
    Device,
    lines_of,
    text_of,
)

DOCUMENTATION = """
module: vandel_command
short_description: Run commands of vandel on a NETCONF device
description:
  - Runs commands in one shell, up to the first one that fails.
  - Commands that may change the device have done so when its running or startup configuration
    differs after them.
  - In check mode nothing that changes the device is sent, and a commit shows what it would send.
options:
  commands:
    description:
      - The commands, one in each entry. An entry that holds a line end is refused.
    type: list
    elements: str
    required: true
  format:
    description:
      - What C(stdout) is, the text of the shell or the replies of the device.
    choices: [text, json, xml]
    default: text
    type: str
extends_documentation_fragment: vandel.netconf.device
author: The maintainers of vandel
"""

EXAMPLES = """
- vandel.netconf.vandel_command:
    host: admin@router
    commands:
      - get-config -r /vandel-device/system/hostname
    format: json
  register: answer

- ansible.builtin.debug:
    msg: "{{ answer.replies[0].data[0].system[0].hostname[0] }}"

- vandel.netconf.vandel_command:
    host: admin@router
    commands: [save]
"""

RETURN = """
stdout:
  description: What C(vandel-do) has printed.
  returned: always
  type: str
stderr:
  description: What it has said besides.
  returned: always
  type: str
replies:
  description: The replies of the device.
  returned: with I(format=json)
  type: list
rc:
  description: The exit status of C(vandel-do) or C(vandel-connect).
  returned: always
  type: int
"""

CHANGING = ("commit", "save", "copy-config", "delete-config", "import-config")


def main():
    arguments = {
        **ARGUMENTS,
        "commands": {"type": "list", "elements": "str", "required": True},
        "format": {"choices": ["text", "json", "xml"], "default": "text"},
    }
    module = AnsibleModule(arguments, supports_check_mode=True)
    commands, form = lines_of(module, "commands"), module.params["format"]
    options = ["--dry-run"] if module.check_mode else []
    if form != "text":
        options.append(f"--{form}")
    may_change = not module.check_mode and any(
        line.lstrip().startswith(CHANGING) for line in commands
    )
    with Device(module) as device:

        def configuration():
            datastores = ("running", "startup") if may_change else ()
            return [text_of(device.read(datastore)) for datastore in datastores]

        before = configuration()
        status, output, said = device.run(commands, *options)
        result = {"stdout": output, "stderr": said}
        if form == "json":
            result["replies"] = [json.loads(line) for line in output.split("\n") if line]
        if status > 1:
            device.fail(status, said, **result)
        result["changed"] = before != configuration()
        if status != 0:
            device.fail(status, said, **result)
        module.exit_json(rc=0, **result)


if __name__ == "__main__":
    main()
