"""The Debian packages: what lintian says, and what they do on a booted system."""

from __future__ import annotations

import os
import shutil
import subprocess
import tempfile
from collections.abc import Iterator
from pathlib import Path

import pytest

from container import HERE, boot, make_tree, steps

REPOSITORY = HERE.parent.parent
BUILT = REPOSITORY / "build/packages"


@pytest.fixture(scope="module")
def packages() -> list[Path]:
    subprocess.run([REPOSITORY / "scripts/package"], check=True, stdout=subprocess.DEVNULL)
    return sorted(path for path in BUILT.glob("*.deb") if "-dbgsym_" not in path.name)


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
    keep_log(found, console)
    assert found.is_dir(), f"the scenario did not run:\n{console}"
    return found


def keep_log(found: Path, console: str) -> None:
    if not (log := os.environ.get("BEAMD_CONTAINER_LOG")):
        return
    with open(log, "w", encoding="utf-8") as file:
        if not found.is_dir():
            file.write(console)
        for step in steps():
            file.write(f"\n## {step}: {outcome(found, step)}\n{said(found, step)}")


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
    lintian = ["lintian", "--allow-root", "--fail-on", "error,warning", changes]
    result = subprocess.run(lintian, capture_output=True, text=True)
    assert result.returncode == 0, result.stdout + result.stderr


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
