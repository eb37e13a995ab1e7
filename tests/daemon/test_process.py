"""The life of the process: options, log, background, privileges, signals."""

from __future__ import annotations

import os
import re
import signal
import time
from pathlib import Path

import pytest

from beamd_testing import layout, syslog as log
from beamd_testing.daemon import Daemon
from beamd_testing.installation import install_dummies

SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
DROP_FAILED = (log.ERR, "Failed setting uid and gid of the process.")
TERMINATING = (log.INFO, "Terminating")
STARTING = (log.INFO, "beamd starting.")
TRY_HELP = "Try -? or --help for more information.\n"

LIGHT_UID = layout.USERS["light"][0]
LIGHT_GID = layout.GROUPS["light"][0]
PRIMARY_GID = layout.USERS["light"][1]
GPIO_GID = layout.GROUPS["gpio"][0]
NOBODY = layout.USERS["nobody"][0]


@pytest.fixture(autouse=True)
def installed(sandbox):
    # Without a zoom group, nothing is written while the light is set up.
    install_dummies(sandbox, {"zoom": None})


def unprivileged(gid: int = NOBODY, capabilities: str = "") -> list[str]:
    """A wrapper that runs the daemon as nobody; it can read whatever the tests put before it."""
    held = f"-all,+dac_read_search{capabilities}"
    become = [f"--reuid={NOBODY}", f"--regid={gid}", "--clear-groups"]
    return ["setpriv", *become, f"--inh-caps={held}", f"--ambient-caps={held}"]


def wait_until_handling_signals(daemon: Daemon) -> None:
    deadline = time.monotonic() + 60
    while not int(daemon.status()["SigCgt"], 16) & 1 << (signal.SIGTERM - 1):
        assert time.monotonic() < deadline, "SIGTERM is never handled"
        time.sleep(0.005)


class TestOptions:
    @pytest.mark.parametrize(
        "argv, complaint",
        [
            (["--nonsense"], "Unknown option --nonsense"),
            (["-x"], "Unknown option -x"),
            (["-n", "-d", "--no-demon"], "Unknown option --no-demon"),
        ],
    )
    def test_unknown_option_is_told_on_stderr_before_the_log_is_opened(self, launch, syslog, argv, complaint):
        failing = launch(argv=argv)
        failing.wait_for_exit(1)
        assert failing.stderr == f"{complaint}\n{TRY_HELP}"
        assert syslog.lines() == []

    @pytest.mark.parametrize("option", ["-?", "--help"])
    def test_help_lists_the_options(self, launch, capfd, option):
        launch(argv=[option]).wait_for_exit(0)
        text = capfd.readouterr().out
        assert re.search(r"^  -d, --debug +Enable debug output prints$", text, re.MULTILINE)
        assert re.search(r"^  -n, --no-daemon +Do not daemonize$", text, re.MULTILINE)

    @pytest.mark.parametrize("option", ["-d", "--debug"])
    def test_debug_option_turns_debug_prints_on(self, launch, sandbox, syslog, option):
        sandbox.path("/etc/beamd/led0.conf").unlink()
        launch(argv=["-n", option]).wait_for_exit(1)
        assert (log.INFO, "Reading state from file '/etc/beamd/led0.conf'") in syslog.texts()

    def test_without_it_there_are_none(self, launch, sandbox, syslog):
        sandbox.path("/etc/beamd/led0.conf").unlink()
        launch(argv=["-n"]).wait_for_exit(1)
        assert not any(severity == log.INFO for severity, _ in syslog.texts())


class TestForeground:
    @pytest.mark.parametrize("option", ["-n", "--no-daemon"])
    def test_it_stays_and_mirrors_the_log_on_stderr(self, daemon, sandbox, syslog, option):
        running = daemon(argv=[option], wrapper=["env", "--chdir=/usr/share"])
        assert running.process.poll() is None
        assert os.path.samefile(f"/proc/{running.pid}/cwd", sandbox.path("/usr/share"))
        running.stop()
        assert syslog.texts() == [TERMINATING]
        line = syslog.lines()[0]
        assert line.facility == log.FACILITY_LOCAL5
        assert running.stderr == f"beamd[{line.pid}]: Terminating\n"

    def test_what_no_log_daemon_takes_goes_to_the_console(self, launch, sandbox, syslog):
        sandbox.path("/etc/beamd/beamd.conf").unlink()
        sandbox.path("/dev/log").unlink()
        sandbox.write("/dev/console", "")
        launch(argv=["-n"]).wait_for_exit(1)
        assert SETUP_FAILED[1] in sandbox.read("/dev/console")


