"""The documented bus interfaces: what is installed, what docs/dbus.md shows, and what the running daemon answers."""

from __future__ import annotations

import json
import os
import re
import subprocess
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import pytest
from gi.repository import Gio

from beamd_testing.bus_client import BusError
from beamd_testing.installation import install_dummies, install_example
from beamd_testing.services import CONTROLLER, LEGACY, Light, light_path

REPOSITORY = Path(__file__).resolve().parent.parent.parent
INTERFACES = REPOSITORY / "data/dbus-1/interfaces"
CONTROLLER_XML = INTERFACES / "com.velk.LightController.xml"
LIGHT_XML = INTERFACES / "com.velk.LightController.Led.xml"
BOTH = pytest.mark.parametrize("source", [CONTROLLER_XML, LIGHT_XML], ids=lambda path: path.stem)
REFERENCE = REPOSITORY / "docs/dbus.md"
OF_EVERY_OBJECT = ("org.freedesktop.DBus.Properties", "org.freedesktop.DBus.Introspectable", "org.freedesktop.DBus.Peer")


def shown(arguments: list) -> list[tuple[str, str]]:
    return [(each.name, each.signature) for each in arguments]


def members(node: Gio.DBusNodeInfo) -> dict[str, tuple]:
    """What clients see of each interface, in order, without those that every object has. GDBus has them in no order."""
    return {
        interface.name: (
            [(each.name, shown(each.in_args), shown(each.out_args)) for each in interface.methods],
            [each.name for each in interface.signals],
            [(each.name, each.signature, int(each.flags)) for each in interface.properties],
        )
        for interface in node.interfaces
        if interface.name not in OF_EVERY_OBJECT
    }


def test_the_daemon_has_what_is_installed(daemon, sandbox, bus) -> None:
    install_dummies(sandbox, {})
    daemon()
    for path, source in [(CONTROLLER, CONTROLLER_XML), (light_path(0), LIGHT_XML)]:
        documented = members(Gio.DBusNodeInfo.new_for_xml(source.read_text()))
        assert members(bus.client.introspect(path)) == documented
        assert len(documented) == {CONTROLLER_XML: 2, LIGHT_XML: 3}[source]


@BOTH
def test_it_is_installed_as_it_stands_here(source: Path) -> None:
    command = ["meson", "introspect", "--installed", os.environ["BEAMD_BUILD_DIR"]]
    installed = json.loads(subprocess.check_output(command, text=True))
    assert installed[str(source)] == f"/usr/share/dbus-1/interfaces/{source.name}"


@BOTH
def test_code_generators_find_the_documentation(source: Path, tmp_path: Path) -> None:
    subprocess.run(["gdbus-codegen", "--generate-docbook=made", source], cwd=tmp_path, check=True)
    for interface in ElementTree.parse(source).getroot():
        book = (tmp_path / f"made-{interface.get('name')}.xml").read_text()
        described = re.findall(r'<refsect2 role="\w+" id="[^"]*[.:](\w+)">.*?</refsect2>', book, re.DOTALL)
        assert described == [member.get("name") for member in interface]
        assert "<para>\n</para>" not in book and "<para></para>" not in book
        assert len(re.findall(r"<listitem><para>\n\S", book)) == len(interface.findall("method/arg"))


def allowed(policy: ElementTree.Element) -> set[tuple[str | None, str | None]]:
    """Interface and member of what may be sent; None for all."""
    return {
        (rule.get("send_interface"), rule.get("send_member"))
        for rule in policy.findall("allow")
        if rule.get("send_destination")
    }


def documented_callers(source: Path) -> list[tuple[str, str, str | None]]:
    """Interface, member and those who may call or write it, of every method and property."""
    keeping_comments = ElementTree.XMLParser(target=ElementTree.TreeBuilder(insert_comments=True))
    found, comment = [], ""
    for interface in ElementTree.parse(source, keeping_comments).getroot().findall("interface"):
        for element in interface:
            if element.tag is ElementTree.Comment:
                comment = element.text
                continue
            who = re.search(r"^ *(Callers|Writers): (.*)\.$", comment, re.MULTILINE)
            if element.tag == "method" or who or element.get("access") != "read":
                found.append((interface.get("name"), element.get("name"), who and who[2]))
    return found


@BOTH
def test_callers_are_those_of_the_policy(source: Path) -> None:
    policies = ElementTree.parse(os.environ["BEAMD_BUS_POLICY"]).getroot().findall("policy")
    everybody = allowed(next(each for each in policies if each.get("context") == "default"))
    for interface, member, who in documented_callers(source):
        if interface.endswith(".Power"):
            assert who == "root and the power daemon's user"
        else:
            assert who == ("everybody" if (interface, member) in everybody else "root and group light"), member


def codes_of_the_sources() -> dict[int, str]:
    header = (REPOSITORY / "src/led/light_error.h").read_text()
    return {int(code): name for name, code in re.findall(r"(LIGHT_CONTROL_ERROR_\w+) = (\d+)", header)}


