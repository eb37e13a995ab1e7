"""The client, run in a sandbox."""

from __future__ import annotations

import json
import os
import select
import shlex
import socket
import subprocess
import time
from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any

from . import coverage
from .bus import BEAMD, Bus
from .daemon import complaints
from .peers import Peer
from .sandbox import Sandbox
from .services import COMMON, CONTROLLER, light_path


@dataclass
class Outcome:
    status: int
    out: str
    err: str

    def document(self) -> Any:
        """The one JSON document that stdout carries."""
        assert self.err == ""
        return strict_json(self.out)


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
        return strict_json(self.says(*arguments, "--json", **options))

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


def strict_json(text: str) -> Any:
    """Without the numbers that Python takes beyond those of JSON."""
    return json.loads(text, parse_constant=_no_json)


def _no_json(name: str) -> None:
    raise AssertionError(f"{name} is no JSON")


class SilentBus:
    """Lets a client in and answers nothing that it says then."""

    address = "unix:path=/run/silent"

    def __init__(self, sandbox: Sandbox) -> None:
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(str(sandbox.top / "run/silent"))
        self._listener.listen()
        self._listener.settimeout(60)
        self._client: socket.socket | None = None

    def __enter__(self) -> SilentBus:
        return self

    def __exit__(self, *_: object) -> None:
        if self._client is not None:
            self._client.close()
        self._listener.close()

    def wait_for_hello(self) -> None:
        self._client, _ = self._listener.accept()
        self._client.settimeout(60)
        heard = b""
        while b"Hello" not in heard:
            said = self._client.recv(4096)
            assert said, heard
            heard += said
            if b"NEGOTIATE_UNIX_FD\r\n" in said:
                self._client.sendall(b"AGREE_UNIX_FD\r\n")
            elif b"AUTH EXTERNAL" in said:
                self._client.sendall(b"OK 0123456789abcdef0123456789abcdef\r\n")
            elif said.endswith(b"AUTH\r\n"):
                self._client.sendall(b"REJECTED EXTERNAL\r\n")


class FakeDaemon(Peer):
    """Has the daemon's name and lights that answer anything. Without any, it tells of no light."""

    def __init__(self, bus: Bus) -> None:
        super().__init__(bus, BEAMD, CONTROLLER, COMMON)
        self.answer("GetNbrOfLEDs", "", "i", "ret = 0")
        self.refuse("GetAllLED")

    def refuse(self, method: str, name: str = "com.example.Refused", message: str = "no") -> None:
        code = f"raise dbus.exceptions.DBusException({message!r}, name={name!r})"
        self.answer(method, "", "a(ssibbbbb)", code)

    def add_light(self, methods: Mapping[str, tuple[str, ...]]) -> None:
        """The light 0 with these methods: name: in signature (if any), out signature, code. Only while it runs."""
        table = [(name, *("", *answer)[-3:]) for name, answer in methods.items()]
        self._mock("AddObject", "(ssa{sv}a(ssss))", light_path(0), COMMON, {}, table)
        self.answer("GetNbrOfLEDs", "", "i", "ret = 1")

    def remove_light(self) -> None:
        self._mock("RemoveObject", "(s)", light_path(0))


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
    dropped = ("NO_COLOR", "TERM", "DBUS_SYSTEM_BUS_ADDRESS")
    kept = {key: value for key, value in os.environ.items() if key not in dropped}
    return kept | {"TZ": "UTC"} | coverage.variables(run)
