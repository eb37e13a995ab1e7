"""What goes with beamctl: its man page and the completions of two shells."""

from __future__ import annotations

import os
import pty
import re
import subprocess
from collections.abc import Callable
from pathlib import Path

import pytest
from beamd_testing.beamctl import read_until, variables
from beamd_testing.installation import install_dummies
from beamd_testing.services import light_path

DATA = Path(__file__).resolve().parent.parent.parent / "data"
MAN_PAGE = DATA / "man/beamctl.1"
BASH, ZSH = DATA / "completions/beamctl.bash", DATA / "completions/_beamctl"


def man(*options: str) -> subprocess.CompletedProcess:
    environment = os.environ | {"LC_ALL": "C.UTF-8", "MANWIDTH": "1000"}
    command = ["man", "--nh", "--nj", *options, "-E", "UTF-8", "-l", MAN_PAGE]
    return subprocess.run(command, env=environment, check=True, capture_output=True, text=True)


@pytest.fixture
def commands(beamctl) -> list[str]:
    """The names of all subcommands, as the help has them."""
    listed = beamctl.says("--help").partition("Commands:\n")[2].partition("\n\n")[0]
    names = [line.split()[0] for line in listed.splitlines()]
    assert names[0] == "list" and "monitor" in names
    return names


@pytest.fixture
def options_of(beamctl) -> Callable[[str], set[str]]:
    return lambda name: set(re.findall(r"^  (?:-h, )?(--\w+)", beamctl.says("help", name), re.MULTILINE))


def test_man_page_has_no_faults() -> None:
    assert man("--warnings", "-Tutf8", "-Z").stderr == ""


def test_man_page_names_all_that_the_help_names(beamctl, commands, options_of) -> None:
    page = man().stdout
    for name in commands:
        synopsis = beamctl.says("help", name).splitlines()[1].partition(f"{name}")[2].strip()
        described = re.search(rf"^       {name}\b(.*)$", page, re.MULTILINE)
        assert described, f"nothing is said of {name}"
        assert described[1].strip().startswith(synopsis)
        for option in options_of(name):
            assert re.search(rf"{option}\b", page), f"nothing is said of {option}"


def test_man_page_names_every_code(beamctl) -> None:
    codes = set()
    for path in (DATA.parent / "src/beamctl").rglob("*.cpp"):
        codes |= set(re.findall(r'(?:kExit\w+|LIGHT_CONTROL_ERROR_\w+),\s+"([a-z-]+)"', path.read_text()))
    assert {"usage", "no-board", "access-denied", "not-running"} <= codes
    listed = man().stdout.partition("where code is one of ")[2].partition("EXIT STATUS")[0]
    assert set(re.findall(r"[a-z]+(?:-[a-z]+)*", listed)) - {"and"} == codes


def test_man_page_names_every_exit_status() -> None:
    listed = man().stdout.partition("EXIT STATUS\n")[2].partition("ENVIRONMENT")[0]
    known = re.findall(r"= (\d+),", (DATA.parent / "src/beamctl/exit_codes.h").read_text())
    assert re.findall(r"^       (\d) ", listed, re.MULTILINE) == known == list("012345")


@pytest.fixture
def served(daemon, sandbox) -> None:
    install_dummies(sandbox, {}, {}, {})
    daemon()


def properties(bus, command: str) -> set[str]:
    """Those that the command takes: set only those that can be written."""
    interfaces = bus.client.introspect(light_path(0)).interfaces
    declared = [entry for interface in interfaces for entry in interface.properties]
    return {entry.name for entry in declared if command == "get" or entry.flags & 2}


