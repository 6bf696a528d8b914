"""One run: commands in, output and exit status out."""

import os
import re

from vandel_do import database, edits, reply
from vandel_do.messages import Messages
from vandel_do.output import Stdout, Text, complain, tell, without_controls
from vandel_do.relay import Relay
from vandel_do.shell import Ended, Shell, TookTooLong

START_PATIENCE = 60  # seconds until the first prompt, or those of a command if they are more
DONE, ERROR, REFUSED, LOST, TIMEOUT = range(5)
# Commands that ask the device for the operator. What others ask is for the shell itself.
ASKING = (
    b"get", b"get-config", b"commit", b"copy-config", b"save", b"delete-config",
    b"import-config", b"export-config",
)  # fmt: skip
CHANGING = (b"save", b"copy-config", b"delete-config", b"import-config", b"export-config")
# What these print of a reply begins so. One that they have no memory for, or that does not get
# there, they may pass over without a word.
READING = (b"get", b"get-config")
SHOWN = b"\r\n"
# What the shell takes for the end of a line, and for "/", ":", a blank, "[", "]", "=" and ","
# within quotes, so that a key would lead to another entry.
MISTAKEN = re.compile(rb"[\0-\x03\x0b-\x0e]")
# What a command that says nothing has come to: these have found nothing, unless the database has
# ended; these are done. Any other one is not, as only the system log tells.
LISTING = ([b"ls"], [b"get-config", b"-l"])
WITHOUT_WORDS = (b"cd", *edits.STAGING)
REASONS = {
    ERROR: "the device has refused it",
    REFUSED: "the shell has refused it",
    LOST: "the device or the database cannot be reached",
    TIMEOUT: "it took too long",
}


def shortened(line):
    """A command without its value, which may be a secret."""
    words = line.split()
    text = b" ".join(words[:2]) + (b" ..." if len(words) > 2 else b"")
    return text[:200].decode("utf-8", "replace")


