"""The client, run in a sandbox."""

from __future__ import annotations

import json
import os
import select
import shlex
import subprocess
import time
from dataclasses import dataclass
from typing import Any

from . import coverage
from .daemon import complaints
from .sandbox import Sandbox


@dataclass
class Outcome:
    status: int
    out: str
    err: str

    def document(self) -> Any:
        """The one JSON document that stdout carries."""
        assert self.err == ""
        return json.loads(self.out)


class Beamctl:
    """Each run has to end without a complaint of GLib or a sanitizer."""

    def __init__(self, sandbox: Sandbox) -> None:
        self.sandbox = sandbox

    def __call__(
        self,
        *arguments: str,
        user: str | None = None,
        group: str | None = None,
        environment: dict[str, str] | None = None,
        **options: Any,
    ) -> Outcome:
        """Runs it to its end, as root or as @p user. @p options are those of subprocess.run()."""
        run = coverage.new_run()
        result = self.sandbox.run(
            command(*arguments),
            user=user,
            group=group,
            check=False,
            env=variables(run) | (environment or {}),
            **({"stderr": subprocess.PIPE} | options),
        )
        coverage.hand_over(run)
        outcome = Outcome(result.returncode, result.stdout or "", result.stderr or "")
        assert not complaints(outcome.err), outcome.err
        return outcome

    def says(self, *arguments: str, **options: Any) -> str:
        """What it prints when it succeeds."""
        outcome = self(*arguments, **options)
        assert (outcome.status, outcome.err) == (0, ""), outcome
        return outcome.out

    def tells(self, *arguments: str, **options: Any) -> Any:
        """The JSON document that it prints when it succeeds."""
        return json.loads(self.says(*arguments, "--json", **options))

    def fails(self, status: int, code: str, *arguments: str, **options: Any) -> tuple[str, str]:
        """Has it fail in both forms, which have to say the same: returns the message and the advice."""
        plain = self(*arguments, **options)
        assert (plain.status, plain.out) == (status, ""), plain
        message, advice = plain.err.removeprefix("beamctl: ").splitlines()
        assert plain.err.startswith("beamctl: ")
        outcome = self("--json", *arguments, **options)
        assert outcome.status == status
        assert outcome.document() == {"error": {"code": code, "message": message, "advice": advice}}
        return message, advice


def command(*arguments: str) -> list[str]:
    binary = os.environ.get("BEAMCTL_BINARY")
    assert binary, "BEAMCTL_BINARY names the client under test; it is not set"
    return [*shlex.split(os.environ.get("BEAMD_WRAPPER", "")), binary, *arguments]


def read_until(stream: int, text: str, timeout: float = 60.0) -> str:
    """What comes from the file descriptor @p stream up to and with @p text."""
    read = b""
    deadline = time.monotonic() + timeout
    while not read.endswith(text.encode()):
        ready, _, _ = select.select([stream], [], [], max(0.0, deadline - time.monotonic()))
        byte = os.read(stream, 1) if ready else b""
        assert byte, f"no {text!r} after {read!r}"
        read += byte
    return read.decode(errors="replace")


def variables(run: Any) -> dict[str, str]:
    """The environment of a run whose coverage goes to the folder @p run; nothing of the terminal."""
    kept = {key: value for key, value in os.environ.items() if key not in ("NO_COLOR", "DBUS_SYSTEM_BUS_ADDRESS")}
    return kept | {"TZ": "UTC"} | coverage.variables(run)
