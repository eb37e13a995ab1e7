"""One order for what happens on several channels: log lines and bus messages."""

from __future__ import annotations

import os
import selectors
import threading
import time
from collections.abc import Callable
from dataclasses import dataclass, field
from typing import Protocol

TIMEOUT = 10.0


@dataclass
class Event:
    """Something that happened. @p number is its place on the timeline, counted from 0."""

    number: int = field(default=-1, init=False, compare=False)


Predicate = Callable[[Event], bool]


class Source(Protocol):
    """A channel that a timeline records."""

    def fileno(self) -> int: ...

    def receive(self) -> bool:
        """Takes what is there, without waiting, and keeps it. Returns False when no more can come."""

    def take_events(self) -> list[Event]:
        """Hands over what receive() kept, in order."""


class Timeline:
    """Records its sources on a thread of its own.

    The sources are given in the order in which they are recorded and are received from in the opposite order.
    With the log before the bus, a line that was logged before a message was sent always stands before it. The
    other way round cannot be told: a message takes its way through the sender's I/O thread and the bus, so a
    line logged right after it may come first.
    """

    def __init__(self) -> None:
        self._events: list[Event] = []
        self._sources: list[Source] = []
        self._changed = threading.Condition(threading.RLock())
        self._selector = selectors.DefaultSelector()
        self._wake, self._waker = os.pipe()
        self._selector.register(self._wake, selectors.EVENT_READ)
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def record(self, source: Source) -> None:
        """Records @p source from now on, after the sources there are."""
        with self._changed:
            self._sources.append(source)
            self._selector.register(source, selectors.EVENT_READ)

    def forget(self, source: Source) -> None:
        """Takes what @p source still has and records it no longer."""
        self.catch_up()
        with self._changed:
            self._stop_watching(source)
            self._sources.remove(source)

    def catch_up(self) -> None:
        """Records everything that has arrived by now."""
        with self._changed:
            for source in reversed(self._sources):
                if not source.receive():
                    self._stop_watching(source)
            for source in self._sources:
                for event in source.take_events():
                    event.number = len(self._events)
                    self._events.append(event)
            self._changed.notify_all()

    def events(self, wanted: Predicate = lambda event: True) -> list[Event]:
        """What has happened so far, in order."""
        self.catch_up()
        with self._changed:
            return [event for event in self._events if wanted(event)]

    def now(self) -> int:
        """A mark to wait or look from: the number of the next event."""
        self.catch_up()
        return len(self._events)

    def wait_for(
        self, wanted: Predicate, timeout: float = TIMEOUT, after: int = 0, what: str = "event"
    ) -> Event:
        """The first event from number @p after on that is @p wanted; it may have happened already."""
        deadline = time.monotonic() + timeout
        with self._changed:
            while True:
                for event in self._events[after:]:
                    if wanted(event):
                        return event
                left = deadline - time.monotonic()
                if left <= 0:
                    raise AssertionError(f"waited {timeout} s for {what}; what happened:\n{self}")
                self._changed.wait(left)

    def close(self) -> None:
        os.write(self._waker, b"x")
        self._thread.join()
        self._selector.close()
        os.close(self._wake)
        os.close(self._waker)

    def __str__(self) -> str:
        with self._changed:
            return "\n".join(f"{event.number:4} {event}" for event in self._events) or "(nothing)"

    def _stop_watching(self, source: Source) -> None:
        if source.fileno() in self._selector.get_map():
            self._selector.unregister(source)

    def _run(self) -> None:
        while True:
            ready = [key.fileobj for key, _ in self._selector.select()]
            if self._wake in ready:
                return
            self.catch_up()
