"""The sandbox, its log and the texts of its files do what the daemon's tests rely on."""

from __future__ import annotations

import os
import signal
import subprocess
from pathlib import Path

import pytest
from gi.repository import GLib

from beamd_testing import configuration, layout, syslog as log
from beamd_testing.sandbox import SUPPORT, Sandbox, child_of
from beamd_testing.timeline import Event

LIGHT_UID, LIGHT_PRIMARY_GID = layout.USERS["light"]
LIGHT_GID = layout.GROUPS["light"][0]


class TestSandbox:
    def test_etc_is_private(self, sandbox):
        sandbox.write("/etc/beamd/beamd.conf", "inside")
        sandbox.run(["sh", "-c", "echo more >/etc/made-inside"])
        assert sandbox.run(["cat", "/etc/beamd/beamd.conf"]).stdout == "inside"
        assert sandbox.read("/etc/made-inside") == "more\n"
        assert not Path("/etc/made-inside").exists()
        installed = Path("/etc/beamd/beamd.conf")
        assert not installed.exists() or installed.read_text() != "inside"

    def test_what_was_read_before_can_be_rewritten_from_outside(self, sandbox):
        for text in ("first", "second, and longer"):
            sandbox.write("/usr/share/beamd/led0.conf", text)
            sandbox.write("/etc/fw_env.config", text)
            assert sandbox.run(["cat", "/usr/share/beamd/led0.conf", "/etc/fw_env.config"]).stdout == text * 2

    def test_what_is_installed_does_not_show(self, sandbox):
        for folder in ("/etc/beamd", "/usr/share/beamd"):
            sandbox.write(f"{folder}/led0.conf", "")
            assert sandbox.run([SUPPORT / "in_sandbox", "ls", "-A", folder]).stdout == ""

    def test_two_sandboxes_do_not_meet(self, sandbox):
        other = Sandbox()
        sandbox.write("/run/poeclass", "3")
        assert other.run(["ls", "/run/poeclass"], check=False).returncode != 0
        assert sandbox.read("/var/run/poeclass") == "3"
        other.close()

    def test_sys_dev_and_run_start_empty(self, sandbox):
        assert sandbox.run(["ls", "/sys"]).stdout == ""
        assert "null" in sandbox.run(["ls", "/dev"]).stdout.split()
        assert "sda" not in sandbox.run(["ls", "/dev"]).stdout
        assert sandbox.run(["ls", "/run"]).stdout.split() == ["dbus", "lock", "mount"]

    def test_devices_can_be_made(self, sandbox):
        sandbox.write("/dev/i2c-3", "", mode=0o600)
        sandbox.fifo("/dev/datacache0")
        kinds = sandbox.run(["stat", "-c", "%F", "/dev/i2c-3", "/dev/datacache0"]).stdout
        assert kinds == "regular empty file\nfifo\n"
        sandbox.run(["sh", "-c", "echo x >/dev/null"])

    def test_users_resolve(self, sandbox):
        expected = f"uid={LIGHT_UID}(light) gid={LIGHT_PRIMARY_GID}(lightfiles)"
        assert sandbox.run(["id", "light"]).stdout.startswith(expected)
        assert sandbox.run(["getent", "group", "gpio"]).stdout == "gpio:x:813:light\n"
        assert LIGHT_GID != LIGHT_PRIMARY_GID

    def test_files_change_group(self, sandbox):
        path = sandbox.write("/sys/class/led0", "0", owner=(0, LIGHT_PRIMARY_GID), mode=0o664)
        assert sandbox.run(["stat", "-c", "%U:%G %a", "/sys/class/led0"]).stdout == "root:lightfiles 664\n"
        sandbox.run(["chown", "root:light", "/sys/class/led0"])
        assert os.stat(path).st_gid == LIGHT_GID

    def test_processes_run_as_light(self, sandbox):
        sandbox.write("/etc/secret", "", mode=0o600)
        assert sandbox.run(["id", "-un"], user="light").stdout == "light\n"
        assert sandbox.run(["id", "-G"], user="light", group="light").stdout.split() == ["812", "811", "813"]
        assert sandbox.run(["cat", "/etc/secret"], user="light", check=False).returncode != 0
        sandbox.run(["sh", "-c", "echo x >/etc/beamd/new"], user="light", group="light")

    def test_exit_status_and_output_come_back(self, sandbox):
        result = sandbox.run(["sh", "-c", "echo out; echo err >&2; exit 5"], check=False)
        assert (result.returncode, result.stdout) == (5, "out\nerr\n")
        with pytest.raises(AssertionError, match="exited with 5"):
            sandbox.run(["sh", "-c", "exit 5"])

    def test_environment_is_kept(self, sandbox):
        assert sandbox.run(["sh", "-c", "echo $MARK"], env={**os.environ, "MARK": "x"}).stdout == "x\n"

    def test_stragglers_die(self):
        sandbox = Sandbox()
        sandbox.run(["sh", "-c", "(setsid sleep 1000 >/dev/null 2>&1 &)"])
        process = sandbox.popen(["sleep", "1000"])
        straggler = child_of(process.pid)
        assert straggler in sandbox.processes() and len(sandbox.processes()) == 4
        sandbox.close()
        assert process.wait(10) == -signal.SIGKILL
        assert not Path(f"/proc/{straggler}").exists()

    def test_inner_process_ids_are_translated(self, sandbox):
        process = sandbox.popen(["sh", "-c", "echo $$; exec sleep 1000"], stdout=-1, text=True)
        assert sandbox.outer_pid(int(process.stdout.readline())) == child_of(process.pid)
        assert sandbox.end(process) == -signal.SIGTERM
        process.stdout.close()


