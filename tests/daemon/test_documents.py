"""Every command that a document shows is run here as it stands there, and what it says of files is looked at.

The commands are the lines indented by four blanks. One that no test below takes makes test_every_command_is_taken fail.
"""

from __future__ import annotations

import fcntl
import os
import re
import shutil
import subprocess
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from pathlib import Path

import pytest
from beamd_testing.installation import EXAMPLES, install_example

REPOSITORY = Path(__file__).resolve().parent.parent.parent
DOCUMENTS = sorted([*REPOSITORY.glob("*.md"), *REPOSITORY.glob("docs/*.md")])
TABLE = "|"
FENCE = "```"
COMMAND = "    "

BUILDING = ("meson ", "ninja ")
ASKING = ("beamctl ", "cat ", "gdbus ")
# What this test is run by.
CHECKING = ("scripts/check",)
DEMONSTRATING = ("scripts/demo",)
RUNNING = ("beamd ",)
# They change the machine: tests/container runs them on one of its own.
PACKAGING = "scripts/package"
INSTALLING = ("apt ", "journalctl ", PACKAGING, "systemctl ")
FIRST_LIGHT = "First light on a real board"
# Where the package has them.
INSTALLED_EXAMPLES = "/usr/share/doc/beamd/examples"


@dataclass(frozen=True)
class Line:
    document: Path
    section: str
    text: str
    fenced: bool

    def is_prose(self) -> bool:
        return not self.fenced and not self.text.startswith((COMMAND, TABLE))


def lines() -> Iterator[Line]:
    for document in DOCUMENTS:
        fenced, section = False, ""
        for text in document.read_text().splitlines():
            if text.startswith(FENCE):
                fenced = not fenced
            elif text.startswith("#") and not fenced:
                section = text.lstrip("# ")
            yield Line(document, section, text, fenced)


def commands(*prefixes: str, section: str | None = None) -> list[str]:
    """Those that begin with one of @p prefixes: of that section, or of all others but the first light's."""
    found = []
    for line in lines():
        wanted = line.section == section if section else line.section != FIRST_LIGHT
        if wanted and not line.fenced and line.text.startswith(COMMAND):
            found.append(line.text.split(" #")[0].strip())
    return [command for command in found if command.startswith(prefixes or "")]


def building(document: str) -> list[str]:
    shown = (REPOSITORY / document).read_text().splitlines()
    return [command for command in commands(*BUILDING) if COMMAND + command in shown]


def test_every_command_is_taken() -> None:
    kinds = (*BUILDING, *ASKING, *CHECKING, *DEMONSTRATING, *RUNNING, *INSTALLING)
    assert sorted(commands()) == sorted(commands(*kinds))
    assert sorted(commands(*BUILDING)) == sorted(building("README.md") + building("docs/platform.md"))


def test_what_changes_the_machine_is_run_in_the_container() -> None:
    """As whole lines; those of the first light as the README has them by then."""
    scenario = (REPOSITORY / "tests/container/scenario").read_text()
    run_there = {line.strip().removeprefix("show ") for line in scenario.splitlines()}
    assert set(commands(*INSTALLING)) - run_there == {PACKAGING}
    assert f'"{PACKAGING}"' in (REPOSITORY / "tests/container/test_package.py").read_text()
    assert f"/^## {FIRST_LIGHT}$/" in scenario


