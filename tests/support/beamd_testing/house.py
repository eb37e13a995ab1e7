"""A camera with a light of each type and all the peers they have."""

from __future__ import annotations

import os

from . import layout
from .camera_block import CAMERA_BLOCK, DEVICE
from .configuration import beamd_conf, key_file, light_defaults, light_state
from .coordinator import Coordinator
from .installation import BEAMD_CONF, defaults_path, state_path
from .services import Light
from .units import INTENSITY, ROWS, SENSOR, UNITS, Camblock, TwoLedCamblock, Unit


class House:
    """A light of each type, with the hardware of all of them and all peers."""

    def __init__(self, sandbox, bus, devices, power_daemon, temperature_service) -> None:
        self.sandbox = sandbox
        self.bus = bus
        self.devices = devices
        self.power_daemon = power_daemon
        self.temperature_service = temperature_service
        self.coordinator = Coordinator(bus)
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
