"""What docs/configuration.md tells, read from its tables."""

from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

REFERENCE = Path(__file__).resolve().parent.parent.parent.parent / "docs/configuration.md"
KEY_HEAD = ("key", "type", "unit", "default", "written by", "meaning")
TYPES = (
    "Dummy", "Tarsil", "LED1I2C", "LED2I2C", "LED2UART", "LED2CAMBLOCKI2C", "LEDCAMBLOCKI2C", "LEDBL", "LEDFISHEYEI2C",
    "LEDSYSFS", "LED1PWM", "LEDSERIALLINK",
)  # fmt: skip


@dataclass(frozen=True)
class Key:
    """A key; its names have capitals for what differs: ledN.conf, LED.LN, ANGLE, INTENSITY, temp_sensor_idN."""

    file: str
    group: str
    types: tuple[str, ...]  # those that read it
    name: str
    kind: str
    unit: str
    default: str
    writers: tuple[str, ...]
    meaning: str

    @property
    def place(self) -> tuple[str, str, str]:
        return self.file, self.group, self.name


def named_types(text: str) -> tuple[str, ...]:
    names = TYPES if text == "all" else tuple(text.split(", "))
    assert set(names) <= set(TYPES), names
    return names


def key_of(file: str, group: str, types: tuple[str, ...], row: tuple[str, ...]) -> Key:
    key, kind, unit, default, writers, meaning = row
    only = re.match(r"(\w+(?:, \w+)*) only: ", meaning)
    types = named_types(only[1]) if only else types
    return Key(file, group, types, key.strip("`"), kind, unit, default, tuple(writers.split(", ")), meaning)


def tables() -> list[tuple[str, str, tuple[str, ...], list[tuple[str, ...]]]]:
    """Each table with the headings and the types above it, and its rows, head first."""
    found, file, group, types, rows = [], "", "", (), []
    for line in [*REFERENCE.read_text().splitlines(), ""]:
        if line.startswith("|"):
            rows.append(tuple(cell.strip() for cell in line.strip("|").split("|")))
        elif rows:
            assert len({len(row) for row in rows}) == 1 and set("".join(rows.pop(1))) <= set("-|"), rows
            found.append((file, group, types, rows))
            rows = []
        if heading := re.match(r"## (.*)", line):
            file, group, types = heading[1], "", ()
        elif heading := re.match(r"###+ (?:`\[(.*)\]`)?", line):
            group, types = heading[1] or "", ()
        elif told := re.match(r"Types: ([\w, ]+)\.", line):
            types = named_types(told[1])
    return found


def documented_keys() -> list[Key]:
    keys = []
    for file, group, types, (head, *rows) in tables():
        if head == KEY_HEAD:
            assert file.startswith("/") and group and types, (file, group, types)
            keys += [key_of(file, group, types, row) for row in rows]
    return keys


def table_with(*head: str) -> list[tuple[str, ...]]:
    """The rows of the only table with that head."""
    [rows] = [rows for _, _, _, (found, *rows) in tables() if found == head]
    return rows


def worked_example() -> dict[str, str]:
    """The contents of each file of the example at the end of the page."""
    section = REFERENCE.read_text().split("\n## A light from its files\n")[1]
    return dict(re.findall(r"`(/[^`]+)`[^`]*:\n\n```\n(.*?)```", section, re.DOTALL))
