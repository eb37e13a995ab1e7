"""beamctl where something is missing, refused or silent, and where its output goes."""

from __future__ import annotations

import os
import pty
import re
import socket
import subprocess
import threading

import pytest
from beamd_testing.beamctl import FakeDaemon, SilentBus, command, variables
from beamd_testing.bus import BEAMD
from beamd_testing.bus_client import BusError
from beamd_testing.installation import install_dummies
from beamd_testing.peers import Peer
from beamd_testing.services import COMMON, CONTROLLER, Light, light_path

READING = [["list"], ["show", "led0"], ["intensity", "led0"], ["angle", "led0"], ["get", "led0", "SyncDayNight"]]
CHANGING = [
    *([name, "led0"] for name in ("on", "off", "enable", "disable")),
    ["intensity", "led0", "7"],
    ["intensity", "led0", "7", "--manual"],
    ["intensity", "led0", "7", "--manual", "--led", "0"],
    ["angle", "led0", "20"],
    ["set", "led0", "SyncDayNight", "true"],
]
HOSTILE = "\033[31m\a\nred" + "x" * 5000
NOT_RUNNING = ("beamd is not on the bus", "is beamd running? systemctl status beamd")


@pytest.fixture
def served(daemon, sandbox):
    install_dummies(sandbox, {}, {}, leds=2)
    return daemon()


def label(arguments: list[str]) -> str:
    return " ".join(arguments)


