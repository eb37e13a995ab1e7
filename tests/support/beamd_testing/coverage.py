"""Coverage data of the daemon.

Each run of the daemon writes into a folder of its own under $BEAMD_COVERAGE_DIR: as "light" it could not
write into the build folder, nor update what an earlier run wrote as root. Afterwards

    coverage.py COVERAGE_DIR BUILD_DIR

adds all runs to the .gcda files of the build folder, where gcovr finds them beside the .gcno files.
"""

from __future__ import annotations

import os
import shutil
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


def hand_over(run: Path | None) -> None:
    """Gives what "light" wrote to the user who runs the tests, who is root of the namespace."""
    if run is not None:
        for path in [run, *run.rglob("*")]:
            os.chown(path, 0, 0)


def merge(coverage: Path, build: Path) -> int:
    """Adds the runs under @p coverage to @p build and returns how many they were."""
    build = build.resolve()
    runs = sorted(path for path in coverage.iterdir() if any(path.rglob("*.gcda")))
    # The tests' own data would only make each merge slow.
    wanted = {path.relative_to(run / build.relative_to("/")) for run in runs for path in run.rglob("*.gcda")}
    with tempfile.TemporaryDirectory() as work:
        total = Path(work, "total0")
        _copy_data(build, total / build.relative_to("/"), wanted)
        for number, run in enumerate(runs, start=1):
            merged = Path(work, f"total{number}")
            if any(total.rglob("*.gcda")):  # gcov-tool refuses an empty folder
                subprocess.run(["gcov-tool", "merge", total, run, "-o", merged], check=True)
            else:
                _copy_data(run, merged)
            shutil.rmtree(total)
            total = merged
        _copy_data(total / build.relative_to("/"), build, wanted)
    return len(runs)


def _copy_data(source: Path, target: Path, wanted: set[Path]) -> None:
    for name in wanted:
        if (source / name).exists():
            (target / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source / name, target / name)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: coverage.py COVERAGE_DIR BUILD_DIR")
    print(f"{merge(Path(sys.argv[1]), Path(sys.argv[2]))} runs of the daemon added")
