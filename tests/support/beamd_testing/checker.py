"""beamctl check, as it is run by hand and by a script."""

from __future__ import annotations

import json
import os
import subprocess
from dataclasses import dataclass
from pathlib import Path

# Far more than a check of the largest files takes under valgrind or a sanitizer.
_TIMEOUT = 60.0


@dataclass(frozen=True)
class Check:
    """What came of one check, told as JSON and in words."""

    status: int
    document: dict
    words: str

    @property
    def findings(self) -> list[dict]:
        return self.document["findings"]

    def places(self) -> list[tuple[str, int | None, str, str]]:
        return [(each["file"], each["line"], each["rule"], each["severity"]) for each in self.findings]


def run(*arguments: str | Path, wrapper: tuple[str, ...] = ()) -> subprocess.CompletedProcess:
    binary = os.environ.get("BEAMCTL_BINARY")
    assert binary, "BEAMCTL_BINARY names the client; it is not set"
    command = [*wrapper, binary, "check", *map(str, arguments)]
    return subprocess.run(command, capture_output=True, text=True, timeout=_TIMEOUT, stdin=subprocess.DEVNULL)


def check(root: str | Path, wrapper: tuple[str, ...] = ()) -> Check:
    """Checks the tree below @p root in both forms, which have to agree."""
    told, words = (run("--root", root, *form, wrapper=wrapper) for form in (["--json"], []))
    assert told.stderr == "" and words.stderr == "", told.stderr + words.stderr
    assert told.returncode == words.returncode
    result = Check(told.returncode, json.loads(told.stdout), words.stdout)
    severities = [each["severity"] for each in result.findings]
    counts = [severities.count("error"), severities.count("warning")]
    assert [result.document["errors"], result.document["warnings"]] == counts
    assert result.status == (1 if "error" in severities else 0)
    assert len(told_in(words.stdout)) - len(result.findings) == int(result.document["truncated"])
    for line, each in zip(told_in(words.stdout), result.findings):
        place = each["file"] + (f":{each['line']}" if each["line"] else "")
        assert line.startswith(f"{place}: {each['severity']}: ") and line.endswith(f" [{each['rule']}]")
        assert each["message"] in line
    assert all(each["reaction"] in words.stdout for each in result.findings[:100])
    return result


def told_in(words: str) -> list[str]:
    """The lines that tell of a finding; its reaction is indented, and a summary ends them."""
    return [line for line in words.splitlines()[:-1] if not line.startswith(" ")]


def refused(*arguments: str | Path) -> dict:
    """A check that was not made; returns the error that is told as JSON. In words it is told on stderr."""
    told, words = (run(*arguments, *form) for form in (["--json"], []))
    assert (told.returncode, words.returncode) == (2, 2)
    assert words.stdout == "" and words.stderr.startswith("beamctl: ")
    return json.loads(told.stdout)["error"]
