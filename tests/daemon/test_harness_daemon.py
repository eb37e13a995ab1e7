"""The bus, the peers, the devices and the judging of a run do what the daemon's tests rely on."""

from __future__ import annotations

import errno
import os
import signal
import stat
import textwrap
import time
from pathlib import Path

import pytest
from gi.repository import GLib

from beamd_testing import layout, syslog as log
from beamd_testing.bus_client import BusError
from beamd_testing.bus_monitor import message
from beamd_testing.daemon import Daemon, complaints
from beamd_testing.sandbox import SUPPORT, Sandbox

LIGHT_UID = layout.USERS["light"][0]
LIGHT_GID = layout.GROUPS["light"][0]

POLICY = """\
    <busconfig>
      <policy user="root"><allow own="com.velk.LightController"/></policy>
      <policy user="light">
        <allow own="com.velk.LightController"/>
        <allow send_destination="com.velk.LightController"/>
      </policy>
      <policy user="root"><allow send_destination="com.velk.LightController"/></policy>
    </busconfig>
    """

CONTROLLER = ("/com/velk/LightController", "com.velk.LightController.Common")


@pytest.fixture(autouse=True)
def no_wrapper(monkeypatch: pytest.MonkeyPatch) -> None:
    """What the daemon is wrapped into is not for the stand-ins."""
    monkeypatch.delenv("BEAMD_WRAPPER", raising=False)


@pytest.fixture
def bus_policies(sandbox: Sandbox) -> list[Path]:
    policy = sandbox.top / "com.velk.LightController.conf"
    policy.write_text(textwrap.dedent(POLICY))
    return [policy]


@pytest.fixture
def fake() -> Path:
    """A program that behaves like the daemon."""
    return SUPPORT / "stand_ins/fake_beamd"


class TestBus:
    def test_policy_is_enforced(self, bus):
        script = "import dbus; dbus.SystemBus().request_name('com.velk.LightController')"
        own = ["/usr/bin/python3", "-c", script]
        assert bus.sandbox.run(own, user="light").returncode == 0
        refused = bus.sandbox.run(own, user="nobody", check=False)
        assert refused.returncode == 1 and "AccessDenied" in refused.stdout

    def test_calls_as_other_users(self, daemon, bus, fake):
        daemon(binary=fake)
        assert bus.call_as("light", *CONTROLLER, "Echo", 5) == (0, "(5,)\n")
        status, output = bus.call_as("nobody", *CONTROLLER, "Echo", 5)
        assert status != 0 and "AccessDenied" in output

    def test_client_reports_values_and_errors(self, daemon, bus, fake):
        daemon(binary=fake)
        assert bus.client.call(*CONTROLLER, "Echo", "(i)", 7) == 7
        assert bus.client.call(*CONTROLLER, "Echo", GLib.Variant("(i)", (8,))) == 8
        with pytest.raises(BusError) as failure:
            bus.client.call(*CONTROLLER, "Fail")
        assert failure.value.domain == "light-control-error-quark"
        assert (failure.value.code, failure.value.message) == (6, "No IR light PCB found")
        with pytest.raises(BusError) as failure:
            bus.client.call(*CONTROLLER, "Missing")
        assert failure.value.name == "org.freedesktop.DBus.Error.UnknownMethod" and failure.value.code is None

    def test_many_calls_at_once(self, daemon, bus, fake):
        daemon(binary=fake)
        calls = [bus.client.call_async(*CONTROLLER, "Echo", "(i)", number) for number in range(100)]
        failing = bus.client.call_async(*CONTROLLER, "Fail")
        assert [call.result() for call in calls] == list(range(100))
        with pytest.raises(BusError, match="PCB"):
            failing.result()

    def test_introspection(self, daemon, bus, fake):
        daemon(binary=fake)
        path, interface = CONTROLLER
        methods = bus.client.introspect(path).lookup_interface(interface).methods
        assert [method.name for method in methods] == ["Echo", "Fail", "LogThenSignal"]

    def test_bus_can_die(self, daemon, bus, fake):
        running = daemon(binary=fake)
        bus.stop()
        with pytest.raises(BusError):
            bus.client.call(*CONTROLLER, "Echo", "(i)", 1)
        running.wait_for_exit(0)  # GDBus raises SIGTERM, which ends it as usual

    def test_log_lines_stand_before_the_messages_that_follow_them(self, daemon, bus, syslog, timeline, fake):
        daemon(binary=fake)
        bus.client.call(*CONTROLLER, "LogThenSignal")
        signals = bus.messages("signal", "Told", CONTROLLER[1])
        assert [told.arguments for told in signals] == [(number,) for number in range(20)]
        for number, told in enumerate(signals):
            assert syslog.wait_for((log.INFO, f"before {number}")).number < told.number

    def test_events_are_counted_in_order(self, daemon, bus, timeline, fake):
        daemon(binary=fake)
        mark = timeline.now()
        bus.client.call(*CONTROLLER, "Echo", "(i)", 1)
        bus.client.call(*CONTROLLER, "Echo", "(i)", 2)
        calls = bus.messages("call", "Echo", after=mark)
        assert [call.arguments for call in calls] == [(1,), (2,)]
        assert mark <= calls[0].number < calls[1].number
        is_echo = message("call", "Echo", "com.velk.Other")
        assert not timeline.events(is_echo)


