"""docs/configuration.md: every key that is read, by whom it is changed, what missing files do, and the example."""

from __future__ import annotations

import os
import re
import shutil
import xml.etree.ElementTree as ElementTree
from collections.abc import Iterator
from pathlib import Path

import pytest

from beamd_testing.backlight_board import BacklightBoard
from beamd_testing.camera_block import LedPair, ListedLeds
from beamd_testing.configuration_reference import TYPES, documented_keys, named_types, table_with, worked_example
from beamd_testing.fisheye_board import FisheyeBoard
from beamd_testing.installation import EXAMPLES
from beamd_testing.led_board import LedBoard, demand_no_board
from beamd_testing.mcu_board import OneChannel, ThreeOutputs, TwoChannels
from beamd_testing.pwm_board import PwmBoard
from beamd_testing.sandbox import Sandbox
from beamd_testing.services import Controller, Light
from beamd_testing.sysfs_board import SysfsBoard

REPOSITORY = Path(__file__).resolve().parent.parent.parent
SOURCES = "".join(path.read_text() for path in sorted((REPOSITORY / "src").rglob("*.cpp")) if "beamctl" not in path.parts)
PLACEHOLDERS = {"INTENSITY", "temp_sensor_idN"}
GROUPS = {"common", "zoom", "info", "regulator", "pwm", "i2c_info"}


def literals(calls: str) -> set[str]:
    """The names in texts of @p calls in the sources that are no groups."""
    return {name for call in re.findall(calls, SOURCES) for name in re.findall(r'"(\w+)"', call)} - GROUPS


def keys_read() -> set[str]:
    files = literals(r"g_key_file_(?:get_boolean|get_integer|get_double|get_string|get_integer_list|has_key)\([^;]*;")
    state = literals(r"\.(?:required|optional|lenient)\w*\(\s*\"\w+\"")
    helpers = literals(r"read_(?:timing_key|register|gain)\([^;{]*?\"\w+\"") | literals(r"\{\"camblock\w+\", &")
    controller = literals(r"triple->key\} [!=]= \"\w+\"")
    return files | state | helpers | controller


def test_the_keys_are_those_that_the_sources_read() -> None:
    assert {key.name for key in documented_keys()} - PLACEHOLDERS == keys_read() | {"temp_sensor_id"}


def test_each_key_stands_once_for_a_type() -> None:
    places = [(*key.place, kind) for key in documented_keys() for kind in key.types]
    assert len(places) == len(set(places))
    assert {key.kind for key in documented_keys()} == {row[0] for row in table_with("type", "how a value is written")}


def test_the_types_are_those_of_the_controller() -> None:
    names = (REPOSITORY / "src/daemon/led_types.h").read_text()
    assert tuple(re.findall(r'= "(\w+)"', names)) == TYPES
    [meaning] = [key.meaning for key in documented_keys() if key.name == "Type"]
    assert tuple(re.findall(r"`(\w+)`", meaning)) == TYPES


def general(file: str, group: str, key: str) -> tuple[str, str, str]:
    """The place of an example's key, as the page names it."""
    file = re.sub(r"led\d+\.conf", "ledN.conf", file).removesuffix(".wide")
    if group.isdigit():
        return file, "ANGLE", "INTENSITY" if key.isdigit() else key
    if file.endswith("camblock.conf") and group != "i2c_info":
        group = "LED"
    return file, re.sub(r"^LED\.L\d+$", "LED.LN", group), re.sub(r"^(temp_sensor_id)\d+$", r"\1N", key)


def keys_of_example(kind: str) -> Iterator[tuple[str, str, str]]:
    top = EXAMPLES / kind
    for path in top.rglob("*.conf*"):
        group = ""
        for line in path.read_text().splitlines():
            if heading := re.match(r"\[(.*)\]", line):
                group = heading[1]
            elif setting := re.match(r"(\w+)=", line):
                yield general(f"/{path.relative_to(top)}", group, setting[1])


@pytest.mark.parametrize("kind", TYPES)
def test_the_examples_have_documented_keys(kind: str) -> None:
    documented = {key.place for key in documented_keys() if kind in key.types}
    assert set(keys_of_example(kind)) - documented == set()


def kept_members() -> dict[str, set[str]]:
    """The methods and properties that change a key, as the bus interface tells."""
    found: dict[str, set[str]] = {}
    keeping_comments = ElementTree.XMLParser(target=ElementTree.TreeBuilder(insert_comments=True))
    source = REPOSITORY / "data/dbus-1/interfaces/com.velk.LightController.Led.xml"
    for comment in ElementTree.parse(source, keeping_comments).getroot().iter(ElementTree.Comment):
        text = " ".join(comment.text.split())
        if key := re.search(r"Kept: .*?, key (\w+)", text):
            name = text.split(":")[0]
            is_method = f'<method name="{name}">' in source.read_text()
            found.setdefault(key[1], set()).add(f"{name}()" if is_method else name)
    return found


