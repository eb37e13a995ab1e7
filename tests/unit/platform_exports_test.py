#!/usr/bin/python3
"""Checks that a platform library exports exactly what the platform headers declare.

Usage: platform_exports_test.py LIBRARY
"""

import subprocess
import sys

EXPECTED = {
    "bootblock_get",
    "command_source_register_mainloop_thread",
    "event_declaration_add_key_value",
    "event_declaration_free",
    "event_declaration_new",
    "event_free",
    "event_producer_declaration_complete",
    "event_producer_declare",
    "event_producer_free",
    "event_producer_new",
    "event_producer_prepare_event",
    "event_producer_register",
    "event_producer_send_event",
    "event_producer_undeclare",
    "event_set_value",
    "kvreader_closecfg",
    "kvreader_getcfg",
    "kvreader_opencfg",
    "sc_get_group",
}


def output_of(*command: str) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exported_symbols(library: str) -> set[str]:
    """The names of the library's dynamic symbols, with their versions if they have any."""
    lines = output_of("nm", "--dynamic", "--defined-only", "--format=posix", library).splitlines()
    return {line.split()[0] for line in lines}


def calls_through_exported_names(library: str) -> set[str]:
    """Names of the library's own functions that it reaches through the dynamic linker."""
    lines = output_of("readelf", "--relocs", "--wide", library).splitlines()
    words = {word.split("@")[0] for line in lines for word in line.split()}
    return words & EXPECTED


def dynamic_section(library: str) -> str:
    return output_of("readelf", "--dynamic", "--wide", library)


def problems_of(library: str) -> list[str]:
    exported = exported_symbols(library)
    dynamic = dynamic_section(library)
    problems = [f"exported but not declared: {name}" for name in sorted(exported - EXPECTED)]
    problems += [f"declared but not exported: {name}" for name in sorted(EXPECTED - exported)]
    problems += [f"called through its exported name: {name}"
                 for name in sorted(calls_through_exported_names(library))]
    if "soname: [libbeamd-platform.so.0]" not in dynamic:
        problems.append("the soname is not libbeamd-platform.so.0")
    if "SYMBOLIC" in dynamic:
        problems.append("linked with -Bsymbolic")
    return problems


def main() -> int:
    problems = problems_of(sys.argv[1])
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