def test_the_page_is_what_the_script_makes() -> None:
    assert REFERENCE.read_text() == subprocess.check_output(REPOSITORY / "scripts/bus-reference", text=True)


def test_the_page_has_all_error_codes_with_texts_of_the_sources() -> None:
    rows = re.findall(r"^\| (\d+) \| `(\w+)` \| (.*?) \|", REFERENCE.read_text(), re.MULTILINE)
    assert {int(code): name for code, name, _ in rows} == codes_of_the_sources()
    sources = "".join(path.read_text() for path in (REPOSITORY / "src").rglob("*.cpp"))
    for _, _, texts in rows:
        for text in re.findall(r"`([^`]+)`", texts):
            assert f'"{text}"'.replace("...", "%s") in sources, text


def examples() -> list[tuple[list[str], list[str]]]:
    """Commands that follow each other, and what they answer."""
    page = REFERENCE.read_text()
    found = re.findall(r"((?:^    [^\n]+\n)+)\n```\n(.*?)```", page, re.MULTILINE | re.DOTALL)
    return [(commands.strip().splitlines(), answers.splitlines()) for commands, answers in found]


def test_what_the_daemon_calls_is_that_of_the_sources() -> None:
    section = REFERENCE.read_text().split("\n## What beamd calls\n")[1].split("\n## ")[0]
    rows = re.findall(r"^\|.*", section.replace("\\|", "|"), re.MULTILINE)
    told = [name for row in rows for name in re.findall("`([^`]+)`", row)]
    folders = [REPOSITORY / "src" / folder for folder in ("daemon", "led", "drivers")]
    sources = "".join(path.read_text() for folder in folders for path in sorted(folder.rglob("*.*")))
    types = {"d": "G_VARIANT_TYPE_DOUBLE", "i": "G_VARIANT_TYPE_INT32"}
    assert [name for name in told if types.get(name, f'"{name}"') not in sources] == []
    names = set(re.findall(r'"((?:com\.|/com/)velk[./](?:PowerControl|PTZ|Temperature)[\w./]*)"', sources))
    assert len(names) == 8 and names <= set(told)


def fence_after(text: str) -> str:
    return REFERENCE.read_text().split(text)[1].split("```\n")[1]


def test_examples(daemon, sandbox) -> None:
    install_example(sandbox, "Dummy")
    daemon()
    assert len(examples()) == 5
    for commands, answers in examples():
        assert [sandbox.run(["sh", "-c", command]).stdout.rstrip("\n") for command in commands] == answers


def test_a_refusal_looks_as_shown(daemon, sandbox, bus) -> None:
    install_example(sandbox, "Dummy")
    daemon()
    status, output = bus.call_as("root", light_path(0), "com.velk.LightController.Common", "SetIntensity", 101)
    assert status != 0 and output == fence_after("of 101 where 100 is the highest")


def test_events_look_as_shown(daemon, sandbox, bus) -> None:
    install_example(sandbox, "Dummy")
    daemon()
    command = re.search(r"`(gdbus monitor [^`]+)`", REFERENCE.read_text())[1]
    monitor = sandbox.popen(["stdbuf", "-oL", *command.split()], stdout=subprocess.PIPE, text=True)
    while not monitor.stdout.readline().startswith("The name com.velk.LightController is owned by"):
        assert monitor.poll() is None
    Light(bus.client).switch(True)
    assert [monitor.stdout.readline(), monitor.stdout.readline()] == fence_after(command).splitlines(keepends=True)
    sandbox.end(monitor)
    monitor.stdout.close()


def test_getall_leaves_out_what_is_not_supported(daemon, sandbox, bus) -> None:
    install_example(sandbox, "Dummy")
    daemon()
    everything = bus.client.get_all(light_path(0), "com.velk.LightController.Common")
    little = bus.client.get_all(light_path(1), "com.velk.LightController.Common")
    assert set(everything) - set(little) == {"SyncDayNight", "ManualSetIntensity", "AutomaticIntensity"}


def test_errors_of_the_bus_are_those_told(daemon, sandbox, bus) -> None:
    install_example(sandbox, "Dummy")
    running = daemon()
    told = re.findall(r"^\| `org\.freedesktop\.DBus\.Error\.(\w+)`((?:, `\w+`)*) \|", REFERENCE.read_text(), re.MULTILINE)
    names = {name for first, more in told for name in [first, *re.findall(r"\w+", more)]}
    seen = set()
    for path, interface, method in [
        (light_path(0), LEGACY, "GetNothing"),
        (light_path(2), "com.velk.LightController.Common", "GetIntensity"),
        (CONTROLLER, "com.velk.LightController.Common", "GetIntensity"),
        (light_path(0), "com.velk.LightController.Common", "SetIntensity"),
    ]:
        with pytest.raises(BusError) as refusal:
            bus.client.call(path, interface, method)
        seen.add(refusal.value.name.rpartition(".")[2])
    running.stop()
    with pytest.raises(BusError) as refusal:
        bus.client.call(light_path(0), "com.velk.LightController.Common", "GetIntensity")
    seen.add(refusal.value.name.rpartition(".")[2])
    assert seen and seen <= names, seen
