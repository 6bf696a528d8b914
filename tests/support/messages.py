"""What the shell says in the tests of more than one file."""

DISCARDED = "The discard_changes command executed successfuly!\n"
EXPORTED = "The export-config command executed successfuly! "
LEAF_OR_RPC = "This is a leaf or rpc node,that can't cd."
NOTHING_STAGED = "There is no configuration data. \r\n"
NO_CHILD = "error: child node is not existed or another choice case is set.\r\n"
NO_SERVER = b"failed to connect ncserver!\r\n"
SET_USAGE = "error command, please use:set path [value]\r\n"
TOO_MANY_LAYERS = "cd cmd only takes one layer relative path as parameters!\r\n"


def no_such(word):
    """What is said of a word that is neither a command nor an rpc."""
    return f"{word}: no such command, type 'help' for more information.\n"
