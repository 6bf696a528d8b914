"""Whether the schema database can be reached.

The shell has no message of its own for a database that has ended: every path is unknown
then, and listings are empty.
"""

import os
import socket

DEFAULT = "127.0.0.1:6379"
PATIENCE = 5  # seconds


def is_there():
    """False when nobody listens where the shell looks for the database."""
    place = (os.environ.get("SCHEMA_REDIS") or DEFAULT).partition(",passwordfile=")[0]
    try:
        if "/" in place:
            with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
                connection.settimeout(PATIENCE)
                connection.connect(place)
        else:
            host, _, port = place.rpartition(":")
            address = (host.removeprefix("[").removesuffix("]"), int(port))
            socket.create_connection(address, PATIENCE).close()
    except (OSError, ValueError, OverflowError):
        return False
    return True
