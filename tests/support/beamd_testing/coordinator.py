"""The service of the pan-tilt-zoom unit."""

from __future__ import annotations

from .peers import Peer

NAME = "com.velk.PTZ.Coordinator"


class Coordinator(Peer):
    def __init__(self, bus) -> None:
        super().__init__(bus, NAME, "/com/velk/PTZ/Coordinator/1", NAME)
        self.behave()

    def behave(self, code: str = "") -> None:
        self.answer("Auxiliary", "sis", "", code)

    def commands(self, after: int = 0) -> list[tuple]:
        return self.calls("Auxiliary", after)
