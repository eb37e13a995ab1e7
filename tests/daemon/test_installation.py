"""What `meson install` puts into an image."""

from __future__ import annotations

import os
import re
import shutil
import stat
import subprocess
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import pytest

from beamd_testing.log_lines import TERMINATING
from beamd_testing.services import Controller, Light

REPOSITORY = Path(__file__).resolve().parent.parent.parent


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


def test_the_platforms_headers_are_installed(image: Path) -> None:
    headers = sorted(path.name for path in (image / "include/beamd-platform").iterdir())
    assert headers == ["bootblock.h", "command_source.h", "event_producer.h", "kvreader.h", "status_cache.h"]


USER_OF_THE_LIBRARY = """\
#include <kvreader.h>
int main() { return kvreader_opencfg("/dev/null") ? 0 : 1; }
"""


def test_the_platform_library_can_be_built_against(image: Path, tmp_path: Path) -> None:
    [description] = image.rglob("beamd-platform.pc")
    where = {"PKG_CONFIG_PATH": str(description.parent), "PKG_CONFIG_SYSROOT_DIR": str(image.parent)}
    asked = ["pkg-config", "--cflags", "--libs", "beamd-platform"]
    options = subprocess.check_output(asked, env=os.environ | where, text=True).split()
    assert "-lbeamd-platform" in options
    (tmp_path / "user.cpp").write_text(USER_OF_THE_LIBRARY)
    # A library that was built with sanitizers leaves theirs to the executable.
    output_of("c++", tmp_path / "user.cpp", "-o", tmp_path / "user", *options, "-Wl,--allow-shlib-undefined")
    assert "libbeamd-platform.so.0" in output_of("objdump", "-p", tmp_path / "user")


def test_the_package_has_the_version_of_what_is_in_it() -> None:
    told = re.search(r"^  version: '(.*)',$", (REPOSITORY / "meson.build").read_text(), re.MULTILINE)
    packaged = re.match(r"beamd \((.*)\) ", (REPOSITORY / "debian/changelog").read_text())
    assert told and packaged and told[1] == packaged[1]


def test_the_bus_policy_is_installed_with_its_user_filled_in(image: Path) -> None:
    policy = ElementTree.parse(image / "share/dbus-1/system.d/com.velk.LightController.conf")
    users = {element.get("user") for element in policy.iter("policy")} - {None}
    assert users == {"root", "light"}


PLACES = [
    "etc/beamd/beamd.conf",
    "etc/beamd/illumination.conf",
    "etc/beamd/led0.conf",
    "usr/bin/beamctl",
    "usr/lib/systemd/system/beamd.service",
    "usr/lib/sysusers.d/beamd.conf",
    "usr/lib/tmpfiles.d/beamd.conf",
    "usr/sbin/beamd",
    "usr/share/bash-completion/completions/beamctl",
    "usr/share/beamd/led0.conf",
    "usr/share/dbus-1/interfaces/com.velk.LightController.xml",
    "usr/share/dbus-1/interfaces/com.velk.LightController.Led.xml",
    "usr/share/dbus-1/system.d/com.velk.LightController.conf",
    "usr/share/factory/etc/beamd/led0.conf",
    "usr/share/man/man1/beamctl.1",
    "usr/share/man/man5/beamd.conf.5",
    "usr/share/man/man8/beamd.8",
    "usr/share/zsh/site-functions/_beamctl",
]


def test_everything_has_its_place(image: Path) -> None:
    assert [place for place in PLACES if not (image.parent / place).is_file()] == []


def files_below(folder: Path) -> dict[Path, bytes]:
    return {path.relative_to(folder): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def test_the_examples_are_installed(image: Path) -> None:
    installed = files_below(image / "share/doc/beamd/examples")
    assert installed == files_below(REPOSITORY / "data/examples")
    assert len(installed) > 50


def test_what_is_installed_works_at_once(image: Path, daemon, sandbox, bus, syslog) -> None:
    for folder in ("etc/beamd", "usr/share/beamd"):
        for path, content in files_below(image.parent / folder).items():
            sandbox.write(f"/{folder}/{path}", content)
    running = daemon()
    assert [each[:3] for each in Controller(bus.client).lights()] == [("led0", "IR", 1)]
    light = Light(bus.client)
    light.switch(True)
    light.set("ManualSetIntensity", 60)
    assert light.is_on() and light.call("GetIntensity") == 60
    running.stop()
    assert "manualintensity=60\n" in sandbox.read("/etc/beamd/led0.conf")
    assert syslog.texts() == [TERMINATING]


@pytest.fixture
def system(image: Path, tmp_path: Path) -> Path:
    """A system with what is installed, before its first start: without its own state file."""
    shutil.copytree(image.parent / "etc", tmp_path / "etc")
    for folder in ("lib/sysusers.d", "lib/tmpfiles.d", "share/factory"):
        shutil.copytree(image / folder, tmp_path / "usr" / folder)
    (tmp_path / "etc/beamd/led0.conf").unlink()
    return tmp_path


def entries(path: Path) -> dict[str, list[str]]:
    """The fields of each account in a file like /etc/passwd."""
    return {line.split(":")[0]: line.split(":") for line in path.read_text().splitlines()}


def test_user_and_groups_are_made(system: Path) -> None:
    output_of("systemd-sysusers", f"--root={system}", "beamd.conf")
    groups = entries(system / "etc/group")
    light = entries(system / "etc/passwd")["light"]
    assert light[3] == groups["light"][2] != "0"
    assert light[6].endswith("/nologin")
    assert groups["gpio"][3] == "light"


def test_the_folder_and_the_state_file_get_owners_and_modes(system: Path) -> None:
    output_of("systemd-sysusers", f"--root={system}", "beamd.conf")
    output_of("systemd-tmpfiles", f"--root={system}", "--create", "beamd.conf")
    light = entries(system / "etc/passwd")["light"]
    uid, gid = int(light[2]), int(light[3])
    assert access_to(system / "etc/beamd") == (0o775, 0, gid)
    assert access_to(system / "etc/beamd/led0.conf") == (0o600, uid, gid)
    default = REPOSITORY / "data/default/etc/beamd/led0.conf"
    assert (system / "etc/beamd/led0.conf").read_bytes() == default.read_bytes()


def test_settings_are_not_reset(system: Path) -> None:
    (system / "etc/beamd/led0.conf").write_text("as the daemon left it")
    output_of("systemd-sysusers", f"--root={system}", "beamd.conf")
    output_of("systemd-tmpfiles", f"--root={system}", "--create", "beamd.conf")
    assert (system / "etc/beamd/led0.conf").read_text() == "as the daemon left it"


def access_to(path: Path) -> tuple[int, int, int]:
    status = path.stat()
    return stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid


@pytest.fixture
def unit(image: Path, tmp_path: Path) -> Path:
    """The unit, with the program where it has been installed for this test."""
    text = (image / "lib/systemd/system/beamd.service").read_text()
    assert "ExecStart=/usr/sbin/beamd --no-daemon\n" in text
    path = tmp_path / "beamd.service"
    path.write_text(text.replace("/usr/sbin/beamd", str(image / "sbin/beamd")))
    return path


def test_systemd_accepts_the_unit(unit: Path) -> None:
    result = subprocess.run(
        ["systemd-analyze", "verify", "--man=no", unit], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
    )
    assert (result.returncode, result.stdout) == (0, "")


def test_the_unit_is_exposed_to_little(unit: Path) -> None:
    """At most 2.5 on systemd's scale, which ends at 10."""
    output_of("systemd-analyze", "security", "--offline=true", "--threshold=25", "--no-pager", unit)