class TestBash:
    @pytest.fixture
    def complete(self, sandbox) -> Callable[[str], set[str]]:
        """What bash offers at the end of that command line."""
        script = f"""
            source {BASH}
            [[ $(complete -p beamctl) == 'complete -F _beamctl beamctl' ]] || exit 1
            COMP_LINE=$1 COMP_POINT=${{#1}}
            read -ra COMP_WORDS <<<"$1"
            [[ $1 != *' ' ]] || COMP_WORDS+=('')
            COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))
            _beamctl "$BEAMCTL_BINARY" "${{COMP_WORDS[COMP_CWORD]}}" "${{COMP_WORDS[COMP_CWORD - 1]}}"
            printf '%s\\n' "${{COMPREPLY[@]}}"
        """

        def complete(line: str) -> set[str]:
            shell = ["bash", "--norc", "-c", script, "bash", line]
            result = sandbox.run(shell, env=variables(None), stderr=subprocess.PIPE)
            assert result.stderr == ""
            return set(result.stdout.split())

        return complete

    def test_commands_and_options(self, sandbox, complete, commands, options_of) -> None:
        assert complete("beamctl ") == {*commands, "help"} | {"check"}
        assert complete("beamctl help ") == complete("beamctl ")
        assert complete("beamctl --json o") == {"on", "off"}
        assert complete("beamctl --b") == {"--bus"}
        for name in commands:
            assert complete(f"beamctl {name} -") == options_of(name)

    def test_lights(self, served, complete, commands) -> None:
        lights = {"led0", "led1", "led2"}
        for name in set(commands) - {"list", "monitor", "check"}:
            assert complete(f"beamctl {name} ") == lights
        assert complete("beamctl show led1") == {"led1"}
        bus = "unix:path=/run/dbus/system_bus_socket"
        assert complete(f"beamctl --bus {bus} show ") == lights
        assert complete(f"beamctl --bus={bus} show ") == lights
        assert complete("beamctl --bus unix:path=/run/nowhere show ") == set()
        assert complete("beamctl show led1 ") == complete("beamctl list ") == set()

    def test_properties_and_values(self, served, bus, complete) -> None:
        for name in ("get", "set"):
            assert complete(f"beamctl {name} led0 ") == properties(bus, name)
        assert complete("beamctl get led0 Sync") == {"SyncDayNight"}
        assert complete("beamctl set led0 SyncDayNight ") == {"true", "false"}
        assert complete("beamctl set led0 ManualSetIntensity ") == set()

    def test_without_a_daemon(self, bus, complete) -> None:
        assert complete("beamctl show ") == set()
        assert complete("beamctl --led ") == complete("beamctl --bus ") == set()


class TestZsh:
    RC = f"""
        fpath=({ZSH.parent} $fpath)
        path=(${{BEAMCTL_BINARY:h}} $path)
        autoload -Uz compinit && compinit -u -D
        tell() {{ print -r -- "<<$BUFFER>>"; BUFFER= }}
        zle -N tell && bindkey '^T' tell
        unsetopt beep prompt_sp
        setopt list_ambiguous
        PS1='ready '
    """

    @pytest.fixture
    def complete(self, sandbox) -> Callable[[str], str]:
        """What zsh makes of that command line when Tab is pressed."""
        sandbox.write("/run/zsh/.zshrc", self.RC)

        def complete(line: str) -> str:
            ours, theirs = pty.openpty()
            environment = variables(None) | {"ZDOTDIR": "/run/zsh", "TERM": "dumb"}
            shell = sandbox.popen(["zsh", "-i"], env=environment, stdin=theirs, stdout=theirs, stderr=theirs)
            os.close(theirs)
            read_until(ours, "ready ")
            os.write(ours, f"{line}\t\x14".encode())
            completed = read_until(ours, ">>").partition("<<")[2].removesuffix(">>")
            os.write(ours, b"\x15exit\n")
            shell.wait(60)
            os.close(ours)
            return completed

        return complete

    def test_syntax(self) -> None:
        subprocess.run(["zsh", "-n", ZSH], check=True)

    @pytest.mark.parametrize(
        "line, completed",
        [
            ("beamctl sh", "beamctl show "),
            ("beamctl on l", "beamctl on led"),
            ("beamctl on led1", "beamctl on led1 "),
            ("beamctl --json intensity led0 --au", "beamctl --json intensity led0 --automatic "),
            ("beamctl list --au", "beamctl list --au"),
            ("beamctl set led0 Sync", "beamctl set led0 SyncDayNight "),
            ("beamctl get led0 Card", "beamctl get led0 CardDetected "),
            ("beamctl set led0 Card", "beamctl set led0 Card"),
            ("beamctl set led0 SyncDayNight t", "beamctl set led0 SyncDayNight true "),
        ],
        ids=str,
    )
    def test_completes(self, served, complete, line: str, completed: str) -> None:
        assert complete(line) == completed

    def test_names_all_commands_and_properties(self, served, bus, commands) -> None:
        text = ZSH.read_text()
        described = re.findall(r"^    '([a-z]+):", text, re.MULTILINE)
        assert set(described) == {*commands, "check", "help"}
        named = set(re.findall(r"\b(?:[A-Z][a-z]+){2,}\b", text))
        assert properties(bus, "get") <= named
