"""What `meson install` puts into an image."""

from __future__ import annotations

import os
import subprocess
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import pytest


def output_of(*command: str | Path) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


@pytest.fixture(scope="module")
def image(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The tree below the prefix."""
    top = tmp_path_factory.mktemp("image")
    build = os.environ["BEAMD_BUILD_DIR"]
    output_of("meson", "install", "-C", build, "--no-rebuild", "--quiet", "--destdir", top)
    return top / "usr"


EXPORTED = ["BEAMD_DEBUG_FLAG", "light_controller_shutdown"]
EXPORTED_TO_SERIAL_BACKENDS = ["beamd_platform", "debug_output", "sensor_reinit", "serial_link_create"]


def test_the_executable_exports_its_globals_and_nothing_else(image: Path) -> None:
    lines = output_of("nm", "--dynamic", "--defined-only", "--format=posix", image / "sbin/beamd").splitlines()
    assert sorted(line.split()[0] for line in lines) == sorted(EXPORTED + EXPORTED_TO_SERIAL_BACKENDS)


def test_the_executable_loads_the_platform_library(image: Path) -> None:
    [library] = image.rglob("libbeamd-platform.so.0")
    environment = {**os.environ, "LD_LIBRARY_PATH": str(library.parent)}
    loaded = subprocess.check_output(["ldd", image / "sbin/beamd"], env=environment, text=True)
    assert f"libbeamd-platform.so.0 => {library}" in loaded


def test_the_platform_library_can_be_built_against(image: Path) -> None:
    headers = sorted(path.name for path in (image / "include/beamd-platform").iterdir())
    assert headers == ["bootblock.h", "command_source.h", "event_producer.h", "kvreader.h", "status_cache.h"]
    [description] = image.rglob("beamd-platform.pc")
    assert "-lbeamd-platform" in description.read_text()


def test_the_bus_policy_is_installed_with_its_user_filled_in(image: Path) -> None:
    policy = ElementTree.parse(image / "share/dbus-1/system.d/com.velk.LightController.conf")
    users = {element.get("user") for element in policy.iter("policy")} - {None}
    assert users == {"root", "light"}
