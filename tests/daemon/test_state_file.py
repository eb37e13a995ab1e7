"""A light's state file and defaults file: what a bad one leads to."""

from __future__ import annotations

import pytest

from beamd_testing import syslog as log
from beamd_testing.bus_client import BusError
from beamd_testing.configuration import light_state
from beamd_testing.installation import defaults_path, install_dummies, state_path
from beamd_testing.services import Controller, Light, light_path

STATE = state_path(0)
DEFAULTS = defaults_path(0)
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
NO_GROUP = "Key file does not have group “common”"
NO_BASEPATH = (log.ERR, f"Failed to get basepath: {NO_GROUP}")
GARBAGE = bytes(range(256)) * 40


@pytest.fixture
def refuses(launch, sandbox, syslog):
    """Starts the daemon; returns its log up to the line that ends it."""

    def refuses() -> list[tuple[int, str]]:
        launch().wait_for_exit(1)
        *lines, last = syslog.texts()
        assert last == SETUP_FAILED
        return lines

    return refuses


def uninterpretable(key: str, group: str = "common", switch: bool = False) -> str:
    """GLib's message for a number or, without the group, for a switch."""
    where = "" if switch else f" in group “{group}”"
    return f"Key file contains key “{key}”{where} which has a value that cannot be interpreted."


def missing(key: str, group: str = "common") -> str:
    return f"Key file does not have key “{key}” in group “{group}”"


class TestBadStateFile:
    @pytest.fixture(autouse=True)
    def installed(self, sandbox):
        install_dummies(sandbox, {})

    def test_missing(self, refuses, sandbox):
        sandbox.path(STATE).unlink()
        unable = f"could not open {STATE}: No such file or directory"
        assert refuses() == [(log.ERR, unable), (log.ERR, NO_GROUP)]
        assert not sandbox.path(STATE).exists()

    def test_folder(self, refuses, sandbox):
        sandbox.path(STATE).unlink()
        sandbox.path(STATE).mkdir()
        assert refuses() == [(log.ERR, "failed reading file"), (log.ERR, NO_GROUP)]

    def test_empty(self, refuses, sandbox):
        sandbox.write(STATE, "")
        assert refuses() == [(log.ERR, NO_GROUP)]

    @pytest.mark.parametrize(
        "content",
        [
            GARBAGE,
            GARBAGE * 1000,
            light_state().encode() + b"no key\n",
            b"\xef\xbb\xbf" + light_state().encode(),
        ],
        ids=["garbage", "ten megabytes", "one bad line", "byte order mark"],
    )
    def test_unreadable(self, refuses, sandbox, content):
        sandbox.write(STATE, content)
        assert refuses() == [(log.ERR, "Could not load data to GKeyFile"), (log.ERR, NO_GROUP)]
        assert sandbox.path(STATE).read_bytes() == content

    def test_ten_megabytes(self, daemon, sandbox, bus, syslog):
        sandbox.write(STATE, light_state() + "# comment\n" * 1_000_000)
        daemon()
        assert Light(bus.client).call("GetLEDType") == "IR"
        assert syslog.texts() == []


class TestBadDefaultsFile:
    @pytest.fixture(autouse=True)
    def installed(self, sandbox):
        install_dummies(sandbox, {})

    @pytest.fixture
    def serves_after(self, daemon, bus, syslog):
        def serves_after(*lines: tuple[int, str]) -> None:
            daemon()
            assert Controller(bus.client).count() == 1
            assert syslog.texts()[: len(lines)] == list(lines)

        return serves_after

    def test_missing(self, serves_after, sandbox):
        sandbox.path(DEFAULTS).unlink()
        serves_after((log.INFO, f"could not open {DEFAULTS}: No such file or directory"), NO_BASEPATH)

    def test_folder(self, serves_after, sandbox):
        sandbox.path(DEFAULTS).unlink()
        sandbox.path(DEFAULTS).mkdir()
        serves_after((log.ERR, "failed reading file"), NO_BASEPATH)

    def test_empty(self, serves_after, sandbox):
        sandbox.write(DEFAULTS, "")
        serves_after(NO_BASEPATH)

    def test_without_the_key(self, serves_after, sandbox):
        sandbox.write(DEFAULTS, "[common]\nother=1\n")
        serves_after(
            (log.ERR, "Failed to get basepath: Key file does not have key “basepath” in group “common”")
        )

    @pytest.mark.parametrize("content", [GARBAGE, GARBAGE * 1000], ids=["garbage", "ten megabytes"])
    def test_unreadable(self, serves_after, sandbox, content):
        sandbox.write(DEFAULTS, content)
        serves_after((log.ERR, "Could not load data to GKeyFile"), NO_BASEPATH)

    def test_ten_megabytes(self, daemon, sandbox, bus, syslog):
        path = sandbox.path(DEFAULTS)
        path.write_text(path.read_text() + "# comment\n" * 1_000_000)
        daemon()
        assert Controller(bus.client).count() == 1
        assert syslog.texts() == []


