"""The folder that a sandbox is made from.

The user "light" has a primary group that is not the group "light": device files are given the former, the
daemon runs under the latter, and a test can tell the two apart. It is listed as a member of the former as well,
so that the daemon can write its device files.
"""

import os
from pathlib import Path

USERS = {  # name: (uid, primary gid)
    "root": (0, 0),
    "messagebus": (801, 801),
    "light": (810, 811),
    "nobody": (65534, 65534),
}

GROUPS = {  # name: (gid, further members)
    "root": (0, []),
    "messagebus": (801, []),
    "light": (812, []),
    "lightfiles": (811, ["light"]),
    "gpio": (813, ["light"]),
    "nogroup": (65534, []),
}

# Relative to the top folder; "overlay" is what the kernel wants beside the two overlays. Under etc and usr,
# tests can write in the folders that stand here: in the others, only real root could.
FOLDERS = [
    "dev",
    "etc/beamd",
    "overlay/etc",
    "overlay/usr",
    "run/dbus",
    "run/lock",
    "sys",
    "usr/lib",
    "usr/share/beamd",
    "usr/share/dbus-1/system.d",
]


def passwd() -> str:
    return "".join(f"{name}:x:{uid}:{gid}::/:/bin/sh\n" for name, (uid, gid) in USERS.items())


def group() -> str:
    return "".join(f"{name}:x:{gid}:{','.join(members)}\n" for name, (gid, members) in GROUPS.items())


def populate(top: Path) -> None:
    """Makes the folder @p top ready for the sandbox script."""
    for folder in FOLDERS:
        (top / folder).mkdir(parents=True, exist_ok=True)
    (top / "etc/passwd").write_text(passwd())
    (top / "etc/group").write_text(group())
    (top / "etc/nsswitch.conf").write_text("passwd: files\ngroup: files\n")
    (top / "run/lock").chmod(0o1777)
    # As on a camera: the daemon replaces its state files as "light", by renaming, in this folder.
    os.chown(top / "etc/beamd", 0, GROUPS["light"][0])
    (top / "etc/beamd").chmod(0o775)
