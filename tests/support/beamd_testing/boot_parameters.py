"""Boot parameters, in a U-Boot environment."""

from __future__ import annotations

import zlib

from .sandbox import Sandbox

_SIZE = 0x2000
_IMAGE = "/run/environment.bin"


def install_boot_parameters(sandbox: Sandbox, **parameters: str) -> None:
    content = "".join(f"{name}={value}\0" for name, value in parameters.items()) + "\0"
    data = content.encode().ljust(_SIZE - 4, b"\0")
    sandbox.write(_IMAGE, zlib.crc32(data).to_bytes(4, "little") + data)
    sandbox.write("/etc/fw_env.config", f"{_IMAGE} 0x0 {_SIZE:#x}\n")
