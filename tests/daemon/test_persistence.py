"""What is written into a light's state file, and when."""

from __future__ import annotations

import os
import stat

import pytest
from gi.repository import GLib

from beamd_testing import layout, syslog as log
from beamd_testing.installation import install_dummies, state_path
from beamd_testing.services import Light

STATE = state_path(0)
LIGHT = (layout.USERS["light"][0], layout.GROUPS["light"][0])


def content(sandbox, number: int = 0) -> dict[str, dict[str, str]]:
    """The state file's groups with their keys and values."""
    file = GLib.KeyFile()
    file.load_from_data(sandbox.read(state_path(number)), 2**64 - 1, GLib.KeyFileFlags.NONE)
    return {
        group: {key: file.get_value(group, key) for key in file.get_keys(group)[0]}
        for group in file.get_groups()[0]
    }


# What a client does, what stands in the file then, and what a light reads that starts from it.
WRITTEN = {
    "SyncDayNight": (
        lambda light: light.set("SyncDayNight", True),
        ("common", "syncdaynight", "true"),
        lambda light: light.get("SyncDayNight") is True,
    ),
    "AutomaticIntensity": (
        lambda light: light.set("AutomaticIntensity", True),
        ("common", "automaticintensity", "true"),
        lambda light: light.get("AutomaticIntensity") is True,
    ),
    "ManualSetIntensity": (
        lambda light: light.set("ManualSetIntensity", 71),
        ("common", "manualintensity", "71"),
        lambda light: light.get("ManualSetIntensity") == 71,
    ),
    "SetEnabled": (
        lambda light: light.call("SetEnabled", "(b)", False),
        ("common", "enable", "false"),
        lambda light: light.call("GetEnabled") is False,
    ),
    "ManualSetAngleOfIllumination": (
        lambda light: light.set("ManualSetAngleOfIllumination", 44),
        ("common", "manualangleofillumination", "44"),
        lambda light: light.get("ManualSetAngleOfIllumination") == 44,
    ),
    "ChangeAngleOfIllumination": (
        lambda light: light.call("ChangeAngleOfIllumination", "(i)", 22),
        ("zoom", "angleofillumination", "22"),
        lambda light: light.call("GetCurrentAngleOfIllumination") == 22,
    ),
    "AutomaticAngleOfIllumination": (
        lambda light: light.set("AutomaticAngleOfIllumination", False),
        ("zoom", "automaticangleofillumination", "false"),
        lambda light: light.get("AutomaticAngleOfIllumination") is False,
    ),
}


def test_what_is_set_survives_a_kill_right_after_the_reply(daemon, sandbox, bus):
    install_dummies(sandbox, {}, {})
    other = sandbox.read(state_path(1))
    running = daemon()
    expected = content(sandbox)
    for change, (group, key, value), is_kept in WRITTEN.values():
        change(Light(bus.client))
        running.kill()
        expected[group][key] = value
        if key == "automaticangleofillumination":  # back to the manual angle
            expected["zoom"]["angleofillumination"] = "44"
        assert content(sandbox) == expected
        running = daemon()
        assert is_kept(Light(bus.client))
    assert sandbox.read(state_path(1)) == other


def test_what_is_not_kept(daemon, sandbox, bus):
    install_dummies(sandbox, {"common": {"rampdown_time": 10}})
    running = daemon()
    before = sandbox.read(STATE)
    light = Light(bus.client)
    light.call("SetIntensity", "(i)", 11)
    light.switch(True)
    light.call("SetManualOn", "(b)", True)
    light.call("SetEnableSyncDayNight", "(b)", False)
    light.call("SetPower", "(d)", 3.0)
    running.stop()
    assert sandbox.read(STATE) == before
    daemon()
    assert light.call("GetIntensity") == 60
    assert light.call("GetEnableSyncDayNight")
    assert not light.is_on()


class TestFile:
    def test_it_is_replaced_by_one_of_light(self, daemon, sandbox, bus):
        install_dummies(sandbox, {})
        daemon()
        old = sandbox.path(STATE).stat().st_ino
        Light(bus.client).set("SyncDayNight", True)
        found = sandbox.path(STATE).stat()
        assert found.st_ino != old
        assert (found.st_uid, found.st_gid) == LIGHT
        assert stat.S_IMODE(found.st_mode) == 0o600
        names = {path.name for path in sandbox.path("/etc/beamd").iterdir()}
        assert names == {"beamd.conf", "illumination.conf", "led0.conf"}

    def test_angle_is_stored_while_the_light_is_set_up(self, daemon, sandbox):
        install_dummies(sandbox, {})
        before = content(sandbox)
        daemon()
        found = sandbox.path(STATE).stat()
        assert (found.st_uid, stat.S_IMODE(found.st_mode)) == (0, 0o600)
        assert content(sandbox) == before

    def test_light_without_angle_writes_nothing_at_start(self, daemon, sandbox):
        install_dummies(sandbox, {"zoom": None})
        before = sandbox.path(STATE).stat()
        daemon()
        found = sandbox.path(STATE).stat()
        assert (found.st_ino, found.st_mtime_ns) == (before.st_ino, before.st_mtime_ns)

    def test_link_is_followed(self, daemon, sandbox, bus):
        install_dummies(sandbox, {})
        sandbox.path(STATE).rename(sandbox.path("/etc/beamd/kept.conf"))
        sandbox.path(STATE).symlink_to("/etc/beamd/kept.conf")
        daemon()
        Light(bus.client).set("SyncDayNight", True)
        assert os.readlink(sandbox.path(STATE)) == "/etc/beamd/kept.conf"
        assert "syncdaynight=true" in sandbox.read("/etc/beamd/kept.conf").splitlines()

    def test_keys_that_nobody_knows_stay_and_comments_go(self, daemon, sandbox, bus):
        install_dummies(sandbox, {"common": {"colour": "red"}, "Other": {"x": 1}})
        sandbox.write(STATE, "# a comment\n" + sandbox.read(STATE))
        daemon()
        Light(bus.client).set("SyncDayNight", True)
        found = content(sandbox)
        assert found["common"]["colour"] == "red" and found["Other"] == {"x": "1"}
        assert "# a comment" not in sandbox.read(STATE)

    @pytest.mark.parametrize("key", ["SyncDayNight", "SetEnabled", "ChangeAngleOfIllumination"])
    def test_folder_that_cannot_be_written(self, daemon, sandbox, bus, syslog, key):
        install_dummies(sandbox, {})
        daemon()
        before = sandbox.read(STATE)
        sandbox.path("/etc/beamd").chmod(0o555)
        change, _, is_kept = WRITTEN[key]
        light = Light(bus.client)
        change(light)
        assert is_kept(light)
        assert syslog.texts() == [(log.ERR, "Could not create temp file for state write")]
        assert sandbox.read(STATE) == before

    def test_file_that_is_gone_is_not_made_anew(self, daemon, sandbox, bus, syslog):
        install_dummies(sandbox, {})
        daemon()
        sandbox.path(STATE).unlink()
        Light(bus.client).set("SyncDayNight", True)
        assert syslog.texts() == [(log.ERR, "Store state failed: readlink")]
        assert not sandbox.path(STATE).exists()