@pytest.fixture(scope="session")
def once(tmp_path_factory: pytest.TempPathFactory) -> Callable[..., Path]:
    """Makes a folder unless another of the processes that run these tests has made it."""
    own = tmp_path_factory.getbasetemp()
    shared = own.parent if "PYTEST_XDIST_WORKER" in os.environ else own

    def once(name: str, make: Callable[[Path], None]) -> Path:
        folder, done = shared / name, shared / f"{name}.done"
        with (shared / f"{name}.lock").open("w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            if not done.exists():
                make(folder)
                done.touch()
        return folder

    return once


def copy_tree(top: Path) -> None:
    """The tree as git knows it, without anything built."""
    listed = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "-z"]
    names = subprocess.check_output(listed, cwd=REPOSITORY, text=True).split("\0")
    for name in filter(None, names):
        if (REPOSITORY / name).exists():
            (top / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(REPOSITORY / name, top / name)


def run(command: str, folder: Path, **environment: str) -> str:
    result = subprocess.run(
        command,
        shell=True,
        cwd=folder,
        env=os.environ | environment,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        text=True,
    )
    assert result.returncode == 0, f"{command}\n{result.stdout}{result.stderr}"
    return result.stdout


def build(document: str, checkout: Path, **environment: str) -> None:
    """What counts here is not how fast the result is."""
    for command in building(document):
        run(command, checkout, CXXFLAGS="-O0", **environment)


@pytest.fixture(scope="module")
def checkout(once) -> Path:
    """A copy of the tree in which the commands of the README have built and installed."""

    def make(top: Path) -> None:
        copy_tree(top)
        assert len(building("README.md")) == 3
        build("README.md", top)

    return once("checkout", make)


def test_the_tree_is_built_and_installed(checkout: Path) -> None:
    image = checkout / "build/image"
    assert os.access(image / "usr/sbin/beamd", os.X_OK)
    assert (image / "usr/share/dbus-1/system.d/com.velk.LightController.conf").exists()


def test_the_sdks_platform_library_can_be_linked(checkout: Path) -> None:
    """The generic library, as it is installed, stands in for an SDK's."""
    image = checkout / "build/image"
    [description] = image.rglob("beamd-platform.pc")
    description.write_text(description.read_text().replace("prefix=/usr", f"prefix={image}/usr"))
    assert len(building("docs/platform.md")) == 2
    build("docs/platform.md", checkout, PKG_CONFIG_PATH=str(description.parent))
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


@pytest.fixture
def shell(sandbox, tmp_path: Path) -> Callable[[str], None]:
    """Runs a command line inside, where beamctl is installed. It has to succeed."""
    client = os.environ.get("BEAMCTL_BINARY")
    assert client, "BEAMCTL_BINARY names the client, as built; it is not set"
    (tmp_path / "beamctl").symlink_to(client)
    environment = os.environ | {"PATH": f"{tmp_path}:{os.environ['PATH']}"}

    def shell(command: str) -> None:
        sandbox.run(["sh", "-c", f"cd /run && {command}"], env=environment)

    return shell


def test_the_daemon_answers(daemon, sandbox, shell) -> None:
    install_example(sandbox, "Dummy")
    [command] = set(commands(*RUNNING))
    daemon(argv=command.split()[1:])
    for command in commands(*ASKING):
        # It goes on until Ctrl-C.
        endless = command.startswith("beamctl monitor")
        shell(f"timeout --preserve-status --signal=INT 1 {command}" if endless else command)


def test_first_light(daemon, sandbox, shell) -> None:
    """A board of the example's Type at the path that the README names."""
    shown = commands(section=FIRST_LIGHT)
    assert len(shown) == 10
    board = next(command for command in shown if "basepath" in command).split(",")[2].removeprefix("basepath=")
    channel = sandbox.write(f"{board}/led0", "", mode=0o664)
    for command in shown:
        if command == "systemctl restart beamd":
            daemon()
        else:
            shell(command.replace(INSTALLED_EXAMPLES, str(EXAMPLES)))
    assert channel.read_text() == shown[-1].split()[-1]


def test_the_rings_have_the_names_that_are_told() -> None:
    rows = (REPOSITORY / "CONTRIBUTING.md").read_text().partition("| ring |")[2].partition("\n\n")[0].splitlines()[2:]
    suites = [row.split("`")[-2] for row in rows]
    assert len(suites) == 4
    for suite in suites:
        listed = ["meson", "test", "-C", os.environ["BEAMD_BUILD_DIR"], "--list", "--suite", suite]
        assert subprocess.check_output(listed, text=True)


def test_the_driver_that_is_shown_compiles(tmp_path: Path) -> None:
    text = (REPOSITORY / "docs/drivers.md").read_text()
    files = [tmp_path / name for name in re.findall(r"^`(\S+)`:\n\n```cpp$", text, re.MULTILINE)]
    codes = re.findall(r"^`\S+`:\n\n```cpp\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    for file, code in zip(files, codes, strict=True):
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(code)
    run(f"clang-format --dry-run -Werror --style=file:{REPOSITORY}/.clang-format {' '.join(map(str, files))}", tmp_path)
    folders = (tmp_path / "src", REPOSITORY / "src", REPOSITORY / "tests")
    options = f"-std=c++20 -Wall -Wextra -Werror {' '.join(f'-I{folder}' for folder in folders)}"
    flags = "$(pkg-config --cflags gio-2.0 gio-unix-2.0 gmock)"
    sources = [file for file in files if file.suffix == ".cpp" and "rules" not in file.name]
    assert len(sources) == 2
    for source in sources:
        run(f"c++ {options} {flags} -fsyntax-only {source}", tmp_path)
    [rules] = tmp_path.rglob("*_rules_test.cpp")
    run(f"c++ {options} {flags} {rules} -o rules $(pkg-config --libs gtest_main) && ./rules", tmp_path)


def test_each_type_is_in_the_tables_of_drivers() -> None:
    types = sorted(path.name for path in EXAMPLES.iterdir())
    for title in ("hardware", "beam follows an angle"):
        rows = (REPOSITORY / "docs/drivers.md").read_text().partition(f"| Type | {title} |")[2].splitlines()[2:]
        table = rows[: next(i for i, row in enumerate(rows) if not row.startswith(TABLE))]
        assert sorted(row.split("`")[1] for row in table) == types


def anchors(document: Path) -> set[str]:
    headings = [line.text.lstrip("# ") for line in lines() if line.document == document and line.text.startswith("#")]
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def leads_somewhere(document: Path, target: str) -> bool:
    name, _, anchor = target.partition("#")
    path = (document.parent / name).resolve() if name else document
    return path.exists() and (not anchor or anchor in anchors(path))


def test_links_lead_somewhere() -> None:
    links = [(line.document, link) for line in lines() if not line.fenced for link in re.findall(r"\]\(([^)]+)\)", line.text)]
    relative = [(document, link) for document, link in links if "://" not in link]
    assert len(relative) > 20
    assert [f"{document.name}: {link}" for document, link in relative if not leads_somewhere(document, link)] == []


# What docs/drivers.md invents.
INVENTED = re.compile("led_steps|LEDSTEPS")


def in_backticks(text: str) -> list[str]:
    return [name for name in re.findall(r"`([^`\s]+)`", text) if not INVENTED.search(name)]


def test_files_of_the_tree_that_are_named_are_there() -> None:
    folders = "|".join(path.name for path in REPOSITORY.iterdir() if path.is_dir() and path.name != "build")
    sources = "|".join(path.name for path in (REPOSITORY / "src").iterdir() if path.is_dir())
    missing = []
    for line in lines():
        for name in in_backticks(line.text):
            if re.match(f"({folders})/", name):
                found = (REPOSITORY / name).exists()
            else:
                found = not re.match(f"({sources})/", name) or (REPOSITORY / "src" / name).exists()
            missing += [] if found else [f"{line.document.name}: {name}"]
    assert missing == []


def test_the_folders_of_the_architecture_hold_what_is_told() -> None:
    rows = [line for line in lines() if line.section == "The folders" and line.text.startswith("| `")]
    assert len(rows) >= 6
    missing = []
    for row in rows:
        folder, *told = in_backticks(row.text)
        missing += [f"{folder}{name}" for name in told if not list(REPOSITORY.glob(f"{folder}{name.rstrip('/')}*"))]
    assert missing == []


def test_text_has_lines_of_up_to_125_characters() -> None:
    long = [f"{line.document.name}: {line.text}" for line in lines() if line.is_prose() and len(line.text) > 125]
    assert long == []
