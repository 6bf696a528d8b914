"""A small router of one's own: a real NETCONF server with the models that come with this."""

import glob
import os
import pwd
import re
import signal
from typing import NamedTuple

from vandel_connect.house import Trouble

STANDARD = "/usr/share/yuma/modules"
MODULES = ["ietf-interfaces", "iana-if-type", "ietf-ip"]
PORT = 830  # a name that server and command must share, no port is opened


class User(NamedTuple):
    name: str
    resident: list  # words before a command that finds the directory for this user's home
    named: list  # the same words for a user that the system has no name for, none for others


def find_user(house):
    """netconfd makes a ~/.yuma, and ends where it cannot."""
    path, number, group = house.path, os.geteuid(), os.getegid()
    resident = ["env", f"HOME={path}", "LD_PRELOAD=libnss_wrapper.so"]
    resident += [f"NSS_WRAPPER_PASSWD={path}/passwd", f"NSS_WRAPPER_GROUP={path}/group"]
    try:
        name, named = pwd.getpwuid(number).pw_name, []
    except KeyError:
        name, named = "operator", resident
    with open(house.file("passwd"), "w", encoding="utf-8") as file:
        file.write(f"{name}:x:{number}:{group}::{path}:/bin/sh\n")
    with open(house.file("group"), "w", encoding="utf-8") as file:
        file.write(f"{name}:x:{group}:\n")
    return User(name, resident, named)


def models(directory):
    """The names of the modules in a directory, without submodules."""
    for path in sorted(glob.glob(os.path.join(directory, "*.yang"))):
        with open(path, encoding="utf-8") as file:
            if not re.search(r"(?m)^ *submodule ", file.read()):
                yield re.split("[@.]", os.path.basename(path))[0]


def start(options, house, database):
    """Starts it, with its schema in the database; the command that leads to its server, and the
    words before a shell."""
    user = find_user(house)
    os.environ |= {"USER": user.name, "SSH_CONNECTION": f"127.0.0.1 50000 127.0.0.1 {PORT}"}
    os.environ["PATH"] = os.environ.get("PATH", os.defpath) + ":/usr/sbin"
    modules = [*MODULES, *models(options.models)]
    socket = house.file("ncx.sock")
    # What is saved is kept below its "home", which must hold a "data".
    os.makedirs(house.file("yuma/data"))
    # It takes a module from where it works before any other: the caller may be in /tmp, where
    # others can put one. Where it may end in order, it removes /tmp/ncxserver.sock, by which
    # another netconfd is reached.
    house.serve(
        "netconfd",
        [*user.resident, "netconfd", "--target=running", "--with-startup=true", "--no-startup"]
        + ["--indent=0", f"--superuser={user.name}", *(f"--module={module}" for module in modules)]
        + [f"--modpath={options.models}:{STANDARD}", f"--yuma-home={house.file('yuma')}"]
        + [f"--port={PORT}", f"--ncxserver-sockname={socket}"],
        house.path,
        signal.SIGKILL,
    )
    house.await_socket("redis-server", database)
    search = (options.models, STANDARD, *glob.glob(f"{STANDARD}/*/"))
    schemac = [options.program("schemac"), "--redis", database]
    schemac += [word for place in search for word in ("--search", place)]
    if house.run([*schemac, *modules]) != 0:
        raise Trouble("the models do not compile")
    house.await_socket("netconfd", socket)
    return ["netconf-subsystem", f"--ncxserver-sockname={PORT}@{socket}"], user.named