class Run:
    def __init__(self, options, program):
        self.options = options
        self.messages = Messages()
        self.edits = edits.Edits()
        self.saved = edits.SaveFile(options.save_edits)
        self.stdout = Stdout()
        self.shell = None
        self.relay = Relay(self._notified, options.dry_run)
        try:
            self.shell = Shell(program, self.relay.path)
        except BaseException:
            self.close()
            raise

    def _notified(self, body):
        # The run goes on where nobody reads them any longer.
        if self.options.notifications:
            tell(without_controls(body.rstrip(b"\0\n")) + b"\n")

    def close(self):
        if self.shell is not None:
            self.shell.stop()
        self.relay.stop()

    def all(self, commands):
        """Runs the commands; the exit status. Raises OSError: standard output has failed."""
        worst = self._begin()
        if worst != DONE:
            return worst
        for place, line in commands:
            status = self._one(place, line)
            worst = max(worst, status)
            if self.shell.process.poll() is not None or status in (LOST, TIMEOUT):
                break
            if self.stdout.error is not None:
                break
            if status != DONE and not self.options.keep_going:
                break
        if count := self.edits.count():
            complain(f"{count} staged {'change was' if count == 1 else 'changes were'} not sent")
        if worst not in (LOST, TIMEOUT) and self.shell.process.poll() is None:
            self.shell.leave()
        if self.stdout.error is not None:
            raise self.stdout.error
        return worst

    def _begin(self):
        """Waits for the first prompt."""
        text = Text(self.stdout.write, lambda: True)
        try:
            self.shell.begin(max(self.options.timeout, START_PATIENCE), text.add)
        except TookTooLong:
            complain("the shell does not start: daemon or database do not answer")
            return TIMEOUT
        except Ended as end:
            text.release()
            cause = self.relay.why or "see the system log"
            complain(f"the shell does not start, status {end.status}: {cause}")
            return LOST
        if self.relay.shell is None:
            complain("the shell's libconf.so does not read TARND_SOCKET")
            return LOST
        return DONE

    def _one(self, place, line):
        """Runs a command; its status, which is told when it has failed."""
        words = line.split()
        if not words:
            return DONE
        if MISTAKEN.search(line):
            status = REFUSED  # the shell would read another line
        elif self.relay.is_lost:
            status = LOST
        elif self.options.dry_run and words[0] == b"commit":
            status = self._show_commit(place, line)
        elif self.options.dry_run and words[0] in CHANGING:
            complain(f"{place}{shortened(line)}: not done, this is a dry run")
            status = DONE
        else:
            status = self._ask(place, line)
        if status == LOST and self.relay.why is not None:
            complain(f"{place}{self.relay.why}")
        if status != DONE:
            complain(f"{place}{shortened(line)}: {REASONS[status]}")
        return status

    def _show_commit(self, place, line):
        """In the place of a commit: shows what is staged, and drops it."""
        is_edit = not self.shell.in_rpc
        if is_edit and (self.options.form == "xml" or not self.edits.count()):
            return self._ask(place, line)  # which the relay answers, or the shell refuses
        status = self._ask(place, b"get-config -l")
        drop = b"quit" if self.shell.in_rpc else b"discard_changes"
        return max(status, self._ask(place, drop, is_shown=False))

    def _ask(self, place, line, is_shown=True):
        """Runs a line as it is; its status."""
        self.relay.forget()
        was_rpc = self.shell.in_rpc
        text = self._text(line, is_shown)
        try:
            self.shell.run(line, self.options.timeout, text.add)
            is_left_out = line.split()[0] == b"add-listentry" and not (text.size or self._has(line))
        except TookTooLong:
            return self._give_up(place, line, text, TIMEOUT)
        except Ended as end:
            return self._give_up(place, line, text, LOST if end.status != 0 else DONE)
        status, answer = self._judge(line, text.ends())
        if is_left_out and status == DONE:
            status = REFUSED
        if is_shown:
            self._show(text, answer)
        if status == LOST:
            self._lose(place, line, status)
        elif status == ERROR and edits.takes_all(line):
            self._save(place, line, status)
        if status in (DONE, ERROR):
            self.edits.note(line, self.shell, was_rpc)
        return status

    def _has(self, line):
        """Whether an entry is staged: the shell refuses to add one again, and leaves one whose key
        would end its path out without a word."""
        text = Text(lambda piece: None)
        self.shell.run(line, self.options.timeout, text.add)
        return text.size > 0

    def _text(self, line, is_shown):
        """Where the text of a command goes."""
        if not is_shown:
            return Text(lambda piece: None)
        if self.options.form == "text":
            return Text(self.stdout.write)
        if line.split()[0] not in ASKING:
            return Text(tell, lambda: False)
        # In the place of an answer's text stands its document. An answer that is none, for a
        # control character in it perhaps, is shown as the shell has it, but for those.
        return Text(
            lambda piece: tell(without_controls(piece)),
            lambda: self.relay.answered()[0] is not None,
        )

    def _give_up(self, place, line, text, status):
        """After the shell has left, or is about to be ended."""
        self._show(text, None)
        if status != DONE:
            self._lose(place, line, status)
        return status

    def _lose(self, place, line, status):
        """What was on its way may have been done or not."""
        if self.relay.requests and edits.takes_all(line):
            complain(f"{place}it is not known whether the device has done it")
            self._save(place, line, status)
            self.edits.drop()

    def _judge(self, line, output):
        """The status of a command, and the reply that it has shown, or None."""
        answer, is_unanswered = self.relay.answered()
        if is_unanswered:
            return LOST, None
        words = line.split()
        if answer is None or words[0] not in ASKING:
            return self._judge_text(words, output), None
        try:
            if reply.holds_error(answer):
                return ERROR, answer
        except reply.Unreadable:
            complain("the reply is no XML")
            return ERROR, None
        if words[0] == b"export-config":
            return self._judge_text(words, output), None
        if words[0] in READING and not output.startswith(SHOWN):
            complain("the shell has not shown the reply")
            return LOST, None
        return DONE, answer

    def _judge_text(self, words, output):
        """The status of a command of which only the shell's own text tells."""
        said = self.messages.judge(output)
        if said == "lost":
            return LOST
        is_still = self.shell.prompt == self.shell.before  # it has not led into an rpc
        is_silent = not output and is_still and words[0] not in WITHOUT_WORDS
        if (said == "refused" or is_silent) and not database.is_there():
            return LOST
        is_done = words[:2] in LISTING if is_silent else said == "done"
        return DONE if is_done else REFUSED

    def _show(self, text, answer):
        """Prints what has come in the form that is wanted; a text is partly printed already."""
        if self.options.form == "text" or answer is None:
            text.release()
        elif self.options.form == "xml":
            self.stdout.write(answer.rstrip(b"\0\r\n") + b"\n")
        else:
            self.stdout.write(reply.to_json(answer) + b"\n")

    def _save(self, place, line, status):
        """Keeps the lines of a commit that was not carried out."""
        if self.options.save_edits is None:
            return
        try:
            self.saved.add(f"{place}{REASONS[status]}", self.edits.block(line))
            complain(f"the lines of this commit are in {os.path.abspath(self.saved.path)}")
        except OSError as error:
            complain(f"{self.saved.path}: {error.strerror}; the lines are not saved")
