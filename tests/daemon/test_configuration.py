"""beamd.conf: how many lights there are, and of which kind."""

from __future__ import annotations

import re

import pytest

from beamd_testing import syslog as log
from beamd_testing.installation import BEAMD_CONF, install_board, install_dummies, install_light
from beamd_testing.services import Controller, Light, light_path

SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
MISSING = (log.ERR, "LEDs missing config")
TO_MANY = (log.ERR, "To many LED configs compared to nbr_of_leds,")


def lights_of(*numbers: int | str, kind: str = "Dummy") -> str:
    return "".join(f"[LED.L{number}]\nType={kind}\n" for number in numbers)


def configuration(count: int | str, *numbers: int | str) -> str:
    return f"[LED]\nNbrOfLeds={count}\n" + lights_of(*numbers)


@pytest.fixture
def refuses(launch, sandbox, syslog):
    """Starts the daemon with that beamd.conf; returns its log up to the line that ends it."""
    install_board(sandbox, leds=0)
    for number in range(20):
        install_light(sandbox, number, {"zoom": None})

    def refuses(text: str) -> list[tuple[int, str]]:
        sandbox.write(BEAMD_CONF, text)
        launch().wait_for_exit(1)
        *lines, last = syslog.texts()
        assert last == SETUP_FAILED
        return lines

    return refuses


@pytest.fixture
def serves(daemon, sandbox, bus, syslog):
    """Starts the daemon with that beamd.conf; demands that it publishes @p count lights and logs nothing."""
    install_board(sandbox, leds=0)
    for number in range(20):
        install_light(sandbox, number)

    def serves(text: str, count: int) -> None:
        sandbox.write(BEAMD_CONF, text)
        daemon()
        assert Controller(bus.client).count() == count
        for number in range(count):
            assert Light(bus.client, number).get("CardDetected")
            Light(bus.client, number).switch(True)
        assert bus.client.introspect(light_path(count)).interfaces == []
        assert syslog.texts() == []

    return serves


class TestFile:
    def test_missing(self, launch, syslog):
        launch().wait_for_exit(1)
        unable = (log.ERR, f"Unable to open config file {BEAMD_CONF} for beamd: No such file or directory")
        assert syslog.texts() == [unable, SETUP_FAILED]

    def test_folder(self, launch, sandbox, syslog):
        sandbox.path(BEAMD_CONF).mkdir()
        launch().wait_for_exit(1)
        unable = (log.ERR, f"Unable to open config file {BEAMD_CONF} for beamd: Is a directory")
        assert syslog.texts() == [unable, SETUP_FAILED]

    def test_empty(self, serves):
        serves("", 0)

    def test_nothing_but_binary_garbage(self, serves):
        serves(bytes(range(256)) * 40, 0)

    def test_binary_garbage_around_what_counts(self, daemon, sandbox, bus):
        install_dummies(sandbox, {})
        garbage = bytes(range(256)).replace(b"[", b"") * 40 + b"\n"
        sandbox.write(BEAMD_CONF, garbage + configuration(1, 0).encode() + garbage)
        daemon()
        assert Controller(bus.client).count() == 1

    @pytest.mark.parametrize("filler", ["x" * 10_000_000, "; comment\n" * 1_000_000], ids=["line", "lines"])
    def test_ten_megabytes(self, serves, filler):
        serves(f"{configuration(1)}{filler}\n{lights_of(0)}", 1)


class TestCount:
    def test_two_lights_of_known_types(self, serves):
        serves(configuration(2, 0, 1), 2)

    def test_fewer_lights_than_announced(self, refuses):
        assert refuses(configuration(2, 0)) == [MISSING]

    def test_more_lights_than_announced(self, refuses):
        assert refuses(configuration(2, 0, 1, 1)) == [TO_MANY]

    def test_same_group_twice(self, refuses):
        assert refuses(configuration(1, 0, 0)) == [TO_MANY]

    def test_group_out_of_range_does_not_count(self, serves):
        serves(configuration(2, 5, 0, 1), 2)

    def test_group_out_of_range_does_not_fill_a_gap(self, refuses):
        assert refuses(configuration(2, 0, 5)) == [MISSING]

    def test_groups_before_the_count(self, refuses):
        assert refuses(lights_of(0) + configuration(1)) == [MISSING]

    def test_no_count_is_none(self, serves):
        serves("".join(configuration(count, 0) for count in ("", "two", "-", "x1", "0")), 0)

    def test_unreadable_count_leaves_the_old_one(self, serves):
        serves(configuration(1) + configuration("two") + configuration("") + lights_of(0), 1)

    def test_count_is_read_as_far_as_it_goes_and_the_last_one_holds(self, serves):
        counts = ["01", "+2", "3abc", "4.9", "5 6"]
        serves("".join(configuration(count, number) for number, count in enumerate(counts)), 5)

    def test_count_lowered_afterwards(self, refuses):
        assert refuses(configuration(2, 0, 1) + configuration(1)) == [TO_MANY]

    def test_negative_count(self, refuses):
        assert refuses(configuration(-1, 0)) == [TO_MANY]

    @pytest.mark.parametrize("count", [18, 1000, 2147483647])
    def test_huge_count(self, refuses, count):
        assert refuses(configuration(count, 0)) == [MISSING]

    @pytest.mark.parametrize("count", ["2147483648", "99999999999999999999"])
    def test_count_beyond_integers(self, refuses, count):
        assert refuses(configuration(count, 0)) in ([MISSING], [TO_MANY])


