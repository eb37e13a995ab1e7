"""Libraries that take the place of the platform library, or of some of its functions."""

from __future__ import annotations

import os
import shutil

from . import layout
from .sandbox import Sandbox

CALLS = "/run/replacement/calls"
_FOLDER = "/run/replacement"


def install_replacement(sandbox: Sandbox, variable: str, name: str) -> str:
    """Puts the library that $@p variable names into the sandbox, with an empty record; returns its path."""
    built = os.environ.get(variable)
    assert built, f"{variable} names a built replacement of the platform library; it is not set"
    folder = sandbox.path(_FOLDER)
    folder.mkdir(exist_ok=True)
    shutil.copy(built, folder / name)
    sandbox.write(CALLS, "", owner=(layout.USERS["light"][0], 0))
    return f"{_FOLDER}/{name}"


def recorded_calls(sandbox: Sandbox) -> list[str]:
    """What the daemon has called of the replaced functions so far, in order."""
    return sandbox.read(CALLS).splitlines()


def preloaded(library: str, **settings: str) -> list[str]:
    """A wrapper that lets @p library's functions come first; they behave as the settings say."""
    settings |= {"REPLACEMENT_CALLS": CALLS, "LD_PRELOAD": library}
    # AddressSanitizer, where it is built in, wants to be the first library otherwise.
    allow = 'export ASAN_OPTIONS="$ASAN_OPTIONS:verify_asan_link_order=0"; exec "$@"'
    return ["sh", "-c", allow, "sh", "env", *(f"{key}={value}" for key, value in settings.items())]
