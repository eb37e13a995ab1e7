"""One mistake in a configuration that is right, and what a check of the configuration has to say of it."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path

from .installation import EXAMPLES

# Stands, until the files are written, before the line that the finding is about.
HERE = "▸"

BEAMD = "/etc/beamd/beamd.conf"
LIGHT = "/etc/beamd/led0.conf"
DEFAULTS = "/usr/share/beamd/led0.conf"
TABLE = "/etc/beamd/illumination.conf"
DIMMING = "/etc/beamd/dimming.conf"
PWM = "/etc/beamd/pwm.conf"
CAMBLOCK = "/etc/beamd/camblock.conf"

SECOND_DEFAULTS = "/usr/share/beamd/led1.conf"

UNJUDGED = "(any)"

REFUSES = "refuses-to-start"

# What a warning is about, as a rule.
HARMLESS = {"severity": "warning", "reason": "unused"}
ODD = {"severity": "warning", "reason": "misread"}
UNREAD = {"severity": "warning", "reason": "dropped"}

Change = Callable[["Tree"], None]


class Tree:
    """A copy of an example, by the paths of its files on the camera."""

    def __init__(self, example: str) -> None:
        top = EXAMPLES / example
        files = [path for path in top.rglob("*") if path.is_file()]
        assert files, f"there is no example {example}"
        self.files = {f"/{path.relative_to(top)}": path.read_text() for path in files}

    def write_below(self, folder: Path) -> None:
        for path, text in self.files.items():
            target = folder / path.lstrip("/")
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(text.replace(HERE, "").encode())

    def marked_line(self, path: str) -> int | None:
        """The number of the line that is marked in the file."""
        text = self.files.get(path, "")
        assert text.count(HERE) <= 1, f"more than one line is marked in {path}"
        return text[: text.index(HERE)].count("\n") + 1 if HERE in text else None


def _replace(tree: Tree, path: str, old: str, new: str) -> None:
    before, found, after = f"\n{tree.files[path]}".partition(f"\n{old}\n")
    assert found and f"\n{old}\n" not in f"\n{after}", f"{old!r} does not stand once in {path}"
    tree.files[path] = f"{before}\n{new}{after}".removeprefix("\n")


def swap(path: str, old: str, new: str) -> Change:
    """Puts @p new in place of the whole lines @p old, which stand in the file once."""
    return lambda tree: _replace(tree, path, old, f"{new}\n")


def drop(path: str, lines: str) -> Change:
    return lambda tree: _replace(tree, path, lines, "")


def mark(path: str, line: str) -> Change:
    return swap(path, line, HERE + line)


def after(path: str, line: str, new: str) -> Change:
    return swap(path, line, f"{line}\n{new}")


def append(path: str, text: str) -> Change:
    def change(tree: Tree) -> None:
        tree.files[path] += f"{text}\n"

    return change


def write(path: str, text: str) -> Change:
    return lambda tree: tree.files.update({path: text})


def remove(path: str) -> Change:
    return lambda tree: tree.files.pop(path)


def copy(path: str, target: str, example: str | None = None) -> Change:
    """@p example is the one that the file is taken from, unless it is the tree's own."""

    def change(tree: Tree) -> None:
        tree.files[target] = (Tree(example) if example else tree).files[path]

    return change


def beside(example: str) -> Change:
    """A second light of that example's Type. It has files of its own, and shares those that the tree has already."""

    def change(tree: Tree) -> None:
        files = Tree(example).files
        for path in (LIGHT, DEFAULTS):
            tree.files[path.replace("led0", "led1")] = files.pop(path).replace("/illumination", "/illumination1")
        tree.files = files | tree.files
        _replace(tree, BEAMD, "NbrOfLeds=1", "NbrOfLeds=2\n")
        tree.files[BEAMD] += f"[LED.L1]\nType={example}\n"

    return change


# Its defaults are still to be written.
SECOND_LIGHT = (
    swap(BEAMD, "NbrOfLeds=1", "NbrOfLeds=2"),
    append(BEAMD, "[LED.L1]\nType=LED1I2C"),
    copy(LIGHT, "/etc/beamd/led1.conf"),
)


@dataclass(frozen=True)
class Mistake:
    """What is changed in an example, and the finding that comes of it.

    @p names is in the finding's message, which need not name a file that it is about, and @p tells in what the
    daemon makes of it. The line is the one that is marked in the finding's file; without a mark the finding is
    about the file.
    """

    example: str
    rule: str
    file: str
    changes: tuple[Change, ...]
    names: str
    reason: str
    suggestion: str = ""
    severity: str = "error"
    tells: str = ""

    def tree(self) -> Tree:
        tree = Tree(self.example)
        for change in self.changes:
            change(tree)
        return tree


def mistake(
    example: str, rule: str, file: str, *changes: Change, reason: str, names: str = "", **rest: str
) -> Mistake:
    return Mistake(example, rule, file, changes, names, reason, **rest)


def in_line(example: str, rule: str, file: str, old: str, new: str, **rest: str) -> Mistake:
    """@p old reads @p new, which is what the finding is about. It names the key, unless something else is told."""
    names = rest.pop("names", new.strip("[]").partition("=")[0].strip())
    return mistake(example, rule, file, swap(file, old, HERE + new), names=names, **rest)


def left_out(example: str, rule: str, file: str, line: str, header: str, **rest: str) -> Mistake:
    """@p line is missing, which is told of another one: that of its group, as a rule."""
    names = rest.pop("names", line.partition("=")[0])
    return mistake(example, rule, file, drop(file, line), mark(file, header), names=names, **rest)


def added(example: str, rule: str, file: str, line: str, new: str, **rest: str) -> Mistake:
    """@p new stands behind @p line."""
    names = rest.pop("names", new.partition("=")[0].strip("[]"))
    return mistake(example, rule, file, after(file, line, HERE + new), names=names, **rest)


def name_of(each: Mistake) -> str:
    """For the report of a test."""
    return f"{each.rule}-{each.example}-{Path(each.file).name}-{each.names}"