class TestBackground:
    def test_it_leaves_the_terminal(self, daemon, sandbox, syslog):
        redirected = ["sh", "-c", 'cd /usr/share; exec "$@" </etc/passwd', "sh"]
        running = daemon(argv=[], detaches=True, wrapper=redirected)
        assert running.process.wait(10) == 0
        process = Path(f"/proc/{running.pid}")
        assert os.path.samefile(process / "cwd", sandbox.path("/"))
        for number in range(3):
            assert os.path.samefile(process / f"fd/{number}", "/dev/null")
        session = (process / "stat").read_text().rpartition(")")[2].split()[3]
        assert session != Path("/proc/self/stat").read_text().rpartition(")")[2].split()[3]
        inner_pid = syslog.wait_for(STARTING).pid
        assert sandbox.outer_pid(inner_pid) == running.pid
        running.stop()
        assert syslog.texts() == [STARTING, TERMINATING]
        assert [(line.facility, line.pid) for line in syslog.lines()] == [
            (log.FACILITY_DAEMON, inner_pid)
        ] * 2
        assert running.stderr == ""

    def test_the_console_is_left_alone(self, launch, sandbox, syslog):
        sandbox.path("/etc/beamd/beamd.conf").unlink()
        sandbox.path("/dev/log").unlink()
        sandbox.write("/dev/console", "")
        launch(argv=[]).wait_for_exit(0)
        deadline = time.monotonic() + 60
        while any("beamd" in Path(f"/proc/{pid}/comm").read_text() for pid in sandbox.processes()):
            assert time.monotonic() < deadline
            time.sleep(0.005)
        assert sandbox.read("/dev/console") == ""

    def test_daemon_failing(self, launch, syslog):
        no_children = [*unprivileged(), "prlimit", "--nproc=0"]
        failing = launch(argv=[], wrapper=no_children, environment={"LSAN_OPTIONS": "detect_leaks=0"})
        failing.wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, "Daemon failed: Resource temporarily unavailable")]
        assert syslog.lines()[0].facility == log.FACILITY_DAEMON

    def test_setup_failing_is_logged_after_the_start(self, launch, sandbox, syslog):
        sandbox.path("/etc/beamd/beamd.conf").unlink()
        launch(argv=[]).wait_for_exit(0)
        syslog.wait_for(SETUP_FAILED)
        reason = (
            log.ERR,
            "Unable to open config file /etc/beamd/beamd.conf for beamd: No such file or directory",
        )
        assert syslog.texts() == [STARTING, reason, SETUP_FAILED]


def test_setup_failing_ends_the_process(launch, sandbox, syslog):
    sandbox.path("/etc/beamd/beamd.conf").unlink()
    launch().wait_for_exit(1)
    assert syslog.texts()[-1] == SETUP_FAILED


class TestPrivileges:
    def test_user_and_group_are_those_named_light(self, daemon, sandbox):
        sandbox.path("/etc/beamd/led0.conf").chmod(0o600)  # setup still runs as root
        status = daemon().status()
        assert status["Uid"].split() == [str(LIGHT_UID)] * 4
        assert status["Gid"].split() == [str(LIGHT_GID)] * 4
        assert set(status["Groups"].split()) == {str(LIGHT_GID), str(PRIMARY_GID), str(GPIO_GID)}
        assert int(status["CapEff"], 16) == 0

    def refuse(self, launch, syslog, pattern: str, wrapper: list[str] = ()) -> None:
        launch(wrapper=wrapper).wait_for_exit(1)
        (severity, text), last = syslog.texts()
        assert severity == log.ERR and re.fullmatch(pattern, text)
        assert last == DROP_FAILED

    def test_missing_user(self, launch, sandbox, syslog):
        sandbox.write("/etc/passwd", layout.passwd().replace("light:x", "lamp:x"))
        self.refuse(launch, syslog, r'Couldn\'t get uid for user "light": .+\.')

    def test_missing_group(self, launch, sandbox, syslog):
        sandbox.write("/etc/group", layout.group().replace("light:x", "lamp:x"))
        self.refuse(launch, syslog, r'Couldn\'t get gid for group "light": .+\.')

    def test_group_cannot_be_set(self, launch, syslog):
        text = f"Failed setting gid to {LIGHT_GID}: Operation not permitted"
        self.refuse(launch, syslog, text, unprivileged())

    def test_groups_cannot_be_set(self, launch, syslog):
        text = (
            rf"Unable to run initgroups\(\) with username: light, gid: {LIGHT_GID}: Operation not permitted"
        )
        self.refuse(launch, syslog, text, unprivileged(gid=LIGHT_GID))

    def test_user_cannot_be_set(self, launch, syslog):
        text = f"Failed setting uid to {LIGHT_UID}: Operation not permitted"
        self.refuse(launch, syslog, text, unprivileged(capabilities=",+setgid"))


class TestSignals:
    @pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
    def test_asked_to_end_it_terminates_cleanly(self, daemon, syslog, number):
        running = daemon()
        running.stop(number)
        assert syslog.texts() == [TERMINATING]

    def test_hangup_ends_it_without_cleanup(self, daemon, syslog):
        running = daemon(wrapper=["env", "--default-signal=HUP"])
        os.kill(running.pid, signal.SIGHUP)
        running.wait_for_exit(-signal.SIGHUP)
        assert syslog.lines() == []


@pytest.mark.parametrize("asks_for_power", [False, True])
def test_no_bus_is_no_reason_not_to_run(launch, sandbox, bus, syslog, asks_for_power):
    install_dummies(sandbox, {"zoom": None, "common": {"usepowerrequest": asks_for_power}})
    bus.stop()
    running = launch(expected_complaint="should not be reached")
    wait_until_handling_signals(running)
    assert running.status()["Uid"].split() == [str(LIGHT_UID)] * 4
    running.stop()

    *proxies, last = syslog.texts()
    assert last == TERMINATING
    if asks_for_power:
        assert proxies.pop() == (log.INFO, "Can not register at wattd: wattd is down")
    assert len(proxies) == (2 if asks_for_power else 1)
    for severity, text in proxies:
        assert severity == log.CRIT and text.startswith("Failed to setup proxy Could not connect: ")
