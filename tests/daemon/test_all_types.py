"""One daemon with a light of each type: whatever happens to one of them leaves the others as they are."""

from __future__ import annotations

import errno
import os
import shutil
import time
from math import floor

import pytest

from beamd_testing import layout
from beamd_testing import syslog as log
from beamd_testing.bus_client import BusError
from beamd_testing.camera_block import CAMERA_BLOCK, DEVICE, enable_register, register_name, single
from beamd_testing.configuration import beamd_conf, key_file, light_defaults, light_state
from beamd_testing.installation import BEAMD_CONF, defaults_path, state_path
from beamd_testing.peers import Peer
from beamd_testing.services import Controller, Light, announced, events
from beamd_testing.timeline import TIMEOUT

INTENSITY = 100
FACTOR = single(0.001)  # watts per milliwatt
ROWS = {0: (400, 200), 50: (300, 300), 100: (200, 400)}  # of two LEDs, at full intensity
SENSOR = 3
CALLS = "/run/serial_backend.calls"

TERMINATING = (log.INFO, "Terminating")
WATTD_DOWN = (log.INFO, "Can not request at wattd: wattd is down")
NOT_SENT = (log.ERR, "Failed to send aux command to ptz")
NOT_DEACTIVATED = (log.ERR, "Unable to deactivate light")
AT_START = [
    (log.INFO, "No optics bootblock parameter found - using default config"),
    (log.WARNING, "Expected at most 2 temperature sensors, but found 1."),
]


class Unit:
    """What belongs to one light: its hardware, and what is done to it when the light is switched."""

    TYPE: str
    KIND = "IR"
    HAS_ZOOM = False
    SETTINGS: dict[str, object] = {}
    BASEPATH = "/dev/null"

    def __init__(self, house: House, number: int) -> None:
        self.house = house
        self.number = number
        self.watts = 0.0
        self.angle = 50
        self.basepath = self.BASEPATH.replace("#", str(number))
        self.make()

    def make(self) -> None:
        """Makes the hardware."""

    def asks(self) -> float:
        """The watts that the light needs."""
        return INTENSITY / 1000

    def deeds(self, on: bool, is_hot: bool = False) -> list:
        """What is done when the light is switched, or switched again. The unit is in that state then."""
        return []

    def take(self) -> list:
        """What has been done since the last look."""
        return []


class FileUnit(Unit):
    """Its files hold what was written to them since the last look, none of it twice."""

    FILES: list[str]
    CONTENT = ""  # at first

    def make(self) -> None:
        for path in self.files():
            self.house.device_file(path, self.CONTENT)

    def files(self) -> list[str]:
        return [self.path(name) for name in self.FILES]

    def path(self, name: str) -> str:
        return f"{self.basepath}/{name}"

    def take(self) -> list[str]:
        contents = []
        for path in self.files():
            contents.append(self.house.sandbox.read(path).rstrip("\0"))
            self.house.sandbox.path(path).write_text("")
        return contents if any(contents) else []

    def levels(self) -> list[int]:
        raise NotImplementedError

    def deeds(self, on: bool, is_hot: bool = False) -> list[str]:
        levels = self.levels()
        return [str(level if on and not is_hot else 0) for level in levels]


def limited(levels: tuple[int, ...], watts: float) -> list[int]:
    """The levels step down by one, two, three hundredths and so on of what is left, until they fit."""
    factor, left = 1.0, list(levels)
    while True:
        left = [int(level * factor) for level in left]
        factor = max(factor - 0.01, 0.0)
        if single(sum(left) * FACTOR) <= watts or not any(left):
            return left


class TwoChannels(FileUnit):
    TYPE = "LED2I2C"
    HAS_ZOOM = True
    BASEPATH = "/sys/devices/platform/board#"
    FILES = ["led0", "led1"]

    def make(self) -> None:
        super().make()
        self.house.sandbox.write(f"{self.basepath}/QXID", "1")

    def asks(self) -> float:
        return sum(ROWS[self.angle]) * FACTOR

    def levels(self) -> list[int]:
        return limited(ROWS[self.angle], self.watts)


