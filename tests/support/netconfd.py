"""A real NETCONF server, Debian's netconfd, on a Unix socket of its own."""

import os
import signal
import socket
import subprocess
import time

MODULES = "/usr/share/yuma/modules"
PORT = "50830"  # only a name that netconfd and netconf-subsystem have to agree on
WAIT = 60


class Netconfd:
    """Runs in the given directory until stop(). target is the datastore that can be edited,
    defaults how the server reports them when nobody asks."""

    def __init__(
        self,
        directory,
        modules=("ietf-interfaces", "iana-if-type"),
        paths=(),
        target="running",
        defaults="explicit",
        startup="true",
    ):
        self.socket = os.path.join(directory, "ncxserver.sock")
        self.log_path = os.path.join(directory, "netconfd.log")
        self.environment = dict(os.environ, HOME=directory, USER="root")
        # Where what is saved is kept, and not in the user's ~/.yuma.
        home = os.path.join(directory, "yuma")
        os.makedirs(os.path.join(home, "data"), exist_ok=True)
        # fmt: off
        command = [
            "netconfd", f"--target={target}", f"--with-startup={startup}", "--no-startup",
            "--indent=0", "--superuser=root", *(f"--module={module}" for module in modules),
            "--modpath=" + ":".join((*paths, MODULES)),
            f"--default-style={defaults}", f"--yuma-home={home}",
            f"--port={PORT}", f"--ncxserver-sockname={self.socket}"]
        # fmt: on
        with open(self.log_path, "wb") as log:
            self.process = subprocess.Popen(
                command,
                cwd=directory,
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                env=self.environment,
            )
        try:
            self._wait()
        except BaseException:
            self.stop()
            raise

    def _wait(self):
        deadline = time.monotonic() + WAIT
        while not self._accepts():
            assert self.process.poll() is None and time.monotonic() < deadline, self.log()
            time.sleep(0.02)

    def _accepts(self):
        with socket.socket(socket.AF_UNIX) as probe:
            return probe.connect_ex(self.socket) == 0

    def log(self):
        with open(self.log_path, "rb") as log:
            return log.read().decode("utf-8", "replace")

    def transport(self):
        """The gateway's command, and the environment that it needs."""
        command = ["netconf-subsystem", f"--ncxserver-sockname={PORT}@{self.socket}"]
        connection = f"127.0.0.1 50000 127.0.0.1 {PORT}"
        return command, dict(self.environment, SSH_CONNECTION=connection)

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
        self.process.wait()