class TestKeys:
    @pytest.mark.parametrize(
        "group, key, value",
        [
            *[
                ("common", key, "yes")
                for key in ("enable", "syncdaynight", "automaticintensity", "usepowerrequest")
            ],
            *[("common", key, "2") for key in ("usemanualoverride", "individualintensitysupport")],
            ("zoom", "automaticangleofillumination", "on"),
        ],
    )
    def test_wrong_switch(self, refuses, sandbox, group, key, value):
        install_dummies(sandbox, {group: {key: value}})
        before = sandbox.read(STATE)
        assert refuses() == [(log.ERR, uninterpretable(key, switch=True))]
        assert sandbox.read(STATE) == before

    @pytest.mark.parametrize(
        "group, key, value",
        [
            *[
                ("common", key, "many")
                for key in ("intensityHIGH", "intensityLOW", "intensity", "nbrofinterfaces")
            ],
            ("common", "manualangleofillumination", "5.5"),
            ("common", "manualintensity", "99999999999"),
            ("common", "required_total_power", "five"),
            ("common", "minimum_poe_class", "0x10"),
            ("zoom", "angleofillumination", ""),
            ("zoom", "angleofilluminationLOW", "5abc"),
            ("zoom", "angleofilluminationHIGH", "high"),
        ],
    )
    def test_wrong_number(self, refuses, sandbox, group, key, value):
        install_dummies(sandbox, {group: {key: value}})
        before = sandbox.read(STATE)
        assert refuses() == [(log.ERR, uninterpretable(key, group))]
        assert sandbox.read(STATE) == before

    @pytest.mark.parametrize("key", ["ledtype", "powerusagefactor"])
    def test_text_that_cannot_be_read(self, refuses, sandbox, key):
        install_dummies(sandbox, {"common": {key: "\\q"}})
        ((severity, text),) = refuses()
        assert severity == log.ERR and f"“{key}”" in text

    @pytest.mark.parametrize(
        "group, key",
        [
            *[("common", key) for key in ("intensityHIGH", "enable", "intensityLOW", "intensity")],
            *[("common", key) for key in ("nbrofinterfaces", "ledtype")],
            *[("zoom", key) for key in ("angleofilluminationLOW", "angleofilluminationHIGH")],
        ],
    )
    def test_missing_required_key(self, refuses, sandbox, group, key):
        install_dummies(sandbox, {group: {key: None}})
        before = sandbox.read(STATE)
        assert refuses() == [(log.ERR, missing(key, group))]
        assert sandbox.read(STATE) == before

    def test_missing_group(self, refuses, sandbox):
        install_dummies(sandbox, {"common": None})
        assert refuses() == [(log.ERR, NO_GROUP)]

    def test_zero_and_false_are_values(self, daemon, sandbox, bus, syslog):
        zero = dict.fromkeys(
            ("intensityHIGH", "intensityLOW", "intensity", "manualintensity", "nbrofinterfaces"), 0
        )
        install_dummies(sandbox, {"common": zero | {"enable": False, "nbrofinterfaces": 3}}, {"common": zero})
        daemon()
        assert Light(bus.client).call("GetValidIntensities") == (0, 0)
        assert not Light(bus.client).call("GetEnabled")
        assert bus.client.introspect(light_path(1)).interfaces == []
        assert syslog.texts() == []

    def test_only_the_required_keys(self, daemon, sandbox, bus, syslog):
        required = {"intensityHIGH": 100, "enable": True, "intensityLOW": 0, "intensity": 50}
        install_dummies(sandbox, {})
        lines = [
            f"{key}={value}\n" for key, value in (required | {"nbrofinterfaces": 3, "ledtype": "IR"}).items()
        ]
        text = "[common]\n" + "".join(lines).replace("True", "true") + "usepowerrequest=false\n"
        sandbox.write(STATE, text)
        daemon()
        light = Light(bus.client)
        assert light.call("GetIntensity") == 50
        assert light.get("CorrectPoe") and light.get("UseDayNight")
        assert syslog.texts() == []
        assert sandbox.read(STATE) == text

    def test_keys_that_are_forgiven(self, daemon, sandbox, bus, syslog):
        forgiven = {"rampdown_time": "soon", "max_brightness_level": "high", "powerusagefactor": "much"}
        install_dummies(sandbox, {"common": forgiven | {"intensities": "1;x;"}})
        daemon()
        light = Light(bus.client)
        for watts in (10.0, 1.0):
            light.call("SetPower", "(d)", watts)
        assert syslog.texts() == []


class TestAbsurdValues:
    """Values that can be read, and make no sense: the daemon serves the light all the same."""

    @pytest.fixture
    def serve(self, daemon, sandbox, bus):
        def serve(changes: dict) -> Light:
            install_dummies(sandbox, changes)
            daemon()
            return Light(bus.client)

        return serve

    def test_empty_range_takes_no_intensity(self, serve):
        lamp = serve({"common": {"intensityLOW": 80, "intensityHIGH": 20}})
        for value in (10, 20, 50, 80, 90):
            with pytest.raises(BusError, match="Invalid Intensity"):
                lamp.call("SetIntensity", "(i)", value)

    @pytest.mark.parametrize("value", [-(2**31), -1, 101, 2**31 - 1])
    def test_numbers_beyond_the_ranges(self, serve, value):
        changes = {"common": {"intensity": value, "manualintensity": value, "manualangleofillumination": value}}
        lamp = serve(changes | {"zoom": {"angleofillumination": value}})
        assert lamp.call("GetIntensity") == value
        assert lamp.call("GetCurrentAngleOfIllumination") == value
        lamp.switch(True)
        assert lamp.is_on()

    def test_last_of_two_equal_keys_holds(self, daemon, sandbox, bus):
        install_dummies(sandbox, {})
        sandbox.write(STATE, light_state() + "\n[common]\nledtype=White\nledtype=Blue\n")
        daemon()
        assert Light(bus.client).call("GetLEDType") == "Blue"

    def test_type_that_the_bus_could_not_carry(self, refuses, sandbox):
        install_dummies(sandbox, {})
        sandbox.write(STATE, light_state().encode().replace(b"ledtype=IR", b"ledtype=\xff\xfe"))
        [(severity, _)] = refuses()
        assert severity == log.ERR