def test_writers_are_those_of_the_bus_interface() -> None:
    written = {key.name: set(key.writers[1:]) for key in documented_keys() if len(key.writers) > 1}
    assert set(written) == literals(r"g_key_file_set_\w+\([^;]*;")
    assert all(key.writers[0] == "image" for key in documented_keys())
    # These two do the same to all LEDs, and apply the manual angle.
    written["intensities"].remove("SetIndividualLEDIntensities()")
    written["angleofillumination"] -= {"the daemon", "AutomaticAngleOfIllumination"}
    assert written == kept_members()


class NoBoard(LedBoard):
    def __init__(self, sandbox: Sandbox) -> None:
        super().__init__(sandbox, [])
        if self.EXAMPLE == "LEDSERIALLINK":
            shutil.copy(os.environ["BEAMD_SERIAL_BACKEND"], sandbox.path("/usr/lib/libserial_link_backend.so"))


WITHOUT_BOARD = [type(name, (NoBoard,), {"EXAMPLE": name}) for name in ("Dummy", "LED2UART", "LEDSERIALLINK")]
WITH_BOARD = [
    OneChannel, TwoChannels, ThreeOutputs, PwmBoard, FisheyeBoard, BacklightBoard, SysfsBoard, ListedLeds, LedPair
]  # fmt: skip
BOARDS = {board.EXAMPLE: board for board in [*WITHOUT_BOARD, *WITH_BOARD]}


def spoilt_files() -> list:
    """Every file missing for every type, and broken for the first of each row."""
    cases = []
    for file, types, outcome in table_with("file", "type of light", "what happens"):
        kinds = ("Dummy",) if types == "all" else named_types(types)
        for kind, how in [(kinds[0], "broken"), *((kind, "missing") for kind in kinds)]:
            told = re.search(rf"{how}: ([^;]+)", outcome)
            path = file.strip("`").replace("ledN", "led0")
            case = (path, BOARDS[kind], how, told[1] if told else outcome)
            cases.append(pytest.param(*case, id=f"{kind}{path}-{how}"))
    return cases


def demand_outcome(outcome: str, bus) -> None:
    """Demands it of light 0 of a daemon that runs."""
    lamp = Light(bus.client)
    if outcome == "not detected":
        demand_no_board(lamp)
        return
    if outcome.startswith("what cannot be read is skipped"):
        assert Controller(bus.client).count() == 0
        return
    assert lamp.get("CardDetected")
    if outcome == "the light is there and cannot be switched":
        lamp.switch(True)
        assert not lamp.is_on()
    else:
        assert outcome in ("nothing but two lines in the log", "the light is never dimmed for its temperature")


@pytest.mark.parametrize("file, board_type, how, outcome", spoilt_files())
def test_what_a_spoilt_file_does(launch, sandbox, bus, board_type, file, how, outcome, request) -> None:
    board = board_type(sandbox)
    sandbox.path(file).unlink()
    if how == "broken":
        sandbox.write(file, "this is no key file\n")
    devices = request.getfixturevalue("devices") if board.NEEDS_DEVICES else None
    running = launch(devices=devices)
    if outcome == "no start":
        running.wait_for_exit(1)
        return
    running.wait_until_ready()
    demand_outcome(outcome, bus)


def test_the_worked_example(launch, sandbox, bus, power_daemon, temperature_service) -> None:
    board = OneChannel(sandbox)
    for path in ("led0.conf", "beamd.conf", "illumination.conf", "dimming.conf"):
        sandbox.path(f"/etc/beamd/{path}").unlink()
    sandbox.path("/usr/share/beamd/led0.conf").unlink()
    files = worked_example()
    assert len(files) == 5
    for path, content in files.items():
        sandbox.write(path, content)
    board.configure("dimming.conf", sample_time=1)
    board.heat(0, 45)
    temperature_service.set_sensors(board.SENSORS)
    temperature_service.start()
    power_daemon.start()
    launch().wait_until_ready()
    lamp = Light(bus.client)
    lamp.switch(True)
    assert power_daemon.requests() == [("led0", "normal", pytest.approx(1.0))]
    lamp.call("SetPower", "(d)", 0.75)
    board.wait_for(["37"])
    lamp.call("SetPower", "(d)", 1.0)
    board.wait_for(["50"])


def test_the_worked_example_when_it_is_hot(launch, sandbox, bus, temperature_service) -> None:
    board = OneChannel(sandbox)
    for path, content in worked_example().items():
        sandbox.write(path, content)
    board.configure("dimming.conf", sample_time=1)
    board.heat(0, 55)
    temperature_service.set_sensors(board.SENSORS)
    temperature_service.start()
    launch().wait_until_ready()
    lamp = Light(bus.client)
    lamp.call("SetPower", "(d)", 1.0)
    lamp.switch(True)
    board.wait_for(["25"])
