"""The parts of vandel-connect.

A device's run (place) has servers (servers): a connection, a schema database and a
gateway. A shell (shell) uses them, also one that is attached (main, options).
"""