class OneChannel(TwoChannels):
    TYPE = "LED1I2C"
    HAS_ZOOM = False
    FILES = ["led0"]

    def asks(self) -> float:
        return single(INTENSITY * FACTOR)

    def levels(self) -> list[int]:
        hundredths = 1.0
        while self.watts < self.asks() * hundredths and self.asks() * hundredths > 0:
            hundredths -= 0.01
        return [int(INTENSITY * hundredths)]


class ThreeOutputs(TwoChannels):
    TYPE = "Tarsil"
    FILES = ["led0", "led1", "led2"]

    def make(self) -> None:
        super().make()
        self.house.sandbox.write("/var/run/poeclass", "3")

    def asks(self) -> float:
        return single(sum(self.outputs(2)) * 0.0018)

    def outputs(self, column: int) -> tuple[int, int, int]:
        outer, inner = (level * column // 2 for level in ROWS[self.angle])
        return outer, inner, outer

    def levels(self) -> list[int]:
        fitting = (column for column in (2, 1) if sum(self.outputs(column)) * 0.0018 <= self.watts)
        return list(self.outputs(next(fitting, 0)))


class Pwm(FileUnit):
    TYPE = "LED1PWM"
    BASEPATH = "/sys/class/pwm/pwmchip#"
    FILES = ["pwm1/duty_cycle", "pwm1/period", "pwm1/enable"]
    PERIOD, DUTY_HIGH, DUTY_LOW = 100000, 90000, 10000

    def make(self) -> None:
        super().make()
        self.last = 0
        self.house.device_file(f"{self.basepath}/export")
        timing = {"ld_period": self.PERIOD, "duty_high": self.DUTY_HIGH, "duty_low": self.DUTY_LOW}
        self.house.sandbox.write("/etc/beamd/pwm.conf", key_file({"pwm": timing}))

    def deeds(self, on: bool, is_hot: bool = False) -> list[str]:
        percent = min(INTENSITY, int(self.watts * 1000)) if on and not is_hot else 0
        duty = self.DUTY_LOW + self.DUTY_HIGH - self.DUTY_HIGH * percent // 100
        enable = str(int(on))
        if on and percent != self.last:  # stopped, started and enabled once more from the beginning of the file
            self.last, enable = percent, "11"
        return [str(duty), str(self.PERIOD), enable]


class Backlight(FileUnit):
    TYPE = "LEDBL"
    BASEPATH = "/sys/class/backlight/lamp#_%d"
    FILES = ["brightness"]

    def files(self) -> list[str]:
        folders = [self.basepath.replace("%d", str(led)) for led in (0, 1)]
        lines = [f"/sys/class/gpio/ir_led_{self.number}_{line}/value" for line in (0, 1)]
        return [f"{folder}/brightness" for folder in folders] + lines

    def make(self) -> None:
        super().make()
        for led in (0, 1):
            self.house.device_file(self.basepath.replace("%d", str(led)) + "/bl_power")
            for name in ("direction", "edge", "uevent", "active_low"):
                self.house.device_file(f"/sys/class/gpio/ir_led_{self.number}_{led}/{name}", "0")

    def asks(self) -> float:
        return 2 * INTENSITY / 1000

    def deeds(self, on: bool, is_hot: bool = False) -> list[str]:
        budget = int(self.watts * 1000) if on else 0
        # What the regulator takes off is one LED's power, of a budget for both.
        level = min(max(floor(0.5 * (budget - (INTENSITY if is_hot else 0))), 0), INTENSITY) if budget else 0
        return [str(level)] * 2 + [str(int(level > 0))] * 2


class Fisheye(FileUnit):
    TYPE = "LEDFISHEYEI2C"
    BASEPATH = "/sys/class/leds/fisheye#_%d/power"
    CONTENT = "7"

    def files(self) -> list[str]:
        return [self.basepath.replace("%d", str(led)) for led in (0, 1)]

    def asks(self) -> float:
        return 2 * INTENSITY / 1000

    def levels(self) -> list[int]:
        return [min(int(self.watts * 1000 * 0.5), INTENSITY)] * 2


class Sysfs(Fisheye):
    TYPE = "LEDSYSFS"
    HAS_ZOOM = True
    BASEPATH = "/sys/class/leds/lens#_%d/brightness"

    def asks(self) -> float:
        return single(sum(ROWS[self.angle]) * FACTOR)

    def levels(self) -> list[int]:
        levels, allowed = ROWS[self.angle], int(self.watts / FACTOR)
        total = sum(levels)
        return [int(each / total * allowed) if total > allowed else each for each in levels]


class Camblock(TwoChannels):
    TYPE = "LEDCAMBLOCKI2C"
    BASEPATH = "/dev/null"
    FULL_SCALE = 400
    SETTINGS = {"intensityHIGH": FULL_SCALE}
    FIRST_REGISTER = 0x10

    def make(self) -> None:
        self.is_enabled = False
        self.mark = 0

    def deeds(self, on: bool, is_hot: bool = False) -> list[tuple[int, ...]]:
        levels = self.levels() if on else [0, 0]
        registers = [(self.FIRST_REGISTER + 2 * led, self.FIRST_REGISTER + 2 * led + 1) for led in (0, 1)]
        if not any(levels):
            self.is_enabled = False
            return [(*CAMERA_BLOCK, enable, 0) for enable, _ in registers]
        writes = []
        for (enable, power), level in zip(registers, levels):
            writes += [] if self.is_enabled else [(*CAMERA_BLOCK, enable, 1)]
            given = 0 if is_hot else int(single(single(255 / self.FULL_SCALE) * level))
            writes.append((*CAMERA_BLOCK, power, given))
        self.is_enabled = True
        return writes

    def take(self) -> list[tuple[int, ...]]:
        writes = self.house.devices.register_writes(self.mark)
        self.mark = self.house.bus.timeline.now()
        own = range(self.FIRST_REGISTER, self.FIRST_REGISTER + 4)
        return [each for each in writes if each[3] in own]


class TwoLedCamblock(Camblock):
    TYPE = "LED2CAMBLOCKI2C"
    FIRST_REGISTER = 0x20


class Ptz(Unit):
    TYPE = "LED2UART"

    def make(self) -> None:
        self.mark = 0

    def deeds(self, on: bool, is_hot: bool = False) -> list[tuple]:
        return [("Administrator", 0, "tt:LightIR|On" if on else "tt:LightIR|Off")]

    def take(self) -> list[tuple]:
        commands = self.house.coordinator.calls("Auxiliary", self.mark)
        self.mark = self.house.bus.timeline.now()
        return commands


class SerialLink(Unit):
    TYPE = "LEDSERIALLINK"
    SETTINGS = {"expander_type": 2}

    def make(self) -> None:
        built = os.environ.get("BEAMD_SERIAL_BACKEND")
        assert built, "BEAMD_SERIAL_BACKEND names a built library of serial links; it is not set"
        shutil.copy(built, self.house.sandbox.path("/usr/lib/libserial_link_backend.so"))
        self.house.sandbox.write(CALLS, "", owner=(layout.USERS["light"][0], 0))

    def deeds(self, on: bool, is_hot: bool = False) -> list[str]:
        return [f"set_light {self.number} {int(on)}"]

    def take(self) -> list[str]:
        calls = self.house.sandbox.read(CALLS).splitlines()
        self.house.sandbox.path(CALLS).write_text("")
        return calls


class Dummy(Unit):
    TYPE = "Dummy"
    KIND = "White"
    HAS_ZOOM = True
    BASEPATH = "/usr/share/beamd/dummy"

    def make(self) -> None:
        self.house.sandbox.write(f"{self.basepath}/QXID", "1")

    def asks(self) -> float:
        return sum(ROWS[self.angle]) * FACTOR


UNITS = [
    TwoChannels,
    Ptz,
    ThreeOutputs,
    Camblock,
    OneChannel,
    SerialLink,
    Pwm,
    Sysfs,
    Backlight,
    Dummy,
    Fisheye,
    TwoLedCamblock,
]


class House:
    """A light of each type, with the hardware of all of them and all peers."""

    def __init__(self, sandbox, bus, devices, power_daemon, temperature_service) -> None:
        self.sandbox = sandbox
        self.bus = bus
        self.devices = devices
        self.power_daemon = power_daemon
        self.temperature_service = temperature_service
        name = "com.velk.PTZ.Coordinator"
        self.coordinator = Peer(bus, name, "/com/velk/PTZ/Coordinator/1", name)
        self.coordinator.answer("Auxiliary", "sis")
        temperature_service.set_sensors({"Board": SENSOR})
        self.heat(40.0)
        self.make_bus()
        self.units = [unit(self, number) for number, unit in enumerate(UNITS)]
        self.configure(3600)

    def configure(self, sample_time: int) -> None:
        write = self.sandbox.write
        write(BEAMD_CONF, beamd_conf([unit.TYPE for unit in UNITS]))
        table = {"info": {"leds": 2, "angle_div": 50, "intensity_div": 50}}
        table |= {
            str(angle): {str(part): [level * part // 100 for level in levels] for part in (0, 50, 100)}
            for angle, levels in ROWS.items()
        }
        write("/etc/beamd/illumination.conf", key_file(table))
        regulator = {"enabled": True, "sample_time": sample_time, "temp_sensor_id": "Board", "ref_temp": 60}
        regulator |= {"k_p": 0.1, "k_i": 0, "k_d": 0}
        write("/etc/beamd/dimming.conf", key_file({"regulator": regulator}))
        write("/etc/beamd/camblock.conf", self.camblock_conf())
        for unit in self.units:
            write(state_path(unit.number), self.state(unit))
            write(defaults_path(unit.number), light_defaults({"common": {"basepath": unit.basepath}}))

    def camblock_conf(self) -> str:
        _, slave, subdevice = CAMERA_BLOCK
        info = {"camblockI2Cbus": 0, "camblockI2Caddress": slave, "camblocksubdevice": subdevice}
        leds = {}
        for led in (0, 1):
            enable = TwoLedCamblock.FIRST_REGISTER + 2 * led
            info[f"camblocksubdevice_led{led}_enable_disable_reg"] = enable
            info[f"camblocksubdevice_led{led}_power_reg"] = enable + 1
            enable = Camblock.FIRST_REGISTER + 2 * led
            leds[f"led{led}"] = {"enable_disable_reg": enable, "power_reg": enable + 1}
        return key_file({"i2c_info": info, **leds})

    def state(self, unit: Unit) -> str:
        common = dict.fromkeys(["automaticintensity", "manualintensity", "intensities"])
        common |= {"intensity": INTENSITY, "individualintensitysupport": False, "max_brightness_level": 100}
        common |= {"usepowerrequest": True, "powerusagefactor": 0.001, "ledtype": unit.KIND, **unit.SETTINGS}
        zoom = {"angleofillumination": 50, "angleofilluminationLOW": 0, "angleofilluminationHIGH": 100}
        return light_state({"common": common, "zoom": zoom if unit.HAS_ZOOM else None})

    def make_bus(self) -> None:
        self.devices.add_bus(0)
        os.chown(self.sandbox.path(DEVICE), 0, layout.GROUPS["lightfiles"][0])
        self.sandbox.path(DEVICE).chmod(0o660)

    def device_file(self, path: str, content: str = "") -> None:
        self.sandbox.write(path, content, mode=0o664, owner=(layout.USERS["nobody"][0], 0))

    def heat(self, celsius: float) -> None:
        path = f"/sys/class/thermal/thermal_zone{SENSOR}/temp"
        self.sandbox.write(f"{path}.new", f"{round(celsius * 1000)}\n")
        self.sandbox.path(f"{path}.new").rename(self.sandbox.path(path))

    def start_peers(self) -> None:
        for peer in (self.temperature_service, self.coordinator, self.power_daemon):
            peer.start()

    def light(self, unit: Unit) -> Light:
        return Light(self.bus.client, unit.number)

    def unit(self, kind: type[Unit]) -> Unit:
        return self.units[UNITS.index(kind)]

    def demand(self, *done: tuple[Unit, list]) -> None:
        """Demands that this, and nothing else to any light, has been done since the last look."""
        expected = {unit.number: deeds for unit, deeds in done}
        found = {unit.number: unit.take() for unit in self.units}
        assert {number: deeds for number, deeds in found.items() if deeds} == {
            number: deeds for number, deeds in expected.items() if deeds
        }

    def grant(self, unit: Unit, watts: float) -> None:
        unit.watts = watts
        self.light(unit).call("SetPower", "(d)", watts)

    def share(self, budget: float, units: list[Unit]) -> None:
        """Gives the lights what they ask for, in this order, until nothing is left."""
        for unit in units:
            watts = min(unit.asks(), budget)
            budget -= watts
            self.grant(unit, watts)
            self.demand((unit, unit.deeds(True)))

    def requests(self, after: int) -> list[tuple[str, str, float]]:
        return self.power_daemon.requests(after)


def request(unit: Unit, on: bool = True) -> tuple[str, str, float]:
    return (f"led{unit.number}", "normal" if on else "off", pytest.approx(unit.asks() if on else 0.0))


@pytest.fixture
def house(sandbox, bus, devices, power_daemon, temperature_service) -> House:
    return House(sandbox, bus, devices, power_daemon, temperature_service)


@pytest.fixture
def start(launch, house):
    """Starts the daemon, and demands that all lights are there and dark."""

    def start():
        house.start_peers()
        running = launch(devices=house.devices).wait_until_ready()
        house.devices.wait_for("subscribe zoom")
        serial = house.unit(SerialLink)
        loaded = ["create", "initialise 0", f"probe {serial.number} 2"]
        started = [(unit, unit.deeds(False)) for unit in house.units if unit is not serial]
        house.demand(*started, (serial, loaded + serial.deeds(False)))
        return running

    return start


def switch_all_on(house: House) -> None:
    for unit in house.units:
        mark = house.bus.timeline.now()
        house.light(unit).switch(True)
        house.demand((unit, unit.deeds(True)))
        assert house.requests(mark) == [request(unit)]
        assert events(house.bus, mark) == announced("ON", unit.number, unit.KIND)
    assert all(house.light(unit).is_on() for unit in house.units)


def zoom_all(house: House, angle: int) -> None:
    for unit in house.units:
        mark = house.bus.timeline.now()
        if unit.HAS_ZOOM:
            house.light(unit).call("ChangeAngleOfIllumination", "(i)", angle)
            unit.angle = angle
            house.demand((unit, unit.deeds(True)))
            assert house.requests(mark) == [request(unit)]
            assert f"\nangleofillumination={angle}\n" in house.sandbox.read(state_path(unit.number))
        else:
            with pytest.raises(BusError) as refusal:
                house.light(unit).call("ChangeAngleOfIllumination", "(i)", angle)
            assert refusal.value.message == "Angle of illumination is not supported"
            house.demand()


def turn_lens(house: House, angle: int) -> None:
    unit = house.unit(Sysfs)
    mark = house.bus.timeline.now()
    unit.angle = angle
    house.devices.set_field_of_view(angle)
    deadline = time.monotonic() + TIMEOUT
    while not house.sandbox.read(unit.files()[-1]):
        assert time.monotonic() < deadline, "the light does not follow the lens"
        time.sleep(0.005)
    house.demand((unit, unit.deeds(True)))
    assert house.requests(mark) == []


def restart_power_daemon(house: House, syslog) -> None:
    house.power_daemon.stop()
    unit = house.unit(TwoChannels)
    mark = house.bus.timeline.now()
    house.light(unit).call("SetIntensity", "(i)", INTENSITY)
    house.demand((unit, unit.deeds(True)))
    assert syslog.texts(after=mark) == [WATTD_DOWN]

    mark = house.bus.timeline.now()
    house.power_daemon.start()
    deadline = time.monotonic() + TIMEOUT
    while len(house.requests(mark)) < len(house.units):
        assert time.monotonic() < deadline, "not every light asks again"
        time.sleep(0.02)
    assert sorted(name for name, *_ in house.power_daemon.registrations(mark)) == sorted(
        f"led{unit.number}" for unit in house.units
    )
    asked = {name: rest for name, *rest in house.requests(mark)}
    assert asked == {name: rest for name, *rest in map(request, house.units)}
    house.demand()


def restart_coordinator(house: House, syslog) -> None:
    house.coordinator.stop()
    unit = house.unit(Ptz)
    mark = house.bus.timeline.now()
    assert house.light(unit).call("ActivateLight", "(b)", False) is None
    assert house.light(unit).is_on()
    assert syslog.texts(after=mark) == [NOT_SENT, NOT_DEACTIVATED]
    assert events(house.bus, mark) == [] and house.requests(mark) == []
    house.coordinator.start()
    unit.take()
    for on in (False, True):
        house.light(unit).switch(on)
        house.demand((unit, unit.deeds(on)))


def break_bus(house: House, syslog) -> None:
    """Both lights on the camera block fail; the other ones do not hear of it."""
    unit = house.unit(Camblock)
    register = register_name(enable_register(1))
    house.devices.fail(f"writing {register}", errno.EIO)
    mark = house.bus.timeline.now()
    house.light(unit).switch(False)
    assert house.light(unit).is_on()
    house.demand((unit, unit.deeds(False)[:1]))
    assert (log.ERR, "Write failure shut to LED:1") in syslog.texts(after=mark)
    house.devices.fail(f"writing {register}", 0)
    for on in (False, True):
        house.light(unit).switch(on)
        house.demand((unit, unit.deeds(on)))


def test_lights_do_not_meet(house, start, bus, syslog):
    running = start()
    controller = Controller(bus.client)
    assert controller.count() == len(UNITS) and controller.is_available()
    assert [each[:2] for each in controller.lights()] == [(f"led{unit.number}", unit.KIND) for unit in house.units]
    assert len(house.power_daemon.registrations()) == len(UNITS)
    assert syslog.texts() == AT_START

    switch_all_on(house)
    half = sum(unit.asks() for unit in house.units) / 2
    house.share(half, house.units)
    zoom_all(house, 100)
    turn_lens(house, 0)
    house.share(0.0, house.units)
    house.share(half, house.units[::-1])
    restart_power_daemon(house, syslog)
    house.temperature_service.stop()
    restart_coordinator(house, syslog)
    house.temperature_service.start()
    break_bus(house, syslog)
    house.share(2 * half, house.units)

    mark = bus.timeline.now()
    running.stop()
    serial = house.unit(SerialLink)
    ended = [(unit, unit.deeds(False)) for unit in house.units if unit is not serial]
    house.demand(*ended, (serial, serial.deeds(False) + ["unload"]))
    assert "unsubscribe 1" in house.devices.reports(mark)
    assert syslog.texts(after=mark) == [TERMINATING]
    assert events(bus, mark) == []


def last_values(house: House, unit: Unit, mark: int) -> list:
    """What stands in the unit's files or power registers."""
    if isinstance(unit, Camblock):
        values = {each[3]: each[4] for each in house.devices.register_writes(mark)}
        return [values.get(unit.FIRST_REGISTER + offset) for offset in (1, 3)]
    return unit.take()


def wanted_values(unit: Unit, is_hot: bool) -> list:
    deeds = unit.deeds(True, is_hot)
    return [write[4] for write in deeds if write[3] % 2] if isinstance(unit, Camblock) else deeds


def demand_ticks(house: House, is_hot: bool, mark: int) -> None:
    """Waits until each light that has a regulator has done what that temperature asks for."""
    waiting = {
        unit: wanted_values(unit, is_hot) for unit in house.units if isinstance(unit, (FileUnit, Camblock))
    }
    deadline = time.monotonic() + TIMEOUT
    while waiting:
        for unit, wanted in list(waiting.items()):
            # The PWM channel may have been enabled again before it was looked at.
            found = last_values(house, unit, mark)
            if found[:2] == wanted[:2]:
                del waiting[unit]
        assert time.monotonic() < deadline, f"{[unit.TYPE for unit in waiting]} do not follow the temperature"
        time.sleep(0.02)


def test_all_boards_get_hot_and_cool_down(house, start, syslog, temperature_service):
    house.configure(1)
    running = start()
    for unit in house.units:
        house.grant(unit, unit.asks() + 0.0005)
        house.light(unit).switch(True)
    for unit in house.units:
        unit.take()
    mark = house.bus.timeline.now()
    house.heat(150.0)  # above what is to be kept after a single reading
    demand_ticks(house, True, mark)
    temperature_service.stop()
    mark = house.bus.timeline.now()
    house.heat(-1000.0)
    demand_ticks(house, False, mark)
    running.stop()
    assert syslog.texts() == [*AT_START, TERMINATING]
