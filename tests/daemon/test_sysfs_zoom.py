"""How the light of attribute files follows the lens, by way of the data cache."""

from __future__ import annotations

import errno

import pytest
from beamd_testing import syslog as log
from beamd_testing.log_lines import TERMINATING
from beamd_testing.regulator import single
from beamd_testing.sysfs_board import DATA_CACHE, SysfsBoard, angle_of, led_file, on_the_line

BOARD = SysfsBoard
NO_DATA_CACHE = (log.ERR, "Failed to initialize data cache")
UNREAD = (log.INFO, "Failed to read HFOV from datacache")


class TestZoom:
    @pytest.mark.memcheck
    def test_follows_the_lens(self, lit, board, devices):
        lamp = lit()
        for degrees in (47.9, 44.999, 20.0, 19.99, 3.5, 80.0):
            devices.set_field_of_view(degrees)
            assert board.wait_for_writes() == board.levels(int(degrees))
            assert angle_of(lamp) == int(degrees)

    def test_asks_for_nothing(self, lit, board, devices, power_daemon, timeline):
        lit()
        mark = timeline.now()
        devices.set_field_of_view(30.0)
        board.wait_for_writes()
        assert power_daemon.requests(mark) == []

    def test_waits_while_it_is_off(self, light, board, devices, power_daemon):
        lamp = light()
        devices.set_field_of_view(30.7)
        board.wait_until_read()
        assert angle_of(lamp) == 30
        assert board.take() == [""] * SysfsBoard.LEDS
        lamp.switch(True)
        assert power_daemon.requests() == [("led0", "normal", board.need(board.powers(30)))]

    def test_keeps_its_shape_when_it_is_not_automatic(self, lit, board, devices):
        lamp = lit()
        lamp.set("AutomaticAngleOfIllumination", False)
        assert board.take() == board.levels(45)
        devices.set_field_of_view(10.0)
        assert board.wait_for_writes() == board.levels(45)
        assert angle_of(lamp) == 10
        lamp.call("SetIntensity", "(i)", 80)
        assert board.take() == board.levels(10, 80)

    def test_reads_nothing_when_it_cannot_follow(self, lit, board, devices):
        text = board.sandbox.read("/etc/beamd/led0.conf")
        board.sandbox.write("/etc/beamd/led0.conf", text.replace("automaticangleofillumination=true\n", ""))
        lamp = lit()
        assert not lamp.get("AutomaticAngleOfIlluminationSupp")
        devices.set_field_of_view(10.0)
        assert board.wait_for_writes() == board.levels(70)
        assert board.unread_news() == 1
        assert angle_of(lamp) == 70

    def test_sweep(self, lit, board, devices, syslog):
        lamp = lit()
        lamp.call("SetPower", "(d)", 1000.0)
        intensity = 50
        board.forget()
        for step in range(1000):
            if step % 50 == 0:
                intensity = 1 + step * 7 // 71
                lamp.call("SetIntensity", "(i)", intensity)
                board.forget()
            degrees = 0.3 + step * 0.097
            devices.set_field_of_view(degrees)
            angle = int(single(degrees))
            assert board.wait_for_writes() == board.levels(angle, intensity, 1000.0), f"{degrees}, {intensity}"
        assert angle_of(lamp) == 97
        assert syslog.texts() == []

    def test_sweep_through_rows_with_more_points(self, lit, board, devices):
        """Between the second and the third intensity, and beyond them in both directions."""
        rows = ""
        for angle in (10, 40, 70):
            rows += f"[{angle}]\n0=0;0;0;\n40={angle * 3};100;1000;\n60={angle * 7};1000;1;\n90=1999;{angle};7;\n"
        board.sandbox.write("/etc/beamd/illumination.conf", f"[info]\nleds=3\n{rows}")
        table = dict(board.rows())
        lamp = lit()
        lamp.call("SetPower", "(d)", 1000.0)
        for intensity in (41, 59, 60, 61, 77, 90, 91, 100):
            lamp.call("SetIntensity", "(i)", intensity)
            for degrees in (5.0, 39.99, 40.0, 75.5):
                board.forget()
                devices.set_field_of_view(degrees)
                row = 70 if degrees >= 70 else 40 if degrees >= 40 else 10
                high = 2 if intensity <= 60 else 3 if intensity <= 90 else 1
                levels = on_the_line(*table[row][high - 1 : high + 1], intensity)
                assert board.wait_for_writes() == [str(level) for level in levels], f"{degrees}, {intensity}"

    def test_goes_on_after_a_write_failure(self, lit, board, devices, syslog):
        lamp = lit()
        board.fill_up(led_file(0))
        devices.set_field_of_view(30.0)
        failure = f"Write failure to led 0 - {board.levels(30)[0]}mW"
        syslog.wait_for((log.ERR, failure))
        board.mend(led_file(0))
        board.forget()
        devices.set_field_of_view(50.0)
        assert board.wait_for_writes() == board.levels(50)
        assert lamp.is_on()