class TestPeers:
    def test_temperature_service_knows_its_sensors(self, bus, temperature_service):
        temperature_service.set_sensors({"led": 4})
        temperature_service.start()
        ask = (temperature_service.path, temperature_service.interface, "GetTemperatureIdFromName", "(s)")
        assert bus.client.call(*ask, "led", name=temperature_service.name) == 4
        with pytest.raises(BusError) as failure:
            bus.client.call(*ask, "lens", name=temperature_service.name)
        assert failure.value.code == 1
        temperature_service.set_sensors({"lens": 5}, error="com.velk.Other")
        assert bus.client.call(*ask, "lens", name=temperature_service.name) == 5
        with pytest.raises(BusError, match="com.velk.Other"):
            bus.client.call(*ask, "led", name=temperature_service.name)
        asked = temperature_service.calls("GetTemperatureIdFromName")
        assert asked == [("led",), ("lens",), ("lens",), ("led",)]

    def test_power_daemon_records_what_it_is_asked(self, bus, power_daemon):
        power_daemon.start()
        consumer = power_daemon.consumer
        request = (consumer.path, consumer.interface, "RequestPower", "(ssd)", "led0")
        for mode, watts in (("normal", 1.5), ("off", 0.0)):
            bus.client.call(*request, mode, watts, name=consumer.name)
        assert power_daemon.requests() == [("led0", "normal", 1.5), ("led0", "off", 0.0)]
        assert power_daemon.registrations() == []

    def test_power_daemon_goes_and_comes_back(self, bus, power_daemon):
        power_daemon.status.set({"PowerReceived": 12.5, "PsePoeClass": 3})
        status = power_daemon.status
        for _ in range(2):
            power_daemon.start()
            found = bus.client.get_all(status.path, status.interface, name=status.name)
            assert found == {"PowerReceived": 12.5, "PsePoeClass": 3}
            power_daemon.stop()
            assert not bus.has_owner(status.name)

    def test_paused_peer_answers_later(self, bus, temperature_service):
        temperature_service.set_sensors({"led": 4})
        temperature_service.start()
        ask = (temperature_service.path, temperature_service.interface, "GetTemperatureIdFromName", "(s)")
        with temperature_service.paused():
            call = bus.client.call_async(*ask, "led", name=temperature_service.name)
            bus.settle()
            assert not call.done()
        assert call.result() == 4
        temperature_service.stop()

    def test_property_changes_are_signalled(self, bus, power_daemon):
        power_daemon.status.set({"LldpPoeClass": 3})
        power_daemon.start()
        mark = bus.timeline.now()
        power_daemon.status.set({"LldpPoeClass": 4})
        power_daemon.status.announce({"PowerRecieved": 9.5})
        changes = bus.messages("signal", "PropertiesChanged", path=power_daemon.status.path, after=mark)
        assert [change.arguments[1] for change in changes] == [{"LldpPoeClass": 4}, {"PowerRecieved": 9.5}]


