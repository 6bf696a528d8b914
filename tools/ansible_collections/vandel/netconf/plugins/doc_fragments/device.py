"""What the modules' documentation shares."""


class ModuleDocFragment:
    DOCUMENTATION = """
options:
  host:
    description:
      - The device, as C(vandel-connect) takes it, C([USER@]HOST[:PORT]). Its keys have to be set
        up, as ssh cannot ask.
      - Without it, the device is the one that C(TARND_SOCKET) and C(SCHEMA_REDIS) lead to.
    type: str
  connect:
    description:
      - Options of C(vandel-connect), one word each.
    type: list
    elements: str
    default: []
  timeout:
    description:
      - How many seconds the device may take for a command, and ten times as long for connecting.
    type: int
    default: 60
requirements:
  - C(vandel-do), and for I(host) C(vandel-connect), in C(PATH) where the module runs, which is
    the control host with C(connection=local)
notes:
  - A device that cannot be reached counts as unreachable.
  - Where lines or answers hold passwords, set C(no_log) for the task.
"""