class TestDaemon:
    def test_not_running(self, bus, beamctl) -> None:
        for arguments in [*READING, *CHANGING]:
            assert beamctl.fails(3, "not-running", *arguments) == NOT_RUNNING

    def test_hanging(self, served, sandbox, beamctl) -> None:
        with sandbox.paused(served.process):
            outcome = beamctl("list", "--json")
        assert outcome.status == 3
        assert outcome.document()["error"]["code"] == "no-answer"

    def test_hanging_while_something_is_changed(self, served, sandbox, beamctl) -> None:
        with sandbox.paused(served.process):
            outcome = beamctl("angle", "led0", "20")
        assert (outcome.status, outcome.out) == (3, "")
        message, advice = outcome.err.splitlines()
        assert message == "beamctl: beamd does not answer"
        assert advice.startswith("beamd may be busy")

    def test_ends_instead_of_answering(self, bus, beamctl) -> None:
        fake = Peer(bus, BEAMD, CONTROLLER, COMMON)
        fake.answer("GetAllLED", "", "a(ssibbbbb)", "import os\nos._exit(1)")
        fake.answer("GetNbrOfLEDs", "", "i", error("org.freedesktop.DBus.Error.NoReply"))
        fake.start()
        message, _ = beamctl.fails(3, "no-answer", "show", "led0")
        assert message == "beamd ended before it answered, or did not answer in time"
        outcome = beamctl("list")
        assert (outcome.status, outcome.err.splitlines()[0]) == (3, f"beamctl: {message}")

    def test_that_speaks_otherwise(self, bus, beamctl) -> None:
        fake = Peer(bus, BEAMD, CONTROLLER, COMMON)
        fake.answer("GetNbrOfLEDs", "", "s", "ret = 'many'")
        fake.answer("GetAllLED", "", "s", "ret = 'many'")
        fake.start()
        for arguments in (["list"], ["show", "led0"]):
            beamctl.fails(1, "refused", *arguments)
        fake.answer("GetNbrOfLEDs", "", "i", error("com.example.Broken"))
        assert beamctl.fails(1, "refused", "show", "led0")[0] == "no"

    @pytest.mark.parametrize("count", [-1, -2147483648, 256, 2147483647])
    def test_that_tells_of_too_many_lights(self, bus, beamctl, count: int) -> None:
        fake = FakeDaemon(bus)
        fake.answer("GetNbrOfLEDs", "", "i", f"ret = {count}")
        fake.start()
        for arguments in (["list"], ["show", "led0"], ["on", "led7"]):
            message, advice = beamctl.fails(1, "odd-answer", *arguments)
            assert message == f"beamd tells of {count} lights"
            assert advice == "do beamd and beamctl have the same version?"

    @pytest.mark.parametrize("count", [-1, 1025, 2147483647])
    def test_that_tells_of_too_many_leds(self, bus, beamctl, count: int) -> None:
        fake = FakeDaemon(bus)
        fake.start()
        fake.add_light({"GetNumberOfLEDs": ("i", f"ret = {count}"), "GetLEDType": ("s", "ret = 'IR'")})
        message, _ = beamctl.fails(1, "odd-answer", "intensity", "led0", "5", "--manual")
        assert message == f"beamd tells of {count} LEDs of led0"
        assert beamctl.tells("list")["lights"][0]["error"] == {"code": "odd-answer", "message": message}

    def test_whose_light_has_gone(self, bus, beamctl) -> None:
        fake = FakeDaemon(bus)
        fake.start()
        for name in ("UnknownObject", "UnknownMethod"):
            words = f"Object does not exist at path “{light_path(0)}”"
            gone = ("i", error(f"org.freedesktop.DBus.Error.{name}", words))
            fake.add_light({"GetLEDType": gone, "GetIntensity": gone})
            for arguments in (["show", "led0"], ["intensity", "led0"]):
                message, _ = beamctl.fails(5, "no-such-light", *arguments)
                assert message == 'there is no light "led0" any more'
            told = beamctl.tells("list")["lights"][0]["error"]
            assert told == {"code": "no-such-light", "message": message}
            fake.remove_light()

    def test_says_of_a_missing_light_what_is_looked_for(self, served, bus) -> None:
        with pytest.raises(BusError) as raised:
            bus.client.call(light_path(9), COMMON, "GetLEDType")
        assert raised.value.name == "org.freedesktop.DBus.Error.UnknownMethod"
        assert raised.value.message.startswith("Object does not exist at path")

    def test_that_answers_with_other_types(self, bus, beamctl) -> None:
        fake = FakeDaemon(bus)
        fake.start()
        fake.add_light(
            {
                "GetLEDType": ("", ""),
                "GetNumberOfLEDs": ("s", "ret = 'many'"),
                "GetEnabled": ("t", "ret = 2 ** 64 - 1"),
                "GetLightStatus": ("d", "ret = float('nan')"),
                "GetIntensity": ("v", "ret = dbus.Double(float('-inf'), variant_level=1)"),
                "GetValidIntensities": ("a{sv}", "ret = {'low': dbus.Int32(3, variant_level=1)}"),
                "GetEnableSyncDayNight": ("ii", "ret = (1, 2)"),
            }
        )
        told = beamctl.tells("show", "led0")
        values = told["values"]
        assert (values["leds"], values["enabled"]) == ("many", str(2**64 - 1))
        assert values["on"] is None and values["intensity"] is None
        assert values["valid_intensities"] == {"low": 3}
        assert told["refused"]["type"]["code"] == told["refused"]["sync_day_night_now"]["code"] == "refused"
        shown = beamctl.says("show", "led0")
        assert re.search(r"^LEDs +GetNumberOfLEDs +many$", shown, re.MULTILINE)

    def test_with_texts_that_are_not_for_a_terminal(self, bus, beamctl) -> None:
        fake = FakeDaemon(bus)
        fake.start()
        fake.add_light({"GetLEDType": ("s", error("com.example.Refused", HOSTILE))})
        odd = "\N{REPLACEMENT CHARACTER}"
        clean = f"{odd}[31m{odd}{odd}red" + "x" * 5000
        told = beamctl.tells("list")["lights"][0]
        assert told["error"] == {"code": "refused", "message": HOSTILE}
        assert beamctl.says("list").endswith(f"  {clean}\n")
        assert beamctl.tells("show", "led0")["refused"]["type"]["message"] == HOSTILE
        assert f"  refused: {clean}\n" in beamctl.says("show", "led0")
        fake.answer("GetNbrOfLEDs", "", "i", error("com.example.Refused", HOSTILE))
        plain = beamctl("on", "led0")
        assert (plain.status, plain.out, plain.err.splitlines()[0]) == (1, "", f"beamctl: {clean}")
        outcome = beamctl("on", "led0", "--json")
        assert (outcome.status, outcome.document()["error"]["message"]) == (1, HOSTILE)

    def test_no_such_light(self, served, beamctl) -> None:
        named = [[command, name] for command in ("show", "on") for name in ("led2", "2", "lamp", "")]
        named += [["lamp" if word == "led0" else word for word in arguments] for arguments in [*READING[2:], *CHANGING]]
        for arguments in named:
            failure = beamctl.fails(5, "no-such-light", *arguments)
            assert failure == (f'there is no light "{arguments[1]}"', "there are: led0, led1")

    def test_no_lights_at_all(self, daemon, sandbox, beamctl) -> None:
        install_dummies(sandbox)
        daemon()
        _, advice = beamctl.fails(5, "no-such-light", "show", "led0")
        assert advice == "beamd has no lights at all; its log may tell why: journalctl -u beamd"


def error(name: str, message: str = "no") -> str:
    return f"raise dbus.exceptions.DBusException({message!r}, name={name!r})"


