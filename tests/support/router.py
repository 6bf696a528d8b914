"""The router of ./run for the shells of a machine: database, NETCONF server and gateway."""

import contextlib
import os
import shutil
import tempfile

from .gateway import Gateway
from .netconfd import Netconfd
from .schemac import MODELS, RUN_MODULES, Server, compile_run_models


@contextlib.contextmanager
def router(machine, *gateway_options):
    """While it lasts, shells of the machine reach the models of ./run on a real server."""
    with contextlib.ExitStack() as servers:
        directory = tempfile.mkdtemp(prefix="vandel-test.", dir="/tmp")
        servers.callback(shutil.rmtree, directory, ignore_errors=True)
        database = Server("--hash-max-listpack-value", "4096")
        servers.callback(database.stop)
        compile_run_models(database.socket)
        os.link(database.socket, machine.path("schema.sock"))
        server = Netconfd(directory, RUN_MODULES, [MODELS])
        servers.callback(server.stop)
        command, environment = server.transport()
        gateway = Gateway(directory, command, gateway_options, environment)
        servers.callback(gateway.stop)
        os.link(gateway.socket, machine.path("gateway.sock"))
        machine.environment["TARND_SOCKET"] = "/tmp/gateway.sock"
        machine.environment["SCHEMA_REDIS"] = "/tmp/schema.sock"
        yield
