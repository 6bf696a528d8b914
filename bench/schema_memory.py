#!/usr/bin/python3
"""How much memory redis takes while schemac replaces a schema by another, for schemas of
any size, and how long other clients wait.

    bench/schema_memory.py [MEGABYTES...]

For each size: a schema into an empty database, and then another one in place of all. Shown
are what redis holds before, at most and after, how often the larger of the first and the
last goes into the most (the goal is 1.3), the number of transactions, and the longest by
redis's own clock. What redis holds is looked at before each transaction is run; while it is
run, its commands come on top of what is there after it.
"""

import os
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(ROOT, "tests"))

# pylint: disable=wrong-import-position
import schema_store  # noqa: E402
import yang_modules  # noqa: E402
from support.redis_relay import Relay  # noqa: E402

SIZES = (0.1, 0.5, 1, 2, 5, 10, 25, 50, 150)
MODULES_OF_A_MEGABYTE = 8.5


class Meter:
    """The most memory that redis takes in transactions, of which it learns before each."""

    def __init__(self, server):
        self.client = server.database()
        self.settled = self.before = self.most = self.used()
        self.queue = 0  # what the commands of the last transaction took
        self.count = 0

    def used(self):
        """When redis has read all that it was sent."""
        last = 0
        while (used := self.client.info("memory")["used_memory"]) != last:
            last = used
            time.sleep(0.001)
        return used

    def take_end(self):
        """Its commands are freed when all of them have been run."""
        self.settled = self.used()
        self.most = max(self.most, self.settled + self.queue)

    def take_commands(self, _):
        used = self.used()
        self.queue = used - self.settled
        self.most = max(self.most, used)
        self.count += 1
        return True


def replace(name, server, directory):
    client = server.database()
    client.config_resetstat()
    meter = Meter(server)
    relay = Relay(server, meter.take_commands, meter.take_end)
    try:
        schema_store.schemac(relay, directory)
    finally:
        relay.stop()
    meter.take_end()
    longest = client.info("latencystats")["latency_percentiles_usec_exec"]  # "p100=..."
    before, most, after = (
        x / schema_store.MEGABYTE for x in (meter.before, meter.most, meter.settled)
    )
    print(
        f"{name:24}{before:6.2f} MB, at most {most:6.2f}, then {after:6.2f}: "
        f"{most / max(before, after):4.2f}, {meter.count:3} transactions, "
        f"{float(longest[5:]) / 1000:6.1f} ms",
        flush=True,
    )


def main():
    for size in map(float, sys.argv[1:] or SIZES):
        count = max(1, round(size * MODULES_OF_A_MEGABYTE))
        server = schema_store.Server("--latency-tracking-info-percentiles", "100")
        try:
            with tempfile.TemporaryDirectory() as scratch:
                for name in ("one", "two"):
                    yang_modules.write(f"{scratch}/{name}", count, name)
                replace(f"{size:g} MB, {count} modules", server, f"{scratch}/one")
                replace("all others", server, f"{scratch}/two")
        finally:
            server.stop()


if __name__ == "__main__":
    main()