class TestAccess:
    def test_nobody_may_change(self, served, bus, beamctl) -> None:
        for arguments in CHANGING:
            message, advice = beamctl.fails(4, "access-denied", *arguments, user="nobody")
            assert message == "the bus does not allow this user to do that"
            assert "usermod -aG light USER" in advice
        lamp = Light(bus.client)
        assert not lamp.is_on() and lamp.call("GetIntensity") == 60 and not lamp.get("SyncDayNight")
        assert lamp.call("GetEnabled")

    def test_nobody_may_look(self, served, beamctl) -> None:
        for arguments in READING:
            assert beamctl.says(*arguments, user="nobody") == beamctl.says(*arguments)

    def test_group_light_may_change(self, served, bus, beamctl) -> None:
        for arguments in CHANGING:
            beamctl.says(*arguments, user="nobody", group="light")
        assert Light(bus.client).get("SyncDayNight")


class TestBus:
    def test_named(self, served, bus, beamctl) -> None:
        nowhere = {"DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/run/nowhere"}
        beamctl.fails(3, "bus-unreachable", "list", environment=nowhere)
        here = "unix:path=/run/dbus/system_bus_socket"
        for arguments in (["--bus", here, "list"], ["list", f"--bus={here}"]):
            assert beamctl.says(*arguments, environment=nowhere) == beamctl.says("list")

    @pytest.mark.parametrize("arguments", [["list"], ["on", "led0"], ["monitor"]], ids=label)
    def test_nobody_there(self, bus, beamctl, arguments: list[str]) -> None:
        message, advice = beamctl.fails(3, "bus-unreachable", "--bus", "unix:path=/run/nowhere", *arguments)
        assert message == "the bus cannot be reached: Could not connect: No such file or directory"
        assert advice.startswith("is the bus running? systemctl status dbus")

    @pytest.mark.parametrize("address", ["", "nonsense", "tcp", "carrier-pigeon:home=1"])
    def test_no_address(self, bus, beamctl, address: str) -> None:
        message, advice = beamctl.fails(2, "usage", "list", "--bus", address)
        assert message.startswith(f'"{address}" is no address of a bus: ')
        assert advice == 'an address looks like "unix:path=/run/dbus/system_bus_socket"'

    def test_that_lets_in_and_answers_nothing(self, sandbox, beamctl) -> None:
        with SilentBus(sandbox) as silent:
            running = threading.Thread(target=silent.wait_for_hello)
            running.start()
            outcome = beamctl("--bus", silent.address, "list")
            running.join()
        assert (outcome.status, outcome.out) == (3, "")
        assert outcome.err.startswith("beamctl: the bus does not answer\n")

    def test_that_ends_during_a_call(self, bus, sandbox) -> None:
        fake = FakeDaemon(bus)
        fake.answer("GetAllLED", "", "a(ssibbbbb)", "import time\ntime.sleep(60)")
        fake.start()
        client = sandbox.popen(command("list"), env=variables(None), stderr=subprocess.PIPE, text=True)
        fake.wait_for_call("GetAllLED")
        bus.stop()
        _, complaint = client.communicate(timeout=60)
        assert client.returncode == 3
        assert complaint.startswith("beamctl: the bus cannot be reached: ")

    def test_silent(self, sandbox, beamctl) -> None:
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(str(sandbox.top / "run/silent"))
        listener.listen()
        outcome = beamctl("--bus", "unix:path=/run/silent", "list")
        listener.close()
        assert (outcome.status, outcome.out) == (3, "")
        assert outcome.err.startswith("beamctl: the bus does not answer\n")


