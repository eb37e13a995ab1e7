"""beamctl check: each mistake is found where it is, and nothing else is; the daemon does what the finding tells."""

from __future__ import annotations

import json
import os
import re
import socket
from collections.abc import Callable
from pathlib import Path

import pytest

from beamd_testing.board_mistakes import REGULATORS, TABLES
from beamd_testing.checker import Check, check, refused, run
from beamd_testing.device_mistakes import CHANNELS, REGISTERS
from beamd_testing.house import House
from beamd_testing.installation import EXAMPLES
from beamd_testing.light_mistakes import LIGHTS, PATHS
from beamd_testing.main_mistakes import CAMERAS
from beamd_testing.mistake import BEAMD, DEFAULTS, DIMMING, LIGHT, TABLE, UNJUDGED, Mistake, Tree, name_of
from beamd_testing.odd_configurations import ODD_AND_RIGHT

MISTAKES = [*CAMERAS, *LIGHTS, *PATHS, *TABLES, *REGULATORS, *CHANNELS, *REGISTERS]
RULES = Path(__file__).resolve().parent.parent.parent / "src/beamctl/check/finding.cpp"
EXAMPLE_NAMES = sorted(path.name for path in EXAMPLES.iterdir())

BINARY = {"all": bytes(range(256)) * 40, "utf-16": "[common]\n".encode("utf-16"), "zeros": bytes(100)}

# Root without its right to read what it may not.
COMMONER = ("setpriv", "--bounding-set=-dac_override,-dac_read_search")


@pytest.fixture
def checked(tmp_path: Path) -> Callable[[Tree], Check]:
    """Checks a tree, which is left as it is."""

    def checked(tree: Tree) -> Check:
        tree.write_below(tmp_path)
        before = {path: path.read_bytes() for path in tmp_path.rglob("*") if path.is_file()}
        result = check(tmp_path)
        assert {path: path.read_bytes() for path in tmp_path.rglob("*") if path.is_file()} == before
        return result

    return checked


@pytest.fixture
def example(tmp_path: Path) -> Path:
    """A right configuration, to be spoilt by hand."""
    Tree("LED1I2C").write_below(tmp_path)
    return tmp_path


@pytest.mark.parametrize("name", EXAMPLE_NAMES)
def test_example_is_right(checked, name):
    result = checked(Tree(name))
    assert result.findings == [] and result.status == 0


@pytest.mark.parametrize("mistake", MISTAKES, ids=name_of)
def test_mistake(checked, mistake: Mistake):
    tree = mistake.tree()
    result = checked(tree)
    assert result.places() == [(mistake.file, tree.marked_line(mistake.file), mistake.rule, mistake.severity)]
    (finding,) = result.findings
    assert mistake.names in finding["message"]
    assert finding["reaction"] and finding["reaction"] not in finding["message"]
    assert mistake.tells in finding["reaction"]
    assert finding["reason"] == mistake.reason
    if mistake.suggestion != UNJUDGED:
        assert finding.get("suggestion", "") == mistake.suggestion
        assert mistake.suggestion in finding["message"]


def test_every_rule_has_a_mistake():
    known = set(re.findall(r'\{Rule::k\w+, "([a-z-]+)"\}', RULES.read_text()))
    assert known and known == {each.rule for each in MISTAKES} | {"file-unreadable"}


@pytest.mark.parametrize("example_name, changes", ODD_AND_RIGHT.values(), ids=ODD_AND_RIGHT)
def test_no_false_alarm(checked, example_name, changes):
    tree = Tree(example_name)
    for change in changes:
        change(tree)
    assert checked(tree).places() == []


def test_a_light_of_each_type(sandbox, bus, devices, power_daemon, temperature_service):
    """What suits one of them is of no use to another, and no more is told than that and what is wrong with these."""
    House(sandbox, bus, devices, power_daemon, temperature_service)
    places = check(sandbox.path("/")).places()
    wrong = [(file, rule) for file, _, rule, severity in places if severity == "error"]
    assert wrong == [(f"/etc/beamd/led{number}.conf", "intensity-beyond-table") for number in (11, 3)]
    odd = {rule for _, _, rule, severity in places if severity == "warning"}
    assert odd == {"sensor-count", "key-without-effect"}


def test_line_ends_of_another_system(tmp_path):
    tree = Tree("LED2I2C")
    tree.files = {path: text.replace("\n", "\r\n") for path, text in tree.files.items()}
    tree.write_below(tmp_path)
    assert check(tmp_path).findings == []


