"""A Debian with systemd as its first process, in which the packages are tried."""

from __future__ import annotations

import contextlib
import re
import shutil
import subprocess
from pathlib import Path

HERE = Path(__file__).resolve().parent
REPOSITORY = HERE.parent.parent
SCENARIO = HERE / "scenario"
NEEDED_INSIDE = ["dbus", "libglib2.0-bin", "procps", "systemd-sysv"]
# Where the administrator of a camera changes something and a later version of the package does too.
CHANGED_BY_THE_UPGRADE = ["etc/beamd/illumination.conf", "etc/beamd-defaults/led0.conf"]
# Far more than it takes; a container that hangs is ended.
TIMEOUT = 600

# Nothing stays mounted, and no process alive, when this one has ended.
ALONE = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]


def steps() -> list[str]:
    """The names of the scenario's steps, in their order."""
    return re.findall(r"^step_(\w+)\(\) \{$", SCENARIO.read_text(), re.MULTILINE)


def field(package: Path, name: str) -> str:
    return subprocess.check_output(["dpkg-deb", "--field", package, name], text=True).strip()


def dependencies(packages: list[Path]) -> list[str]:
    """What @p packages need of the distribution: of alternatives the first."""
    own = {field(package, "Package") for package in packages}
    needed = {
        alternatives.split("|")[0].split()[0]
        for package in packages
        for name in ("Depends", "Pre-Depends")
        for alternatives in field(package, name).split(",")
        if alternatives.strip()
    }
    return sorted(needed - own)


def repack(package: Path, version: str, folder: Path) -> None:
    """Puts the same package into @p folder as another version, with other configuration files."""
    tree = folder / "tree"
    subprocess.run(["dpkg-deb", "--raw-extract", package, tree], check=True)
    control = tree / "DEBIAN/control"
    old = re.escape(field(package, "Version"))
    text = re.sub(rf"^Version: {old}$", f"Version: {version}", control.read_text(), flags=re.MULTILINE)
    control.write_text(re.sub(rf"\(= {old}\)", f"(= {version})", text))
    for path in filter(Path.exists, (tree / name for name in CHANGED_BY_THE_UPGRADE)):
        path.write_text(f"{path.read_text()}# as the later version has it\n")
    subprocess.run(["dpkg-deb", "--root-owner-group", "--build", tree, folder], check=True, stdout=subprocess.DEVNULL)
    shutil.rmtree(tree)


def make_tree(tree: Path, packages: list[Path]) -> None:
    """A minimal Debian with what @p packages need, the scenario, and the packages in two versions."""
    include = ",".join(NEEDED_INSIDE + dependencies(packages))
    subprocess.run(
        # Timers would work on their own in between.
        [*ALONE, "mmdebstrap", "--quiet", "--variant=minbase", f"--include={include}",
         '--customize-hook=rm -r "$1/etc/systemd/system/timers.target.wants"', "bookworm", tree],
        check=True,
    )
    for version in ("build/packages", "upgrade"):
        (tree / "scenario" / version).mkdir(parents=True)
    for package in packages:
        shutil.copy(package, tree / "scenario/build/packages")
        repack(package, f"{field(package, 'Version')}+upgraded", tree / "scenario/upgrade")
    shutil.copy(SCENARIO, tree / "scenario")
    shutil.copy(REPOSITORY / "README.md", tree / "scenario")
    units = tree / "etc/systemd/system"
    shutil.copy(HERE / "scenario.service", units)
    (units / "multi-user.target.wants").mkdir(exist_ok=True)
    (units / "multi-user.target.wants/scenario.service").symlink_to("/etc/systemd/system/scenario.service")


def boot(tree: Path) -> str:
    """Runs the container until it ends, at the latest when the time is up. Returns what it said on its console."""
    console = tree.parent / "console"
    with console.open("wb") as output, contextlib.suppress(subprocess.TimeoutExpired):
        subprocess.run(
            [*ALONE, "systemd-nspawn", "--quiet", "--directory", tree, "--boot", "--register=no", "--keep-unit",
             "--private-network", "--console=pipe"],
            stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, timeout=TIMEOUT, check=False,
        )
    return console.read_text(errors="replace")