class TestUsage:
    @pytest.mark.parametrize(
        "arguments, message",
        [
            ([], "a command is missing"),
            (["lst"], 'there is no command "lst"'),
            (["help", "lst"], 'there is no command "lst"'),
            (["list", "led0"], '"led0" is one argument too many'),
            (["show"], '"show" needs LIGHT'),
            (["get", "led0"], '"get" needs LIGHT PROPERTY'),
            (["set", "led0", "SyncDayNight"], '"set" needs LIGHT PROPERTY VALUE'),
            (["intensity", "led0", "5", "6"], '"6" is one argument too many'),
            (["list", "--led", "5"], "Unknown option --led"),
            (["list", "--colour"], "Unknown option --colour"),
            (["list", "-x"], "Unknown option -x"),
            (["list", "--bus"], "Missing argument for --bus"),
            (["list", "--json=yes"], "--json takes no value"),
            (["--help="], "--help takes no value"),
            (["--version=1"], "--version takes no value"),
            (["intensity", "led0", "--manual=5"], "--manual takes no value"),
        ],
        ids=str,
    )
    def test_wrong(self, beamctl, arguments: list[str], message: str) -> None:
        assert beamctl.fails(2, "usage", *arguments)[0] == message

    def test_advice(self, beamctl) -> None:
        assert beamctl.fails(2, "usage", "lst")[1] == 'did you mean "list"?'
        assert beamctl.fails(2, "usage", "show")[1] == '"beamctl show --help" shows how it is used'
        assert "intensity" in beamctl.fails(2, "usage", "dance")[1]

    def test_options_stand_anywhere(self, served, beamctl) -> None:
        expected = beamctl.says("intensity", "led0", "--led", "1", "--json")
        for arguments in (
            ["--json", "--led", "1", "intensity", "led0"],
            ["intensity", "--led=1", "--json", "led0"],
            ["--led=1", "intensity", "--json", "--", "led0"],
        ):
            assert beamctl.says(*arguments) == expected
        message, _ = beamctl.fails(2, "usage", "intensity", "--", "led0", "--json")
        assert message == '"--json" is no whole number'

    def test_version(self, beamctl) -> None:
        version = beamctl.tells("--version")["version"]
        assert re.fullmatch(r"\d+\.\d+\.\d+", version)
        assert beamctl.says("--version") == f"beamctl {version}\n"

    @pytest.mark.parametrize("arguments", [["--help"], ["-h"], ["help"], ["--help", "--version"]], ids=label)
    def test_help(self, beamctl, arguments: list[str]) -> None:
        said = beamctl.says(*arguments)
        assert said.startswith("Usage:\n  beamctl ")
        assert beamctl.tells(*arguments) == {"help": said}

    def test_help_of_each_command(self, beamctl) -> None:
        commands = re.findall(r"^  ([a-z]+) .*  \S", beamctl.says("--help").partition("Options:")[0], re.MULTILINE)
        assert {"list", "show", "monitor", "set"} <= set(commands)
        for name in commands:
            said = beamctl.says(name, "--help")
            assert f" {name}" in said.splitlines()[1]
            assert said == beamctl.says("help", name)
            assert not re.search(r" $", said, re.MULTILINE)


class TestOutput:
    @pytest.mark.parametrize(
        "arguments, status",
        [(["list"], 1), (["--help"], 1), (["list", "--json"], 1), (["show", "led9", "--json"], 5)],
        ids=str,
    )
    def test_that_is_lost(self, served, beamctl, arguments: list[str], status: int) -> None:
        with open("/dev/full", "w") as full:
            outcome = beamctl(*arguments, stdout=full)
        assert outcome.status == status
        assert outcome.err == "beamctl: cannot write the output: No space left on device\n"
        read_end, write_end = os.pipe()
        os.close(read_end)
        outcome = beamctl(*arguments, stdout=write_end)
        os.close(write_end)
        assert outcome.status == status
        assert outcome.err == "beamctl: cannot write the output: Broken pipe\n"

    def test_without_stdout(self, served, beamctl, sandbox) -> None:
        closing = ["sh", "-c", 'exec "$@" >&-', "sh", *command("list")]
        result = sandbox.run(closing, check=False, env=variables(None))
        assert result.returncode == 1
        assert "cannot write the output: Bad file descriptor" in result.stdout

    @pytest.mark.parametrize(
        "environment, coloured",
        [
            ({}, True),
            ({"NO_COLOR": ""}, True),
            ({"NO_COLOR": "1"}, False),
            ({"TERM": "dumb"}, False),
            ({"TERM": None}, False),
        ],
        ids=str,
    )
    def test_colours_on_a_terminal(self, served, bus, beamctl, environment: dict[str, str | None], coloured: bool) -> None:
        Light(bus.client).switch(True)
        ours, theirs = pty.openpty()
        kept = {name: value for name, value in ({"TERM": "xterm"} | environment).items() if value is not None}
        outcome = beamctl("list", stdout=theirs, environment=kept)
        shown = os.read(ours, 1 << 16).decode().replace("\r\n", "\n")
        os.close(ours)
        os.close(theirs)
        assert outcome.status == 0
        assert ("\033[" in shown) is coloured
        assert re.sub(r"\033\[\d*m", "", shown) == beamctl.says("list")

    def test_json_is_never_coloured(self, served, beamctl) -> None:
        ours, theirs = pty.openpty()
        beamctl("list", "--json", stdout=theirs, environment={"TERM": "xterm"})
        shown = os.read(ours, 1 << 16).decode().replace("\r\n", "\n")
        os.close(ours)
        os.close(theirs)
        assert shown == beamctl.says("list", "--json")

    def test_names_that_are_not_for_a_terminal(self, served, beamctl) -> None:
        name = os.fsdecode(b"led\033[31m\xff\n")
        outcome = beamctl("show", name)
        assert outcome.err.startswith('beamctl: there is no light "led\N{REPLACEMENT CHARACTER}[31m')
        assert "\033" not in outcome.err
        outcome = beamctl("show", name, "--json")
        assert outcome.document()["error"]["message"] == 'there is no light "led\033[31m\N{REPLACEMENT CHARACTER}\n"'
