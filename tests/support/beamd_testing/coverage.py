"""Coverage data of the product, as clang's -Dcoverage=true build writes it.

Each run of the daemon writes into a folder of its own under $BEAMD_COVERAGE_DIR: as "light" it could not
update what an earlier run wrote as root. Afterwards

    coverage.py FOLDER MINIMUM BINARY...

adds up all data below the folder, shows the lines that ran of each file of the product, and fails when they
are less than MINIMUM percent of all.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
import tempfile
from pathlib import Path


def new_run() -> Path | None:
    """The folder for one run of the daemon; None when no coverage is collected."""
    folder = os.environ.get("BEAMD_COVERAGE_DIR")
    if not folder:
        return None
    run = Path(tempfile.mkdtemp(prefix="run", dir=folder))
    run.chmod(0o1777)
    return run


def variables(run: Path | None) -> dict[str, str]:
    """What the environment of that run has to say."""
    return {"LLVM_PROFILE_FILE": f"{run}/%p-%m.profraw"} if run else {}


def hand_over(run: Path | None) -> None:
    """Gives what "light" wrote to the user who runs the tests, who is root of the namespace."""
    if run is not None:
        for path in [run, *run.rglob("*")]:
            os.chown(path, 0, 0)


def report(folder: Path, minimum: float, binaries: list[str]) -> bool:
    """Prints the share of each file, and tells whether they reach @p minimum percent together."""
    total = folder / "total.profdata"
    # A run that was killed while it wrote leaves half a file.
    whole = [path for path in folder.rglob("*.profraw") if path.stat().st_size > 0]
    (folder / "runs").write_text("".join(f"{path}\n" for path in whole))
    merging = ["llvm-profdata", "merge", "--sparse", "--num-threads=2", "--failure-mode=all", f"--input-files={folder / 'runs'}"]
    subprocess.run([*merging, "-o", total], check=True)
    objects = [argument for binary in binaries[1:] for argument in ("-object", binary)]
    exporting = ["llvm-cov", "export", "--summary-only", "--ignore-filename-regex=^/usr/", "-instr-profile", total]
    [data] = json.loads(subprocess.check_output([*exporting, binaries[0], *objects]))["data"]
    for file in sorted(data["files"], key=lambda file: file["filename"]):
        if file["summary"]["lines"]["count"]:
            print(_line(file["summary"]["lines"], os.path.relpath(file["filename"])))
    print(_line(data["totals"]["lines"], f"all, of {len(whole)} runs"))
    return data["totals"]["lines"]["percent"] >= minimum


def _line(lines: dict[str, float], name: str) -> str:
    return f"{lines['percent']:6.1f} %  {lines['covered']:5d} of {lines['count']:5d}  {name}"


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit("usage: coverage.py FOLDER MINIMUM BINARY...")
    sys.exit(not report(Path(sys.argv[1]), float(sys.argv[2]), sys.argv[3:]))
