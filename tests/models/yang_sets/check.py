"""Gives sets of modules to yanglint and to schemac, and compares what they make of them."""

import os
import re
import subprocess

import redis

from . import expected
from .stored import Comparison


class Checker:
    """Of a schemac, with a redis-server that is its own, and a directory for files."""

    def __init__(self, schemac, socket, directory):
        self.schemac = schemac
        self.socket = socket
        self.directory = directory
        self.database = redis.Redis(unix_socket_path=socket, db=4)

    def hashes(self):
        pipe = self.database.pipeline(transaction=False)
        keys = [key for key in self.database.keys() if not key.startswith(b"schemac:")]
        for key in keys:
            pipe.hgetall(key)
        return {
            key.decode(): {name.decode(): record for name, record in fields.items()}
            for key, fields in zip(keys, pipe.execute())
        }

    def run_schemac(self, directories, words, features):
        self.database.flushdb()
        command = [self.schemac, "--redis", self.socket]
        for directory in directories:
            command += ["--search", directory]
        for feature in ["*:*"] if features is None else features:
            command += ["--feature", feature]
        return subprocess.run(
            [*command, *words],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            errors="replace",
            cwd=self.directory,
            timeout=600,
        )

    def check(self, verdict, directories, words, features, lenders):
        """(nodes compared, differences, messages of schemac). `lenders`: the names of modules
        that have identities."""
        result = self.run_schemac(directories, words, features)
        messages = result.stderr.strip()
        if result.returncode != (0 if verdict.is_good else 1):
            return 0, [f"yanglint: {verdict.messages.strip()}\nschemac: {messages}"], messages
        if not verdict.is_good:
            return 0, [], messages
        comparison = Comparison(self.hashes(), verdict.modules, lenders & {*verdict.imported})
        return comparison.nodes, comparison.differences, messages


def write_texts(directory, texts):
    os.makedirs(directory, exist_ok=True)
    for name, text in texts.items():
        with open(os.path.join(directory, name), "w", encoding="utf-8") as file:
            file.write(text)


def paths_of(directory, texts):
    return {re.split("[@.]", name)[0]: os.path.join(directory, name) for name in texts}


def check_set(checker, model_set, directory):
    """What instances of extensions and ways of writing change is nothing: schemac reads the
    modules with them, and yanglint without."""
    written, plain = model_set.texts()
    write_texts(directory, written)
    write_texts(f"{directory}/plain", plain)
    paths = paths_of(f"{directory}/plain", plain)
    # Imported ones first: of others libyang knows the features too late.
    for names in (sorted(model_set.asked, key=model_set.names.index), model_set.asked):
        verdict = expected.ask(
            [f"{directory}/plain"],
            [paths[name] for name in names],
            {name: paths[name] for name in model_set.names},
            model_set.features,
        )
        if not verdict.is_lost:
            break
    os.rename(f"{directory}/plain", f"{directory}.plain")
    words = model_set.asked
    if model_set.random.randrange(2):
        words = [paths_of(directory, written)[name] for name in words]
    if verdict.is_lost:
        return None, 0, [], ""
    lenders = {part.module.name for part in model_set.parts if part.identities}
    if model_set.fault_part:
        return verdict.is_good, 0, *check_refusal(checker, model_set, words, directory, verdict)
    return verdict.is_good, *checker.check(verdict, [directory], words, model_set.features, lenders)


def check_refusal(checker, model_set, words, directory, verdict):
    """(differences, messages) of a set with a fault: a line shows it."""
    result = checker.run_schemac([directory], words, model_set.features)
    first, last = model_set.fault_lines
    places = re.findall(r"^schemac: (\S+): line (\d+): ", result.stderr, re.M)
    is_shown = any(
        name == model_set.fault_part.name and first <= int(line) <= last for name, line in places
    )
    if not verdict.is_good and result.returncode == 1 and is_shown:
        return [], result.stderr
    return [
        f"{model_set.fault_part.name}, lines {first} to {last}, status {result.returncode}",
        f"yanglint: {verdict.messages.strip()}",
        f"schemac: {result.stderr.strip()}",
    ], result.stderr
