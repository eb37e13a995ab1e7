"""Who may do what on the bus: everybody looks, group light changes lights, the power user grants power."""

from __future__ import annotations

import os
from pathlib import Path

import pytest

from beamd_testing.installation import install_dummies
from beamd_testing.services import COMMON, CONTROLLER, LEGACY, ZOOM, Light, interface_of, light_path

REPOSITORY = Path(__file__).resolve().parent.parent.parent
TEMPLATE = REPOSITORY / "data/dbus-1/system.d/com.velk.LightController.conf.in"
PROPERTIES = "org.freedesktop.DBus.Properties"
NAME = "com.velk.LightController"
LIGHT = light_path(0)

# Members of the light, with their arguments.
READING = {
    "GetIntensity": [],
    "GetLightStatus": [],
    "GetEnabled": [],
    "GetEnableSyncDayNight": [],
    "GetLEDType": [],
    "GetIndividualLEDIntensities": ["manual"],
    "GetNumberOfLEDs": [],
    "GetValidIntensities": [],
    "GetCurrentAngleOfIllumination": [],
    "GetValidAngleOfViews": [],
}
CHANGING = {
    "ActivateLight": [True],
    "SetManualOn": [True],
    "SetIntensity": [20],
    "SetEnabled": [False],
    "SetEnableSyncDayNight": [False],
    "SetIndividualLEDIntensities": ["@ai []", "manual"],
    "ChangeAngleOfIllumination": [20],
}
PROPERTY_VALUES = {
    "SyncDayNight": "<true>",
    "ManualSetIntensity": "<7>",
    "AutomaticIntensity": "<true>",
    "AutomaticAngleOfIllumination": "<false>",
    "ManualSetAngleOfIllumination": "<11>",
}


class Caller:
    """Somebody on the bus."""

    def __init__(self, bus, user: str, group: str | None = None) -> None:
        self.bus = bus
        self.user = user
        self.group = group

    def may(self, path: str, interface: str, method: str, *arguments, **options) -> bool:
        """Calls it. False when the bus refuses; anything but that or a reply is an error."""
        status, output = self.bus.call_as(
            self.user, path, interface, method, *arguments, group=self.group, **options
        )
        if status == 0:
            return True
        assert "org.freedesktop.DBus.Error.AccessDenied" in output, output
        return False

    def may_use(self, member: str, *arguments) -> bool:
        return self.may(LIGHT, interface_of(member), member, *map(_text, arguments))

    def allowed(self, members: dict) -> set[str]:
        return {member for member, arguments in members.items() if self.may_use(member, *arguments)}

    def allowed_to_write(self) -> set[str]:
        written = PROPERTY_VALUES.items()
        return {
            key for key, value in written if self.may(LIGHT, PROPERTIES, "Set", interface_of(key), key, value)
        }

    def may_own_the_name(self) -> bool:
        bus = "org.freedesktop.DBus"
        return self.may("/org/freedesktop/DBus", bus, "RequestName", NAME, 0, name=bus)


def _text(value) -> str:
    return str(value).lower() if isinstance(value, bool) else str(value)


@pytest.fixture
def served(daemon, sandbox):
    install_dummies(sandbox, {})
    daemon()


def state(bus, sandbox) -> tuple:
    light = Light(bus.client)
    values = [light.call(member) for member in ("GetIntensity", "GetEnabled", "GetLightStatus")]
    return values, light.call("GetEnableSyncDayNight"), sandbox.read("/etc/beamd/led0.conf")


def test_nobody_looks_and_changes_nothing(served, bus, sandbox):
    nobody = Caller(bus, "nobody")
    before = state(bus, sandbox)
    assert nobody.allowed(READING) == set(READING)
    for path, interface in [(CONTROLLER, COMMON), (CONTROLLER, LEGACY), (LIGHT, COMMON), (LIGHT, ZOOM)]:
        assert nobody.may(path, PROPERTIES, "GetAll", interface)
    assert nobody.may(LIGHT, PROPERTIES, "Get", COMMON, "SyncDayNight")
    assert nobody.may(LIGHT, "org.freedesktop.DBus.Introspectable", "Introspect")
    assert nobody.may(LIGHT, "org.freedesktop.DBus.Peer", "Ping")
    assert nobody.may(CONTROLLER, COMMON, "GetNbrOfLEDs") and nobody.may(CONTROLLER, COMMON, "GetAllLED")
    assert nobody.allowed(CHANGING) == set()
    assert nobody.allowed_to_write() == set()
    assert not nobody.may_use("SetIndividualLEDIntensity", 0, 1, "manual")
    assert not nobody.may_use("SetPower", 1.0)
    assert state(bus, sandbox) == before


@pytest.mark.parametrize("user, group", [("nobody", "light"), ("root", None)])
def test_group_light_and_root_change_lights(served, bus, user, group):
    caller = Caller(bus, user, group)
    assert caller.allowed(CHANGING) == set(CHANGING)
    assert caller.allowed_to_write() == set(PROPERTY_VALUES)
    assert caller.allowed(READING) == set(READING)
    light = Light(bus.client)
    assert not light.call("GetEnabled") and light.get("SyncDayNight")
    assert light.get("ManualSetAngleOfIllumination") == 11


def test_only_root_grants_power(served, bus):
    assert Caller(bus, "root").may_use("SetPower", 1.0)
    for user, group in [("nobody", "light"), ("light", "light"), ("nobody", None)]:
        assert not Caller(bus, user, group).may_use("SetPower", 1.0)


class TestPowerUser:
    @pytest.fixture
    def bus_policies(self, tmp_path) -> list[Path]:
        policy = tmp_path / "com.velk.LightController.conf"
        policy.write_text(TEMPLATE.read_text().replace("@POWER_USER@", "nobody"))
        return [policy]

    def test_the_one_named_at_build_time_grants_power_and_no_more(self, served, bus):
        power_user = Caller(bus, "nobody")
        assert power_user.may_use("SetPower", 1.0)
        assert power_user.allowed(CHANGING) == set()
        assert power_user.allowed_to_write() == set()
        assert Caller(bus, "root").may_use("SetPower", 1.0)
        assert not Caller(bus, "light", "light").may_use("SetPower", 1.0)


def test_only_root_and_light_own_the_name(bus):
    owners = [("root", None), ("light", None), ("nobody", None), ("nobody", "light"), ("messagebus", None)]
    assert [Caller(bus, *owner).may_own_the_name() for owner in owners] == [True, True, False, False, False]


def test_policy_under_test_is_the_one_built():
    """As the power daemon's user is root unless somebody chose otherwise."""
    built = Path(os.environ["BEAMD_BUS_POLICY"]).read_text()
    assert built == TEMPLATE.read_text().replace("@POWER_USER@", "root")