class TestDataCache:
    def test_subscription(self, light, devices, syslog):
        light("--debug")
        assert devices.reports() == ["subscribe zoom"]
        assert (log.INFO, "Subscribed to datacache: zoom") in syslog.texts()

    def test_subscription_ends_with_the_daemon(self, serve, devices, syslog):
        running = serve("--debug")
        running.stop()
        devices.wait_for("unsubscribe 1")
        assert devices.reports() == ["subscribe zoom", "unsubscribe 1"]
        assert (log.INFO, "Unsubscribed to datacache: zoom") in syslog.texts()

    def test_missing(self, lit, board, devices, syslog):
        board.sandbox.path(DATA_CACHE).unlink()
        lamp = lit()
        complaint = "Couldn't open datacache device: /dev/datacache0, error code -1"
        assert syslog.texts() == [(log.ERR, complaint), NO_DATA_CACHE]
        lamp.call("SetIntensity", "(i)", 80)
        assert board.take() == board.levels(70, 80)
        assert devices.reports() == []

    def test_refuses_the_subscription(self, lit, board, devices, syslog):
        devices.fail("subscribe", errno.EINVAL)
        lamp = lit()
        complaint = "Unable to do ioctl DC_IOC_DATA_CACHE_REGISTER"
        assert syslog.texts() == [(log.ERR, complaint), NO_DATA_CACHE]
        lamp.call("ChangeAngleOfIllumination", "(i)", 30)
        assert board.take() == board.levels(30)
        devices.set_field_of_view(10.0)
        assert angle_of(lamp) == 30

    def test_never_has_news(self, lit, board, syslog):
        lamp = lit()
        lamp.call("SetIntensity", "(i)", 80)
        assert board.take() == board.levels(70, 80)
        assert angle_of(lamp) == 70
        assert syslog.texts() == []

    def test_fails_to_be_read_for_a_while(self, lit, board, devices, syslog):
        lamp = lit()
        devices.fail("read", errno.EIO)
        devices.set_field_of_view(30.0)
        first = syslog.wait_for(UNREAD)
        for intensity in (60, 70, 80):
            lamp.call("SetIntensity", "(i)", intensity)
            assert board.take() == board.levels(70, intensity)
        syslog.wait_for(UNREAD, after=first.number + 1)
        assert angle_of(lamp) == 70
        devices.fail("read", 0)
        assert board.wait_for_writes() == board.levels(30, 80)
        assert angle_of(lamp) == 30
        devices.set_field_of_view(50.0)
        assert board.wait_for_writes() == board.levels(50, 80)
        assert set(syslog.texts()) == {UNREAD}

    def test_refuses_to_be_unsubscribed_from(self, serve, devices, syslog):
        running = serve()
        devices.fail("unsubscribe", errno.EIO)
        running.stop()
        complaint = (log.ERR, "Unable to do ioctl DC_IOC_DATA_CACHE_UNSUBSCRIBE")
        syslog.wait_for(complaint)
        assert sorted(syslog.texts()) == sorted([TERMINATING, complaint])

    def test_flood(self, lit, board, devices, syslog):
        lamp = lit()
        devices.set_field_of_view(30.0)
        with board.data_cache() as cache:
            assert cache.write(b"x" * 9_999) == 9_999
        for intensity in range(1, 51):
            lamp.call("SetIntensity", "(i)", intensity)
            assert lamp.call("GetIntensity") == intensity
        board.wait_until_read()
        assert angle_of(lamp) == 30
        assert lamp.is_on()
        board.forget()
        devices.set_field_of_view(50.0)
        assert board.wait_for_writes() == board.levels(50, 50)
        assert syslog.texts() == []
