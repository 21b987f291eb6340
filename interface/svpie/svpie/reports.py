"""Messages, warnings and progress of the library.

Errors have what was reported in `SorvantaError.reports`, and warnings are those of Python's `warnings`, as long as no reporter
gets them."""
import logging
import sys
import time
from collections.abc import Callable
from typing import Self

from . import kernel


class Reporter(kernel.AceReporter):
    """Gets messages: derive a class, and give an object of it as `rep` to a call, or `set_as_default()`. Here they are
    printed. What a method throws ends the call, KeyboardInterrupt too. A method must not use the objects that the call
    works on."""

    def __new__(cls, *args: object, **kwargs: object) -> Self:
        return super().__new__(cls)

    def report(self, text: str) -> None:
        print(text, end="" if text.endswith("\n") else "\n")

    def event(self, text: str, code: str) -> None:
        """A notable fact: `code` begins with "i", a warning with "w", an error with "e"."""
        self.report(text)


LEVELS = {"i": logging.INFO, "w": logging.WARNING, "e": logging.ERROR}


class LogReporter(Reporter):
    """Hands messages to a logger: `LogReporter().set_as_default()`."""

    def __init__(self, logger: logging.Logger | None = None) -> None:
        self.logger = logger or logging.getLogger("svpie")

    def report(self, text: str) -> None:
        if not text.startswith("PROGRESS\t"):
            self.logger.debug("%s", text.rstrip())

    def event(self, text: str, code: str) -> None:
        self.logger.log(LEVELS.get(code[:1], logging.INFO), "%s", text.rstrip(), extra={"code": code})


class ProgressReporter(Reporter):
    """Tells how far a build is: `show(done, total, text)` is called for each step; without it a line on standard error is
    kept up to date. Other messages go to `messages`, if given."""

    def __init__(self, show: Callable[[int, int, str], object] | None = None, messages: Reporter | None = None) -> None:
        self.show = show or self._print
        self.messages = messages
        self.done = self.total = 0
        self.text = ""
        self._printed = 0.0
        kernel.AceReporter.set_progress(True)

    def report(self, text: str) -> None:
        parts = text.rstrip("\n").split("\t", 3)
        if parts[0] == "PROGRESS" and len(parts) == 4:
            self._step(parts[1], int(parts[2]), parts[3])
        elif self.messages is not None:
            self.messages.report(text)

    def event(self, text: str, code: str) -> None:
        if self.messages is not None:
            self.messages.event(text, code)

    def _step(self, marker: str, number: int, text: str) -> None:
        if marker in "<-":  # a job, or a section of it, begins
            self.done, self.total, self.text = 0, number, text
        elif marker == ">":
            self.done = self.total
        elif marker == "~":
            self.total = number
        else:
            self.done = self.done + number if marker == "+" else number
        self.show(self.done, self.total, self.text)

    def _print(self, done: int, total: int, text: str) -> None:
        now = time.monotonic()
        if now - self._printed > 0.1 or done >= total:
            self._printed = now
            percent = f"{100 * done // total:3} %" if total > 0 else "     "
            print(f"\r{percent} {text[:70]:70}", end="", file=sys.stderr, flush=True)