class TestGroupNumber:
    @pytest.mark.parametrize("number", ["", "foo", "-0", "0x1"])
    def test_reads_as_zero(self, serves, number):
        serves(configuration(1, number), 1)

    def test_reads_as_one_and_so_on(self, serves):
        serves(configuration(6, 0, 4294967297, " 2", "+3", "04", "5 lamps"), 6)

    @pytest.mark.parametrize("number", ["-1", "4294967295", "2147483648", "99999999999999999999"])
    def test_negative_as_32_bits_is_out_of_range(self, refuses, number):
        assert refuses(configuration(1, number)) == [MISSING]

    def test_seventeen_lights_are_served(self, serves):
        serves(configuration(17, *range(17)), 17)

    @pytest.mark.parametrize("count", [18, 20])
    def test_lights_beyond_the_seventeenth_are_out_of_range(self, refuses, count):
        *skipped, last = refuses(configuration(count, *range(count)))
        assert last == MISSING
        assert len(skipped) == count - 17
        for number, (severity, text) in enumerate(skipped, start=17):
            assert severity == log.ERR and re.search(rf"\b{number}\b", text)

    @pytest.mark.parametrize("numbers, named", [([0, 0], 1), ([1, 1], 0), ([0, 1, 2, 2], 3)])
    def test_group_without_a_light_though_the_counts_agree(self, refuses, numbers, named):
        ((severity, text),) = refuses(configuration(len(numbers), *numbers))
        assert severity == log.ERR and re.search(rf"\b{named}\b", text)

    def test_twenty_lights_in_seventeen_places(self, refuses):
        ((severity, text),) = refuses(configuration(20, *range(17), 0, 1, 2))
        assert severity == log.ERR and re.search(r"\b17\b", text)


class TestType:
    @pytest.mark.parametrize("kind", ["dummy", "DUMMY", "Dummy2", "Dumm", "", "LedDummy"])
    def test_unknown_type_is_a_missing_light(self, refuses, kind):
        assert refuses(configuration(1) + lights_of(0, kind=kind)) == [MISSING]

    @pytest.mark.parametrize(
        "ignored",
        [
            "[LED.L0]\ntype=Dummy\n",
            "[LED.M0]\nType=Dummy\n",
            "[led.l0]\nType=Dummy\n",
            "[LEDL0]\nType=Dummy\n",
        ],
    )
    def test_other_keys_and_sections_do_not_count(self, refuses, ignored):
        assert refuses(configuration(1) + ignored) == [MISSING]

    def test_other_keys_and_sections_do_no_harm(self, serves):
        others = "nbrofleds=5\nOtherKey=4\n[Other]\nNbrOfLeds=7\nType=Dummy\n[LED.X]\nType=Dummy\n"
        serves(configuration(1) + others + "[LED.L0]\nColour=red\nType=Dummy\nNbrOfLeds=3\n", 1)


def test_switching_a_dummy_off_never_fails(daemon, sandbox, bus, syslog):
    install_dummies(sandbox, {}, {})
    running = daemon()
    Light(bus.client, 1).switch(True)
    running.stop()
    assert syslog.texts() == [(log.INFO, "Terminating")]


def test_light_that_cannot_be_set_up_ends_the_daemon(launch, sandbox, syslog):
    install_dummies(sandbox, {}, {"common": {"intensityHIGH": None}})
    launch().wait_for_exit(1)
    reason = "Key file does not have key “intensityHIGH” in group “common”"
    assert syslog.texts() == [(log.ERR, reason), SETUP_FAILED]