class TestHostileTrees:
    """A file that cannot be read is told in words, however it got there."""

    FILES = [BEAMD, LIGHT, DEFAULTS, TABLE, DIMMING]

    @staticmethod
    def place(root: Path, path: str) -> Path:
        file = root / path.lstrip("/")
        file.unlink()
        return file

    @staticmethod
    def unreadable(root: Path, path: str, **options) -> dict:
        result = check(root, **options)
        assert result.places() == [(path, None, "file-unreadable", "error")]
        return result.findings[0]

    @pytest.mark.parametrize("path", FILES)
    def test_folder(self, example, path):
        self.place(example, path).mkdir()
        self.unreadable(example, path)

    @pytest.mark.parametrize("path", FILES)
    def test_fifo(self, example, path):
        os.mkfifo(self.place(example, path))
        self.unreadable(example, path)

    def test_socket(self, example, monkeypatch):
        file = self.place(example, LIGHT)
        monkeypatch.chdir(file.parent)
        with socket.socket(socket.AF_UNIX) as end:
            end.bind(file.name)
            self.unreadable(example, LIGHT)

    @pytest.mark.parametrize("path", FILES)
    def test_links_in_a_circle(self, example, path):
        file = self.place(example, path)
        file.symlink_to("second")
        (file.parent / "second").symlink_to(file.name)
        self.unreadable(example, path)

    def test_link_to_itself(self, example):
        file = self.place(example, LIGHT)
        file.symlink_to(LIGHT)
        self.unreadable(example, LIGHT)

    @pytest.mark.parametrize("path", FILES)
    def test_not_allowed(self, example, path):
        (example / path.lstrip("/")).chmod(0)
        assert "denied" in self.unreadable(example, path, wrapper=COMMONER)["message"]

    @pytest.mark.parametrize("target", ["/nowhere", "nowhere", "../../../../../../../../../etc/passwd", "/etc/passwd"])
    def test_link_that_leads_nowhere_on_the_camera(self, example, target):
        self.place(example, LIGHT).symlink_to(target)
        assert check(example).places() == [(LIGHT, None, "file-missing", "error")]

    def test_link_to_another_place_on_the_camera(self, example):
        file = example / LIGHT.lstrip("/")
        kept = example / "var/lib/beamd/led0.conf"
        kept.parent.mkdir(parents=True)
        file.rename(kept)
        file.symlink_to("/var/lib/beamd/led0.conf")
        assert check(example).findings == []

    @pytest.mark.parametrize("path", FILES)
    def test_twenty_mebibytes(self, example, path):
        with (example / path.lstrip("/")).open("a") as file:
            file.write("# more\n" * (20 * 2**20 // 7))
        assert check(example).places() == [(path, None, "file-too-large", "error")]

    @pytest.mark.parametrize("path", FILES)
    @pytest.mark.parametrize("content", BINARY, ids=BINARY)
    def test_binary_file(self, example, path, content):
        (example / path.lstrip("/")).write_bytes(BINARY[content])
        result = check(example)
        assert result.status == 1 and {each["file"] for each in result.findings} == {path}

    def test_bytes_that_no_terminal_should_see(self, example):
        unseen = "\x1b[31mred=1\n\u009b31m=1\n\u202ered=1\n".encode()
        (example / LIGHT.lstrip("/")).write_bytes(b"[common]\nf\xe4rg=\xe4\n" + unseen)
        told, words = (run("--root", example, *form) for form in (["--json"], []))
        assert (told.returncode, words.returncode) == (1, 1)
        assert json.loads(told.stdout)["findings"]
        assert not set("\x1b\u009b\u202e") & set(told.stdout + words.stdout)

    def test_endless_line(self, example):
        (example / LIGHT.lstrip("/")).write_text("[common]\n" + "x" * 10**7)
        (finding,) = check(example).findings
        assert finding["rule"] == "does-not-parse" and len(finding["message"]) < 1000

    def test_many_mistakes(self, example):
        (example / LIGHT.lstrip("/")).write_text("[common]\n" + "".join(f"key{number}=1\n" for number in range(1000)))
        result = check(example)
        assert [each["rule"] for each in result.findings].count("unknown-key") == 1000

    def test_more_mistakes_than_are_told(self, example):
        (example / LIGHT.lstrip("/")).write_text("[common]\n" + "".join(f"key{number}=1\n" for number in range(20000)))
        result = check(example)
        assert result.document["truncated"]
        assert 1000 < len(result.findings) < 20000

    def test_empty_camera(self, tmp_path):
        assert check(tmp_path).places() == [(BEAMD, None, "file-missing", "error")]

    @pytest.mark.parametrize("path", FILES)
    def test_empty_file(self, example, path):
        (example / path.lstrip("/")).write_bytes(b"")
        # A regulator without settings is one without sensors.
        expected = [] if path == DIMMING else [(path, None, "missing-group", "error")]
        assert check(example).places() == expected

    def test_no_camera(self, tmp_path):
        error = refused("--root", tmp_path / "nowhere")
        assert "nowhere" in error["message"] and error["advice"]

    def test_camera_is_a_file(self, tmp_path):
        (tmp_path / "image").write_text("")
        assert "image" in refused("--root", tmp_path / "image")["message"]

    def test_surplus_argument(self, tmp_path):
        refused("--root", tmp_path, "led0")

    @pytest.mark.parametrize("spelling", ["{}/", "{}/.", "{}//", "{}/etc/.."])
    def test_other_spellings_of_the_same_folder(self, example, spelling):
        assert check(spelling.format(example)).findings == []
