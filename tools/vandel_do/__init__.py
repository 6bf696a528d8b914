"""The parts of vandel-do.

A shell is driven through a pipe (shell), its connection to the daemon goes through
vandel-do (relay), what came back is judged (reply, messages), and what was staged is
remembered (edits).
"""
