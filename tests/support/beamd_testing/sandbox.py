"""A private view of the file system, with the processes that live in it."""

from __future__ import annotations

import os
import shutil
import signal
import subprocess
import tempfile
import time
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

from . import layout

SUPPORT = Path(__file__).resolve().parent.parent
_TIMEOUT = 10.0


def child_of(pid: int) -> int:
    """The only child of process @p pid."""
    deadline = time.monotonic() + _TIMEOUT
    while time.monotonic() < deadline:
        children = Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
        if children:
            return int(children[0])
        time.sleep(0.002)
    raise AssertionError(f"process {pid} has no child")


def _state(pid: int) -> str:
    return Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0]


def require_namespace() -> Path:
    """The folder of the tests' own tmpfs. Fails outside of the namespace wrapper."""
    work = os.environ.get("BEAMD_TEST_WORK")
    if not work or os.getuid() != 0 or not os.path.ismount(work):
        raise RuntimeError("run these tests with: tests/support/namespace /usr/bin/python3 -m pytest ...")
    return Path(work)


class Sandbox:
    """Held open by one process until close(). Paths "inside" are those that processes in the sandbox use."""

    def __init__(self) -> None:
        self.top = Path(tempfile.mkdtemp(prefix="t", dir=require_namespace()))
        self.top.chmod(0o755)
        layout.populate(self.top)
        # The holder ends with this process, whatever becomes of it: its input closes.
        self._holder = subprocess.Popen(
            [SUPPORT / "sandbox", self.top, "sh", "-c", "echo ready; exec cat"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
        )
        if self._holder.stdout.readline() != b"ready\n":
            raise RuntimeError(f"the sandbox did not come up (exit status {self._holder.wait()})")
        self._pid_namespace = os.readlink(self._namespace("pid_for_children"))
        # While it is held open no other sandbox gets the same one's number.
        self._held_namespace = os.open(self._namespace("pid_for_children"), os.O_RDONLY | os.O_CLOEXEC)

    def path(self, inside: str | Path) -> Path:
        """Where this process finds the file that is at the absolute path @p inside."""
        inside = str(inside)
        if inside.startswith("/var/run/"):  # an absolute link, which would lead out of the sandbox
            inside = inside.removeprefix("/var")
        return Path(f"/proc/{self._holder.pid}/root{inside}")

    def write(
        self, inside: str | Path, content: str | bytes, mode: int = 0o644, owner: tuple[int, int] = (0, 0)
    ) -> Path:
        """Writes a file, with the folders that lead to it. @p owner is the pair of user and group id."""
        path = self.path(inside)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content.encode() if isinstance(content, str) else content)
        os.chown(path, *owner)
        path.chmod(mode)
        return path

    def read(self, inside: str | Path) -> str:
        return self.path(inside).read_text()

    def fifo(self, inside: str | Path, mode: int = 0o600) -> Path:
        """Makes a FIFO, with the folders that lead to it."""
        path = self.path(inside)
        path.parent.mkdir(parents=True, exist_ok=True)
        os.mkfifo(path)
        path.chmod(mode)
        return path

    def command(self, argv: list, user: str | None = None, group: str | None = None) -> list[str]:
        """The command line that runs @p argv inside, from "/", as root or as @p user.

        The group is @p group, by default the user's primary one; the supplementary groups are the user's.
        """
        mount, pid = self._namespace("mnt"), self._namespace("pid_for_children")
        enter = [f"--mount={mount}", f"--pid={pid}", "--wdns=/"]
        become = []
        if user is not None:
            uid, gid = layout.USERS[user]
            if group is not None:
                gid = layout.GROUPS[group][0]
            become = ["setpriv", f"--reuid={uid}", f"--regid={gid}", "--init-groups"]
        return ["nsenter", *enter, *become, *map(str, argv)]

    def popen(
        self, argv: list, user: str | None = None, group: str | None = None, **options
    ) -> subprocess.Popen:
        """Starts @p argv inside. The process returned stands for it, but has another id: see child_of()."""
        return subprocess.Popen(self.command(argv, user, group), **options)

    def run(
        self, argv: list, user: str | None = None, group: str | None = None, check: bool = True, **options
    ) -> subprocess.CompletedProcess:
        """Runs @p argv inside and returns its exit status and its output, as text."""
        defaults = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT, "text": True, "timeout": 60}
        result = subprocess.run(self.command(argv, user, group), **(defaults | options))
        if check and result.returncode != 0:
            raise AssertionError(f"{argv} exited with {result.returncode}: {result.stdout}")
        return result

    def end(self, process: subprocess.Popen, number: int = signal.SIGTERM) -> int:
        """Sends signal @p number to what popen() started, unless it has ended; returns the exit status."""
        if process.poll() is None:
            os.kill(child_of(process.pid), number)
        return process.wait(_TIMEOUT)

    @contextmanager
    def paused(self, process: subprocess.Popen) -> Iterator[None]:
        """Holds what popen() started where it is, and lets it go on in the end."""
        os.kill(child_of(process.pid), signal.SIGSTOP)
        # nsenter stops as soon as it sees that the process has stopped, and wakes it up when it goes on.
        deadline = time.monotonic() + _TIMEOUT
        while _state(process.pid) != "T":
            assert time.monotonic() < deadline, "a process cannot be paused"
            time.sleep(0.002)
        try:
            yield
        finally:
            os.kill(process.pid, signal.SIGCONT)

    def processes(self) -> list[int]:
        """The ids, as this process sees them, of all processes inside, those that hold it open included."""
        return [pid for pid in map(int, filter(str.isdigit, os.listdir("/proc"))) if self._is_inside(pid)]

    def outer_pid(self, inner: int) -> int:
        """The id under which this process knows the process that is number @p inner inside."""
        for pid in self.processes():
            status = Path(f"/proc/{pid}/status").read_text()
            ids = next(line for line in status.splitlines() if line.startswith("NSpid:")).split()
            if int(ids[-1]) == inner:
                return pid
        raise AssertionError(f"no process {inner} in the sandbox")

    def close(self) -> None:
        """Ends everything inside. Fails when a process outlives that."""
        self._holder.stdin.close()
        self._holder.wait(_TIMEOUT)
        self._holder.stdout.close()
        deadline = time.monotonic() + _TIMEOUT
        while left := self.processes():
            assert time.monotonic() < deadline, f"processes outlived their sandbox: {left}"
            time.sleep(0.005)
        os.close(self._held_namespace)
        shutil.rmtree(self.top)

    def _namespace(self, name: str) -> str:
        return f"/proc/{self._holder.pid}/ns/{name}"

    def _is_inside(self, pid: int) -> bool:
        try:
            return os.readlink(f"/proc/{pid}/ns/pid") == self._pid_namespace
        except OSError:  # it ended meanwhile, or belongs to somebody else
            return False
