#!/usr/bin/python3
"""Whether docs/configuration.md and the check know the same keys, and beamctl(1) the same rules and reasons.

Usage: schema_documents_test.py LISTER, where LISTER prints the keys that the check knows, and with an argument its rules and reasons.
"""

from __future__ import annotations

import re
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))

from beamd_testing.configuration_reference import Key, documented_keys  # noqa: E402

MANUAL_PAGE = Path(__file__).resolve().parents[2] / "data" / "man" / "beamctl.1"

# Place and kind of a key, and the types of light that it is of use to.
Known = dict[tuple[str, ...], set[str]]


def general(name: str) -> str:
    """A name as the page has it: in capitals what differs."""
    return re.sub(r"<(\w+)>", lambda match: match[1].upper(), name)


def keys_of_the_check(lister: str) -> Known:
    known: Known = {}
    for line in subprocess.check_output([lister], text=True).splitlines():
        file, group, name, kind, *types = line.split("\t")
        known.setdefault((general(file), general(group), general(name), kind), set()).update(types)
    return known


def keys_of_the_page(keys: list[Key]) -> Known:
    known: Known = {}
    for key in keys:
        known.setdefault((*key.place, key.kind), set()).update(key.types)
    return known


def problems(check: Known, page: Known) -> list[str]:
    found = [f"not on the page: {key}" for key in sorted(check.keys() - page.keys())]
    found += [f"not known to the check: {key}" for key in sorted(page.keys() - check.keys())]
    # The page also names those that read a key and have no use for it.
    for key in sorted(check.keys() & page.keys()):
        if missing := check[key] - page[key]:
            found.append(f"not on the page for {', '.join(sorted(missing))}: {key}")
    return found


def names_on_the_manual_page() -> list[str]:
    """Each rule and reason, with its kind, in alphabetical order."""
    section = MANUAL_PAGE.read_text().split("\n.SH RULES\n")[1].split("\n.SH ")[0]
    names = re.findall(r"^\.TP\n\.(BR?) (\S+)", section, re.M)
    return sorted(("rule" if macro == "BR" else "reason") + "\t" + name for macro, name in names)


def name_problems(lister: str) -> list[str]:
    known = subprocess.check_output([lister, "names"], text=True).splitlines()
    page = names_on_the_manual_page()
    found = [f"not in beamctl(1): {name}" for name in sorted(set(known) - set(page))]
    found += [f"in beamctl(1), but not known to the check: {name}" for name in sorted(set(page) - set(known))]
    return found + [f"twice in beamctl(1): {name}" for name in sorted(set(page)) if page.count(name) > 1]


found = problems(keys_of_the_check(sys.argv[1]), keys_of_the_page(documented_keys())) + name_problems(sys.argv[1])
print("\n".join(found))
sys.exit(1 if found else 0)
