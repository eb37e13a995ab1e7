"""The Debian packages: what lintian says, and what they do on a booted system."""

from __future__ import annotations

import os
import shutil
import signal
import subprocess
import tempfile
from collections.abc import Iterator
from pathlib import Path

import pytest

from container import ALONE, REPOSITORY, boot, make_tree, steps

BUILT = REPOSITORY / "build/packages"


@pytest.fixture(scope="module", autouse=True)
def ends_when_terminated() -> None:
    """As with Ctrl-C: what runs is ended and what was made is removed."""
    signal.signal(signal.SIGTERM, signal.default_int_handler)


@pytest.fixture(scope="module")
def packages() -> list[Path]:
    subprocess.run([*ALONE, REPOSITORY / "scripts/package"], check=True, stdout=subprocess.DEVNULL)
    return sorted(BUILT.glob("*.deb"))


@pytest.fixture(scope="module")
def tree(packages: list[Path]) -> Iterator[Path]:
    top = Path(tempfile.mkdtemp(prefix="beamd-container-", dir="/var/tmp"))
    try:
        make_tree(top / "tree", packages)
        yield top / "tree"
    finally:
        shutil.rmtree(top)


@pytest.fixture(scope="module")
def results(tree: Path) -> Path:
    """The folder that the scenario has filled."""
    console = boot(tree)
    found = tree / "scenario/results"
    keep_log("" if found.is_dir() else console)
    for step in steps():
        keep_log(f"\n## {step}: {outcome(found, step)}\n{said(found, step)}")
    assert found.is_dir(), f"the scenario did not run:\n{console}"
    return found


def keep_log(text: str) -> None:
    if log := os.environ.get("BEAMD_CONTAINER_LOG"):
        with open(log, "a", encoding="utf-8") as file:
            file.write(text)


def outcome(found: Path, step: str) -> str:
    path = found / step
    return path.read_text().strip() if path.exists() else "did not run"


def said(found: Path, step: str) -> str:
    path = found / f"{step}.log"
    return path.read_text(errors="replace") if path.exists() else ""


def test_the_packages_are_those_that_are_told(packages: list[Path]) -> None:
    names = sorted(path.name.split("_")[0] for path in packages)
    assert names == ["beamd", "libbeamd-platform-dev", "libbeamd-platform0"]


def test_lintian_has_no_complaint(packages: list[Path]) -> None:
    [changes] = BUILT.glob("*.changes")
    lintian = ["lintian", "--allow-root", "--display-info", "--fail-on", "error,warning", changes]
    result = subprocess.run(lintian, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    keep_log(f"## lintian\n{result.stdout}")
    assert result.returncode == 0, result.stdout


def test_they_go_into_an_image_that_does_not_run(tree: Path) -> None:
    image = tree.parent / "image"
    subprocess.run(["cp", "--archive", tree, image], check=True)
    dpkg = ["dpkg", "--root", image]
    subprocess.run([*dpkg, "--install", *(image / "scenario/build/packages").iterdir()], check=True)
    assert (image / "etc/beamd/beamd.conf").exists() and account(image, "light") != ""
    assert (image / "etc/systemd/system/multi-user.target.wants/beamd.service").is_symlink()
    subprocess.run([*dpkg, "--purge", "beamd"], check=True)
    assert not (image / "etc/beamd").exists() and account(image, "light") == ""


def account(image: Path, name: str) -> str:
    lines = (image / "etc/passwd").read_text().splitlines()
    return next((line for line in lines if line.startswith(f"{name}:")), "")


@pytest.mark.parametrize("step", steps())
def test_step(step: str, results: Path) -> None:
    assert outcome(results, step) == "passed", said(results, step)