class TestSyslog:
    def test_lines_come_in_order(self, sandbox, syslog):
        script = "import syslog as s; s.openlog('beamd', s.LOG_PID, s.LOG_LOCAL5)\n"
        script += "for i in range(300): s.syslog(s.LOG_ERR, f'line {i}: %m')\n"
        script += "s.openlog('other'); s.syslog(s.LOG_INFO, 'not ours')"
        sandbox.run(["/usr/bin/python3", "-c", script], user="light")
        assert syslog.texts() == [(log.ERR, f"line {i}: %m") for i in range(300)]
        first = syslog.lines()[0]
        assert (first.facility, first.ident, first.number) == (log.FACILITY_LOCAL5, "beamd", 0)
        assert first.pid is not None
        other = syslog.wait_for((log.INFO, "not ours"), ident="other")
        assert (other.pid, other.number) == (None, 300)

    def test_waiting_ends_with_an_account_of_what_came(self, sandbox, syslog):
        sandbox.run(["logger", "-t", "beamd", "-p", "daemon.warning", "here I am"])
        assert syslog.wait_for((log.WARNING, "here I am")).facility == log.FACILITY_DAEMON
        with pytest.raises(AssertionError, match="here I am"):
            syslog.wait_for((log.ERR, "here I am"), timeout=0.1)
        with pytest.raises(AssertionError):
            syslog.wait_for(lambda line: True, timeout=0.1, after=syslog.timeline.now())


class TestScripts:
    def test_namespace_says_why_it_cannot_run(self, sandbox):
        sandbox.write("/run/namespace", (SUPPORT / "namespace").read_bytes(), mode=0o755)
        result = sandbox.run(["/run/namespace", "true"], user="nobody", check=False)
        assert result.returncode == 1
        assert "the tests cannot run here: unshare" in result.stdout

    def test_in_sandbox_passes_on(self, tmp_path):
        script = "pwd; echo $MARK; id -u light; ls /etc/beamd /run/made >&2; exit 9"
        result = subprocess.run(
            [SUPPORT / "in_sandbox", "sh", "-c", "touch /run/made; " + script],
            cwd=tmp_path,
            env={**os.environ, "MARK": "x"},
            capture_output=True,
            text=True,
        )
        assert (result.returncode, result.stderr) == (9, "/run/made\n\n/etc/beamd:\n")
        assert result.stdout == f"{tmp_path}\nx\n{LIGHT_UID}\n"

class TestConfiguration:
    def test_overrides_replace_add_and_remove(self):
        text = configuration.key_file(
            {"a": {"x": 1, "y": 2}, "b": {"z": True}},
            {"a": {"x": 9, "y": None, "w": [1, 2]}, "b": None, "c": {"v": "t"}},
        )
        assert text == "[a]\nx=9\nw=1;2;\n\n[c]\nv=t\n"

    def test_light_state_is_a_key_file(self):
        file = GLib.KeyFile()
        text = configuration.light_state({"common": {"intensity": 3}})
        file.load_from_data(text, len(text), GLib.KeyFileFlags.NONE)
        assert file.get_integer("common", "intensity") == 3
        assert file.get_integer_list("common", "intensities") == [60, 60]
        assert file.get_boolean("zoom", "automaticangleofillumination")

    def test_main_file_lists_the_lights(self):
        text = configuration.beamd_conf(["Dummy", "LED1I2C"])
        assert text == "[LED]\nNbrOfLeds=2\n\n[LED.L0]\nType=Dummy\n\n[LED.L1]\nType=LED1I2C\n"


def test_timeline_waits_only_for_what_comes_after(timeline):
    class Source:
        def __init__(self):
            self.reader, self.writer = os.pipe()
            os.set_blocking(self.reader, False)
            self.events = []

        def fileno(self):
            return self.reader

        def receive(self):
            try:
                self.events += [Event() for _ in os.read(self.reader, 100)]
            except BlockingIOError:
                pass
            return True

        def take_events(self):
            events, self.events = self.events, []
            return events

    source = Source()
    timeline.record(source)
    os.write(source.writer, b"ab")
    assert [event.number for event in timeline.events()] == [0, 1]
    with pytest.raises(AssertionError):
        timeline.wait_for(lambda event: True, timeout=0.05, after=2)
    os.write(source.writer, b"c")
    assert timeline.wait_for(lambda event: True, after=2).number == 2
    timeline.forget(source)
