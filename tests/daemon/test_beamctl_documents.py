"""What goes with beamctl: its man page and the completions of two shells."""

from __future__ import annotations

import os
import pty
import re
import signal
import subprocess
from collections.abc import Callable
from pathlib import Path

import pytest
from beamd_testing import coverage
from beamd_testing.beamctl import FakeDaemon, command, read_until, variables
from beamd_testing.installation import install_dummies, install_example
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


def exit_codes() -> dict[str, str]:
    header = (DATA.parent / "src/beamctl/exit_codes.h").read_text()
    return dict(re.findall(r"(kExit\w+) = (\d+),", header))


def section(name: str) -> str:
    return re.split(r"^(?=[A-Z])", man().stdout.partition(f"\n{name}\n")[2], maxsplit=1, flags=re.MULTILINE)[0]


def test_man_page_names_every_code_with_its_exit_status() -> None:
    codes = {(exit_codes()["kExitRefused"], "refused")}
    for path in (DATA.parent / "src/beamctl").rglob("*.cpp"):
        text = path.read_text()
        codes |= {(exit_codes()[exit], code) for exit, code in re.findall(r'(kExit\w+),\s+"([a-z-]+)"', text)}
        refusals = re.findall(r'LIGHT_CONTROL_ERROR_\w+,\s+"([a-z-]+)"', text)
        codes |= {(exit_codes()["kExitRefused"], code) for code in refusals}
    assert {("2", "usage"), ("1", "no-board"), ("4", "access-denied"), ("3", "not-running")} <= codes
    listed = set()
    for entry in re.split(r"\n(?=       \d )", "\n" + section("EXIT STATUS"))[1:]:
        named = re.search(r"Codes?: (.*?)\.$", entry, re.DOTALL | re.MULTILINE)
        words = re.findall(r"[a-z]+(?:-[a-z]+)*", named[1]) if named else []
        listed |= {(entry.split()[0], code) for code in words if code != "and"}
    assert listed == codes


def test_man_page_names_every_exit_status() -> None:
    listed = re.findall(r"^       (\d) ", section("EXIT STATUS"), re.MULTILINE)
    assert listed == list(exit_codes().values()) == list("012345")


def members(document: object) -> set[str]:
    """The names in a document, without those that are data of the light."""
    if isinstance(document, list):
        return set().union(*map(members, document))
    if not isinstance(document, dict):
        return set()
    data = {"values", "refused"}
    return set(document).union(*(members(value) for name, value in document.items() if name not in data))


@pytest.mark.parametrize(
    "line",
    [
        "list",
        "show led0",
        "on led0",
        "enable led0",
        "intensity led0",
        "intensity led0 --manual",
        "angle led0",
        "get led0 CardDetected",
        "check",
        "--help",
        "--version",
        "show led9",
    ],
)
def test_man_page_names_every_member_of_json(served, beamctl, line: str) -> None:
    outcome = beamctl(*line.split(), "--json")
    name = "A failure" if outcome.status == 5 else line.split()[0]
    described = re.search(rf"^       (?:[\w, -]*, )?{name}\b.*(?:\n(?:        .*)?)*", section("JSON"), re.MULTILINE)
    assert described, f"nothing is said of {name}"
    told = members(outcome.document())
    assert told and {member for member in told if not re.search(rf"\b{member}\b", described[0])} == set()


def example_lines() -> list[str]:
    blocks = re.findall(r"^\.EX\n(.*?)^\.EE$", MAN_PAGE.read_text(), re.DOTALL | re.MULTILINE)
    lines = [line.replace("\\-", "-") for block in blocks for line in block.splitlines()]
    return [line for line in lines if line.startswith("beamctl ")]


def test_man_page_has_examples() -> None:
    lines = example_lines()
    assert {line.split()[1] for line in lines} >= {"list", "on", "intensity", "set", "monitor", "check"}
    assert len(lines) + len(["NAME"]) == MAN_PAGE.read_text().count("\nbeamctl ")


@pytest.mark.parametrize("line", example_lines())
def test_example_of_the_man_page(daemon, sandbox, beamctl, line: str) -> None:
    install_example(sandbox, "Dummy")
    daemon()
    words = line.split()[1:]
    if "--root" in words:
        root = words.index("--root") + 1
        words[root] = str(DATA / "examples/Dummy")
    if words[0] != "monitor":
        assert beamctl.says(*words) != ""
        return
    run = coverage.new_run()
    watching = sandbox.popen(command(*words), env=variables(run), stdout=subprocess.PIPE)
    assert "running  beamd is " in read_until(watching.stdout.fileno(), "\n")
    assert sandbox.end(watching, signal.SIGINT) == 0
    coverage.hand_over(run)


@pytest.fixture
def served(daemon, sandbox) -> None:
    install_dummies(sandbox, {}, {}, {})
    daemon()


def properties(bus, command: str) -> set[str]:
    """Those that the command takes: set only those that can be written."""
    interfaces = bus.client.introspect(light_path(0)).interfaces
    declared = [entry for interface in interfaces for entry in interface.properties]
    return {entry.name for entry in declared if command == "get" or entry.flags & 2}


def install_hostile(bus) -> None:
    """Somebody with the daemon's name, who wants the shell to run something."""
    fake = FakeDaemon(bus)
    names = ["led0", "$(touch${IFS}/run/executed)", "`touch${IFS}/run/executed`", "led1$(touch${IFS}/run/executed)"]
    rows = [(name, "IR", 2, True, False, False, False, False) for name in names]
    fake.answer("GetAllLED", "", "a(ssibbbbb)", f"ret = {rows!r}")
    fake.start()


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

    def test_lights_with_hostile_names(self, sandbox, bus, complete) -> None:
        install_hostile(bus)
        assert complete("beamctl show ") == {"led0"}
        assert not sandbox.path("/run/executed").exists()

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

    def test_lights_with_hostile_names(self, sandbox, bus, complete) -> None:
        install_hostile(bus)
        assert complete("beamctl on l") == "beamctl on led0 "
        assert not sandbox.path("/run/executed").exists()

    def test_names_all_commands_and_properties(self, served, bus, commands) -> None:
        text = ZSH.read_text()
        described = re.findall(r"^    '([a-z]+):", text, re.MULTILINE)
        assert set(described) == {*commands, "check", "help"}
        named = set(re.findall(r"\b(?:[A-Z][a-z]+){2,}\b", text))
        assert properties(bus, "get") <= named
