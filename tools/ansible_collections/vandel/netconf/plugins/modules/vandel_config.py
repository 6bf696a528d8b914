#!/usr/bin/python3
"""Changes the configuration of a device in one request, or puts an export in its place."""

import re
import shutil

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vandel.netconf.plugins.module_utils.device import (
    ARGUMENTS,
    BASE,
    REFUSED_BY_DEVICE,
    Device,
    errors,
    fulfils,
    lines_of,
    parse,
    printable,
    text_of,
)

DOCUMENTATION = """
module: vandel_config
short_description: Change the configuration of a NETCONF device
description:
  - Stages lines of C(vandel) and commits them in one request, which the device carries out whole
    or not at all. Or puts a file of C(export-config) in the place of the running configuration.
  - The running configuration is read before and after; the task has changed something when the
    two differ. What it holds already is not sent at all.
  - In check mode nothing is sent. The task has changed something when the running configuration
    does not hold what the request asks for.
  - The shell refuses to delete an entry that is not there.
options:
  lines:
    description:
      - What to stage, C(cd), C(set), C(delete) and C(add-listentry). The commit follows by itself.
      - An entry is one line. One that holds a line end, as a value from elsewhere may, is refused.
    type: list
    elements: str
  restore:
    description:
      - The file to put in the place of the running configuration.
    type: path
extends_documentation_fragment: vandel.netconf.device
author: The maintainers of vandel
"""

EXAMPLES = """
- hosts: routers
  connection: local
  gather_facts: false
  module_defaults:
    group/vandel.netconf.all:
      host: "admin@{{ ansible_host }}"
  tasks:
    - vandel.netconf.vandel_config:
        lines:
          - cd vandel-device
          - set system/hostname {{ inventory_hostname }}
          - set system/location "Hall 2"

    - vandel.netconf.vandel_config:
        restore: "{{ playbook_dir }}/exports/{{ inventory_hostname }}.xml"
"""

RETURN = """
request:
  description: The XML that is sent, or that check mode does not send.
  returned: when the lines can be staged
  type: str
stdout:
  description: What the shell says of a line that it refuses.
  returned: when the lines cannot be staged
  type: str
rc:
  description: The exit status of C(vandel-do) or C(vandel-connect).
  returned: failure
  type: int
"""

STAGING = ("cd", "set", "delete", "add-listentry")


def staged(module, device):
    """The request of the lines, the element around it, and the lines that send it."""
    lines = [*lines_of(module, "lines"), "commit"]
    for line in lines[:-1]:
        word = printable(line.strip().partition(" ")[0])
        if word not in (*STAGING, "") and not word.startswith("#"):
            module.fail_json(msg=f"{word}: of the commands, only {', '.join(STAGING)} stage")
    status, output, said = device.run(lines, "--dry-run", "--xml")
    if status != 0:
        own = "(?m)^vandel-do: .*\n"
        device.fail(status, "".join(re.findall(own, said)), stdout=printable(re.sub(own, "", said)))
    # As text, a value could end its element.
    wanted = parse(output).find(f"{{{BASE}}}edit-config/{{{BASE}}}config")
    request = re.search("<config [^>]*>(.*)</config>", output, re.DOTALL)[1].strip()
    return printable(request) + "\n", wanted, lines


def taken(path):
    """What import-config takes of a file, which may be less than a reader of XML finds in it."""
    with open(path, "rb") as file:
        content = file.read()
    return content[content.find(b"<data>") : content.rfind(b"</data>") + len(b"</data>")]


def main():
    arguments = {
        **ARGUMENTS,
        "lines": {"type": "list", "elements": "str"},
        "restore": {"type": "path"},
    }
    module = AnsibleModule(
        arguments,
        supports_check_mode=True,
        required_one_of=[("lines", "restore")],
        mutually_exclusive=[("lines", "restore")],
    )
    with Device(module) as device:
        before = device.read("running")
        if module.params["restore"]:
            path = shutil.copy(module.params["restore"], device.path("restore.xml"))
            wanted = parse(taken(path))
            request = text_of(wanted)
            is_so = request == text_of(before)
            lines = [f"import-config {path} running"]
        else:
            request, wanted, lines = staged(module, device)
            is_so = fulfils(before, wanted)
        result = {"changed": False, "request": request}
        if is_so:
            module.exit_json(**result)
        if module.check_mode:
            result["changed"] = True
            if module._diff:
                result["diff"] = {"prepared": request}
            module.exit_json(**result)
        status, replies, said = device.run(lines, "--xml")
        if status > REFUSED_BY_DEVICE:
            device.fail(status, said, **result)
        texts = [text_of(data) for data in (before, device.read("running"))]
        result["changed"] = texts[0] != texts[1]
        if module._diff:  # or else all of the configuration would stand in every result
            result["diff"] = dict(zip(("before", "after"), texts))
        if status == REFUSED_BY_DEVICE:
            device.fail(status, f"{said.strip()}: {errors(replies)}", **result)
        module.exit_json(**result)


if __name__ == "__main__":
    main()
