"""Another library takes the place of the platform library, in part or as a whole, without a rebuild.

$BEAMD_REPLACEMENT_EVENTS (replacement_events.cpp) replaces some functions, $BEAMD_REPLACEMENT_PLATFORM (with
replacement_platform.cpp, named libbeamd-platform.so.0) all of them. Both record how they are called.
"""

from __future__ import annotations

import os
import signal
import time

import pytest

from beamd_testing import replacement, syslog as log
from beamd_testing.installation import BEAMD_CONF, install_dummies
from beamd_testing.services import Controller, Light, events

SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")


@pytest.fixture(autouse=True)
def preloaded(sandbox):
    """Makes a wrapper that lets the event functions be replaced, which behave as the settings say."""
    install_dummies(sandbox, {"common": {"ledtype": "White"}})
    library = replacement.install_replacement(sandbox, "BEAMD_REPLACEMENT_EVENTS", "events.so")
    return lambda **settings: replacement.preloaded(library, **settings)


@pytest.fixture
def calls(sandbox):
    """What has been called so far, in order."""
    return lambda: replacement.recorded_calls(sandbox)


STARTED = [
    "command_source_register_mainloop_thread()",
    "event_producer_new(light_control)",
    "event_producer_register(light_control, com.velk.Event.LightStatusChanged, state=OFF:4)",
    "event_producer_register(light_control, com.velk.Event.LightStatus, id=0:1, type=White:4, state=OFF:4)",
    "event_declaration_new(1)",
    "event_declaration_add_key_value(light.app=beamd:4)",
    "event_producer_declare(light_control)",
    "event_declaration_free()",
]


def sent(declaration: int, state: str) -> list[str]:
    steps = [f"event_producer_prepare_event({declaration})", f"event_set_value(state={state})"]
    return [*steps, f"event_producer_send_event({declaration})", f"event_free({declaration})"]


class TestSomeFunctions:
    @pytest.mark.parametrize("option, status", [("--nonsense", 1), ("--help", 0)])
    def test_mainloop_thread_is_registered_before_the_options_are_parsed(
        self, launch, calls, option, status, preloaded
    ):
        launch(argv=[option], wrapper=preloaded()).wait_for_exit(status)
        assert calls() == ["command_source_register_mainloop_thread()"]

    def test_whole_life(self, daemon, bus, calls, preloaded):
        running = daemon(wrapper=preloaded())
        assert calls() == STARTED
        light = Light(bus.client)
        light.switch(True)
        light.switch(True)
        light.switch(False)
        switched = sent(1, "ON") + sent(2, "ON") + sent(1, "OFF") + sent(2, "OFF")
        assert calls() == STARTED + switched
        running.stop()
        ended = [
            "event_producer_undeclare(1)",
            "event_producer_undeclare(2)",
            "event_producer_free(light_control)",
        ]
        assert calls() == STARTED + switched + ended
        assert events(bus) == []

    def test_hangup_leaves_a_lit_light_without_teardown(self, daemon, bus, calls, preloaded):
        running = daemon(wrapper=["env", "--default-signal=HUP", *preloaded()])
        Light(bus.client).switch(True)
        lit = calls()
        assert lit == STARTED + sent(1, "ON") + sent(2, "ON")
        os.kill(running.pid, signal.SIGHUP)
        running.wait_for_exit(-signal.SIGHUP)
        assert calls() == lit

    @pytest.mark.parametrize(
        "settings, line",
        [
            ({}, (log.WARNING, "Failed to send event")),
            (
                {"REPLACEMENT_INCOMPLETE": "1"},
                (log.INFO, "Event declaration process not complete. Event not sent."),
            ),
        ],
        ids=["complete", "incomplete"],
    )
    def test_event_that_cannot_be_sent(self, daemon, bus, syslog, calls, settings, line, preloaded):
        daemon(wrapper=preloaded(REPLACEMENT_FAIL="event_producer_send_event", **settings))
        light = Light(bus.client)
        light.switch(True)
        assert light.is_on()
        assert syslog.texts() == [line, line]
        steps = [call.partition("(")[0] for call in calls()[len(STARTED) :]]
        assert steps[-5:] == [
            "event_producer_prepare_event",
            "event_set_value",
            "event_producer_send_event",
            "event_producer_declaration_complete",
            "event_free",
        ]
        assert len(steps) == 10

    def test_declaration_that_cannot_be_made(self, launch, syslog, calls, preloaded):
        launch(wrapper=preloaded(REPLACEMENT_FAIL="event_declaration_new")).wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, "Unable to create event declaration"), SETUP_FAILED]

    def test_declaration_that_takes_no_key(self, launch, syslog, calls, preloaded):
        launch(wrapper=preloaded(REPLACEMENT_FAIL="event_declaration_add_key_value")).wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, "Unable to add key value: (light.app)"), SETUP_FAILED]
        assert calls()[-1] == "event_declaration_free()"

    @pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
    def test_signal_during_setup_takes_its_default_action(self, launch, syslog, calls, number, preloaded):
        blocking = preloaded(REPLACEMENT_BLOCK="event_producer_declare")
        running = launch(wrapper=["env", "--default-signal=INT,TERM", *blocking])
        deadline = time.monotonic() + 60
        while "event_producer_declare(light_control)" not in calls():
            assert time.monotonic() < deadline
            time.sleep(0.005)
        os.kill(running.pid, number)
        running.wait_for_exit(-number)
        assert syslog.lines() == []


def test_whole_library(daemon, sandbox, bus, calls):
    sandbox.path(BEAMD_CONF).unlink()
    name = "libbeamd-platform.so.0"
    library = replacement.install_replacement(sandbox, "BEAMD_REPLACEMENT_PLATFORM", name)
    search = f"LD_LIBRARY_PATH={library.removesuffix(f'/{name}')}"
    daemon(wrapper=["env", f"REPLACEMENT_CALLS={replacement.CALLS}", search])
    assert calls() == STARTED
    assert Controller(bus.client).count() == 1
