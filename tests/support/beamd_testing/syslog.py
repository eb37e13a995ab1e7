"""The system log of a sandbox: a socket at its /dev/log."""

from __future__ import annotations

import re
import socket
from dataclasses import dataclass

from .sandbox import Sandbox
from .timeline import TIMEOUT, Event, Predicate, Timeline

SEVERITIES = ["EMERG", "ALERT", "CRIT", "ERR", "WARNING", "NOTICE", "INFO", "DEBUG"]
EMERG, ALERT, CRIT, ERR, WARNING, NOTICE, INFO, DEBUG = range(8)

FACILITY_DAEMON = 3
FACILITY_LOCAL5 = 21

_LINE = re.compile(r"<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d ([^\[:]*)(?:\[(\d+)\])?: ?(.*)", re.DOTALL)
_BUFFER = 1 << 20


@dataclass
class LogLine(Event):
    facility: int
    severity: int
    ident: str
    pid: int | None  # as the logging process sees itself
    text: str

    def __str__(self) -> str:
        return f"log {self.ident}[{self.pid}] {SEVERITIES[self.severity]}: {self.text!r}"


def parse(datagram: bytes) -> LogLine:
    text = datagram.decode(errors="backslashreplace").rstrip("\n\0")
    match = _LINE.fullmatch(text)
    if not match:
        raise ValueError(f"not a log line: {datagram!r}")
    priority, ident, pid, message = match.groups()
    return LogLine(int(priority) >> 3, int(priority) & 7, ident, int(pid) if pid else None, message)


class Syslog:
    """Receives the log lines of everything in the sandbox and puts them on the timeline."""

    def __init__(self, sandbox: Sandbox, timeline: Timeline) -> None:
        self.timeline = timeline
        self._received: list[LogLine] = []
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, _BUFFER)
        address = sandbox.top / "dev/log"
        self._socket.bind(str(address))
        address.chmod(0o666)
        timeline.record(self)

    def fileno(self) -> int:
        return self._socket.fileno()

    def receive(self) -> bool:
        while True:
            try:
                self._received.append(parse(self._socket.recv(1 << 16)))
            except BlockingIOError:
                return True

    def take_events(self) -> list[Event]:
        events, self._received = self._received, []
        return events

    def lines(self, ident: str = "beamd", after: int = 0) -> list[LogLine]:
        """The lines of @p ident from number @p after of the timeline on."""
        return self.timeline.events(
            lambda event: isinstance(event, LogLine) and event.ident == ident and event.number >= after
        )

    def texts(self, ident: str = "beamd", after: int = 0) -> list[tuple[int, str]]:
        """The lines of @p ident as pairs of severity and text."""
        return [(line.severity, line.text) for line in self.lines(ident, after)]

    def wait_for(
        self,
        wanted: tuple[int, str] | Predicate,
        timeout: float = TIMEOUT,
        after: int = 0,
        ident: str = "beamd",
    ) -> LogLine:
        """The first line of @p ident that is @p wanted: severity and text, or a predicate on the line."""

        def matches(event: Event) -> bool:
            if not isinstance(event, LogLine) or event.ident != ident:
                return False
            return wanted(event) if callable(wanted) else (event.severity, event.text) == wanted

        return self.timeline.wait_for(matches, timeout, after, f"the log line {wanted}")

    def close(self) -> None:
        self.timeline.forget(self)
        self._socket.close()
