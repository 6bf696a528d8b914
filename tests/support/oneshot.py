"""Single commands, and the profile in which they leave what is staged."""

import os


def run(machine, *words, prints=""):
    """Runs one command, which prints this and no more."""
    result = machine.one_shot(*words)
    assert result.stdout.decode() == prints
    assert (result.status, result.stderr) == (0, b"")


def profile(machine):
    """The text of the profile; None while there is none."""
    if not os.path.lexists(machine.profile):
        return None
    with open(machine.profile, "rb") as file:
        return file.read().decode()


def write_profile(machine, text):
    with open(machine.profile, "wb") as file:
        file.write(text.encode())
    os.chmod(machine.profile, 0o600)


def filled(pwd="/", config="", rpc="", parameters="", residue=""):
    """The profile after lines were put into a fresh one."""
    rpc = f"{rpc}\n" if rpc else ""
    return (
        f"[pwd]\n{pwd}\n\n[config]\n{config}\n\n[rpc]\n{rpc}\n\n"
        f"[rpc_para]\n{parameters}\n\n%%%\n{residue}"
    )


def with_lines(lines, pwd="/"):
    """A profile in the form in which a commit writes it back."""
    return f"[pwd]\n{pwd}\n\n[config]\n{lines}\n[rpc]\n\n[rpc_para]\n\n%%%\n"