class TestDaemon:
    def test_runs_as_light_and_stops_cleanly(self, daemon, fake):
        running = daemon(binary=fake)
        assert running.status()["Uid"].split() == [str(LIGHT_UID)] * 4
        assert running.status()["Gid"].split() == [str(LIGHT_GID)] * 4
        running.stop()
        assert running.process.returncode == 0

    def test_interrupt_ends_it_too(self, daemon, fake):
        daemon(binary=fake).stop(signal.SIGINT)

    def test_background_process_is_found_and_stopped(self, daemon, fake):
        running = daemon(binary=fake, argv=["detach"], detaches=True)
        assert running.process.wait(10) == 0
        pid = running.pid
        running.stop()
        assert not Path(f"/proc/{pid}").exists()

    def test_exit_while_starting_is_reported(self, sandbox, bus, syslog, fake):
        starting = Daemon(sandbox, bus, syslog, binary=fake, argv=["die"])
        with pytest.raises(AssertionError, match="ended while it started"):
            starting.wait_until_ready()
        with pytest.raises(AssertionError, match="died"):
            starting.finish()

    def test_expected_exit_is_accepted(self, launch, fake):
        launch(binary=fake, argv=["die"]).wait_for_exit(3)

    def test_unexpected_exit_status_is_reported(self, launch, fake):
        with pytest.raises(AssertionError, match="exit status 3, not 1"):
            launch(binary=fake, argv=["die"]).wait_for_exit(1)

    @pytest.mark.parametrize("argv, detaches", [(["-n"], False), (["detach"], True)])
    def test_death_is_reported(self, sandbox, bus, syslog, fake, argv, detaches):
        running = Daemon(sandbox, bus, syslog, binary=fake, argv=argv, detaches=detaches).wait_until_ready()
        os.kill(running.pid, signal.SIGKILL)
        bus.wait_for_no_owner("com.velk.LightController")
        deadline = time.monotonic() + 10
        while running.pid in sandbox.processes() or (not detaches and running.process.poll() is None):
            assert time.monotonic() < deadline
        with pytest.raises(AssertionError, match="died"):
            running.finish()

    def test_silent_end_is_reported(self, sandbox, bus, syslog, fake, monkeypatch):
        monkeypatch.setattr(log.Syslog.wait_for, "__defaults__", (0.2, 0, "beamd"))
        running = Daemon(sandbox, bus, syslog, binary=fake, argv=["keep-quiet"]).wait_until_ready()
        with pytest.raises(AssertionError, match="Terminating"):
            running.finish()

    def test_complaints_of_glib_are_reported(self, sandbox, bus, syslog, fake):
        running = Daemon(sandbox, bus, syslog, binary=fake, argv=["complain"]).wait_until_ready()
        with pytest.raises(AssertionError, match="GLib-CRITICAL"):
            running.finish()

    def test_complaints_may_be_expected(self, daemon, fake):
        daemon(binary=fake, argv=["complain"], expected_complaint="assertion failed")

    @pytest.mark.parametrize("argv", [["complain"], []])
    def test_other_complaints_than_the_expected_are_reported(self, sandbox, bus, syslog, fake, argv):
        running = Daemon(sandbox, bus, syslog, binary=fake, argv=argv, expected_complaint="not reached")
        running.wait_until_ready()
        with pytest.raises(AssertionError, match="no complaint of 'not reached'"):
            running.finish()

    def test_killed_on_purpose(self, daemon, bus, fake):
        daemon(binary=fake).kill()
        assert not bus.has_owner("com.velk.LightController")

    def test_wrapper_stands_before_the_program(self, daemon, fake):
        running = daemon(binary=fake, wrapper=["sh", "-c", 'echo wrapped >&2; "$@"; exit $?', "sh"])
        running.stop()
        assert running.stderr == "wrapped\n"

    def test_coverage_data_of_light_is_handed_over(self, sandbox, daemon, fake, monkeypatch):
        folder = sandbox.top / "coverage"
        folder.mkdir()
        monkeypatch.setenv("BEAMD_COVERAGE_DIR", str(folder))
        running = daemon(binary=fake)
        run = next(folder.glob("run*"))
        assert stat.S_IMODE(run.stat().st_mode) == 0o1777
        running.sandbox.run(["mkdir", f"{run}/build"], user="light")
        running.finish()
        assert (run / "build").stat().st_uid == 0


class TestDevices:
    def test_devices_are_served(self, syslog, devices, launch):
        devices.add_bus(3)
        devices.set_register(3, 0x41, 0x05, 0x11, 0xBEEF)
        devices.fail("funcs", errno.EIO)
        running = launch(binary=SUPPORT / "stand_ins/device_user", argv=[], devices=devices)
        syslog.wait_for(lambda line: line.text == "readable 0")
        devices.set_field_of_view(37.5)
        running.wait_for_exit(0)
        texts = [line.text for line in syslog.lines()]
        assert texts == ["register efbe", f"error {errno.EIO}", "readable 0", "view 37.5", "readable 0"]
        devices.wait_for("subscribe zoom")
        assert devices.reports() == ["slave /dev/i2c-3 41", "write /dev/i2c-3 41 5 10 1234", "subscribe zoom"]
        assert devices.register_writes() == [(3, 0x41, 0x05, 0x10, 0x1234)]

    def test_wrong_commands_are_noticed(self, devices, launch):
        running = launch(binary="/bin/cat", argv=["/dev/datacache0"], devices=devices)
        with pytest.raises(AssertionError, match="not understood"):
            devices.fail("nonsense", 1)
        running.kill()


@pytest.mark.parametrize(
    "output, found",
    [
        ("beamd[3]: Terminating\n", False),
        ("(beamd:1): GLib-GObject-CRITICAL **: 10:00:00.000: assertion\n", True),
        ("\n** (beamd:1): WARNING **: 10:00:00.000: something\n", True),
        ("==12==ERROR: AddressSanitizer: heap-use-after-free\n", True),
        ("a.cpp:3:4: runtime error: signed integer overflow\n", True),
        ("==12== Memcheck, a memory error detector\n==12== ERROR SUMMARY: 0 errors from 0\n", False),
        ("==12== Memcheck\n==12== ERROR SUMMARY: 2 errors from 1\n", True),
        ("==12== Invalid read of size 4\n", True),
    ],
)
def test_complaints(output: str, found: bool):
    assert bool(complaints(output)) == found
