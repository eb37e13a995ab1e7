"""The manual pages: they can be read, are installed, and tell what the program has."""

from __future__ import annotations

import json
import os
import re
import subprocess
from pathlib import Path

import pytest

REPOSITORY = Path(__file__).resolve().parent.parent.parent
PAGES = sorted((REPOSITORY / "data/man").iterdir())


def shown(page: Path) -> str:
    """The page as a terminal shows it, without emphasis."""
    command = ["groff", "-man", "-t", "-ww", "-Kutf8", "-Tutf8", "-P-cbou", page]
    result = subprocess.run(command, check=True, capture_output=True, text=True)
    assert result.stderr == ""
    return result.stdout


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_a_page_is_shown_without_warnings(page: Path) -> None:
    name, section = page.stem, page.suffix[1:]
    assert shown(page).startswith(f"{name.upper()}({section})") and f"\n       {name} - " in shown(page)


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_a_page_is_installed(page: Path) -> None:
    command = ["meson", "introspect", "--installed", os.environ["BEAMD_BUILD_DIR"]]
    installed = json.loads(subprocess.check_output(command, text=True))
    assert installed[str(page)] == f"/usr/share/man/man{page.suffix[1:]}/{page.name}"


def test_every_option_of_the_daemon_is_described(sandbox) -> None:
    environment = {**os.environ, "LD_LIBRARY_PATH": os.environ["BEAMD_PLATFORM_DIR"]}
    told = sandbox.run([os.environ["BEAMD_BINARY"], "--help"], env=environment).stdout
    options = re.findall(r"^  (-\w), (--[\w-]+)", told, re.MULTILINE)
    assert ("-d", "--debug") in options and len(options) == 3
    page = shown(REPOSITORY / "data/man/beamd.8")
    described = re.findall(r"^       (-\w), (?:-\?, )?(--[\w-]+)$", page.split("\nOPTIONS\n")[1], re.MULTILINE)
    assert sorted(described) == sorted(options)


def test_log_lines_are_those_of_the_sources() -> None:
    section = (REPOSITORY / "data/man/beamd.8").read_text().split("\n.SH LOG\n")[1].split("\n.SH ")[0]
    lines = re.findall(r"^\.T[PQ]\n\.B (.*?)(?: N| \.\.\.)?$", section, re.MULTILINE)
    sources = "".join(path.read_text() for path in (REPOSITORY / "src").rglob("*.cpp") if "beamctl" not in path.parts)
    assert len(lines) == 7
    assert [line for line in lines if f'"{line}' not in sources] == []


def test_the_configuration_page_is_what_the_script_makes() -> None:
    page = (REPOSITORY / "data/man/beamd.conf.5").read_text()
    assert page == subprocess.check_output(REPOSITORY / "scripts/configuration-manual", text=True)
