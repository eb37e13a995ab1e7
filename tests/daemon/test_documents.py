"""Every command that a document shows is run here as it stands there.

The commands are the lines indented by four blanks. One that no test below takes makes test_every_command_is_taken fail.
"""

from __future__ import annotations

import os
import shutil
import subprocess
from pathlib import Path

import pytest
from beamd_testing.installation import install_example

REPOSITORY = Path(__file__).resolve().parent.parent.parent
DOCUMENTS = ["README.md", "CONTRIBUTING.md", "docs/architecture.md"]

BUILDING = ("meson ", "ninja ")
ASKING = ("gdbus ", "cat ")
# What this test is run by.
CHECKING = ("scripts/check",)
DEMONSTRATING = ("scripts/demo",)
RUNNING = ("beamd ",)


def commands(*prefixes: str) -> list[str]:
    found = []
    for document in DOCUMENTS:
        fenced = False
        for line in (REPOSITORY / document).read_text().splitlines():
            fenced ^= line.startswith("```")
            if line.startswith("    ") and not fenced:
                found.append(line.split(" #")[0].strip())
    return [command for command in found if command.startswith(prefixes or "")]


@pytest.fixture(scope="module")
def checkout(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The tree as git knows it, without anything built."""
    top = tmp_path_factory.mktemp("checkout")
    listed = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "-z"]
    names = subprocess.check_output(listed, cwd=REPOSITORY, text=True).split("\0")
    for name in filter(None, names):
        if (REPOSITORY / name).exists():
            (top / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(REPOSITORY / name, top / name)
    return top


def run(command: str, checkout: Path) -> str:
    result = subprocess.run(
        command, shell=True, cwd=checkout, stdin=subprocess.DEVNULL, capture_output=True, text=True
    )
    assert result.returncode == 0, f"{command}\n{result.stdout}{result.stderr}"
    return result.stdout


def test_every_command_is_taken() -> None:
    assert sorted(commands()) == sorted(commands(*BUILDING, *ASKING, *CHECKING, *DEMONSTRATING, *RUNNING))


@pytest.fixture(scope="module")
def image(checkout: Path) -> Path:
    """What the commands in the README build and install."""
    assert len(commands(*BUILDING)) == 3
    for command in commands(*BUILDING):
        run(command, checkout)
    return checkout / "build/image"


def test_the_tree_is_built_and_installed(image: Path) -> None:
    assert os.access(image / "usr/sbin/beamd", os.X_OK)
    assert (image / "usr/share/dbus-1/system.d/com.velk.LightController.conf").exists()


def test_the_sdks_platform_library_can_be_linked(checkout: Path, image: Path) -> None:
    """The generic library, as it is installed, stands in for an SDK's."""
    [description] = image.rglob("beamd-platform.pc")
    description.write_text(description.read_text().replace("prefix=/usr", f"prefix={image}/usr"))
    found = f"PKG_CONFIG_PATH={description.parent}"
    options = "--buildtype=plain -Dplatform=sdk -Dtests=false"
    run(f"{found} meson setup build/sdk {options} && ninja -C build/sdk", checkout)
    needed = run("objdump -p build/sdk/src/beamd", checkout)
    assert "NEEDED               libbeamd-platform.so.0" in needed
    assert not list((checkout / "build/sdk").rglob("libbeamd-platform*"))


def test_the_demo_plays_and_opens_a_shell(checkout: Path) -> None:
    plain, shell, light = commands(*DEMONSTRATING)
    shown = run(plain, checkout)
    assert "com.velk.Event.LightStatusChanged ({'state': <'ON'>},)" in shown
    assert "Code2: Invalid Intensity. Intensity is not set" in shown
    assert "Levels of led0 at angle 50: 30 30" in shown
    assert 'RequestPower "led0" "normal" dbus.Double(1.0)' in shown
    assert "/illumination/led0: 37\n" in shown and "/illumination/led0: 50\n" in shown
    assert shown.count("Terminating") == 3 and shown.rstrip().endswith("beamd ended with status 0")
    assert "beamd is running" in run(shell, checkout)
    assert "/sys/class/leds/ir0/brightness: 1000" in run(light, checkout)


def test_the_daemon_answers(daemon, sandbox) -> None:
    install_example(sandbox, "Dummy")
    [command] = commands(*RUNNING)
    daemon(argv=command.split()[1:])
    for command in commands(*ASKING):
        assert sandbox.run(["sh", "-c", command]).stdout, command


def test_the_rings_have_the_names_that_are_told() -> None:
    lines = (REPOSITORY / "CONTRIBUTING.md").read_text().splitlines()
    told = [line.split("`")[3] for line in lines if "--suite" in line]
    assert len(told) == 3
    for command in told:
        suite = command.split()[-1]
        listed = ["meson", "test", "-C", os.environ["BEAMD_BUILD_DIR"], "--list", "--suite", suite]
        assert subprocess.check_output(listed, text=True)
