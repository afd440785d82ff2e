"""Adds a fifteenth table by one row of a copy of the catalogue, and compiles its family.

    python3 fifteenth.py BUILD    BUILD is an empty or former build folder for it

Nothing but the row is given: whatever else the project needed to know of a table would show as a
failure to configure or to compile. Only the files of the new table are compiled.
"""

import re
import subprocess
import sys
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
NAME = "PlantedSystemPolicyTcamEntry"
ROW = f"""LOAM_TABLE({NAME}, "planted system", "entries", 0x040f, 52, 50, 40, true,
           0x11111111, 0x22222222, 0x33333333, 0x44444444, 0x55555555, 0x66666666)
"""
UNITS = ["SwTable", "EntryLog", "Interface", "SwTableHelperBase", "InfraTypes", "ResourceTableLinkage"]


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}")
    return done.stdout


def catalogue_with_one_more_row(build):
    text = (PROJECT / "catalogue/SystemPolicyTables.def").read_text()
    end = "// clang-format on\n"
    if text.count(end) != 1:
        sys.exit("fifteenth.py: the end of the catalogue's rows was not found")
    copy = build / "with-fifteenth/catalogue/SystemPolicyTables.def"
    copy.parent.mkdir(parents=True, exist_ok=True)
    if not copy.exists() or copy.read_text() != text.replace(end, ROW + end):
        copy.write_text(text.replace(end, ROW + end))
    return copy


def main(folder):
    build = Path(folder).resolve()
    catalogue = catalogue_with_one_more_row(build)
    run(
        "cmake", "-S", PROJECT, "-B", build, "-G", "Ninja",
        "-DCMAKE_BUILD_TYPE=Debug", "-DLOAM_BUILD_TESTS=OFF", "-DLOAM_UNITY=OFF",
        f"-DLOAM_CATALOGUE_FILE={catalogue}",
    )
    targets = run("ninja", "-C", build, "-t", "targets", "all")
    objects = re.findall(rf"^(\S*{NAME}\w*\.cpp\.o):", targets, re.M)
    absent = [unit for unit in UNITS if not any(f"/{NAME}{unit}.cpp.o" in each for each in objects)]
    if absent:
        sys.exit(f"fifteenth.py: nothing is built for the units {', '.join(absent)} of the new table")
    run("ninja", "-C", build, *objects)
    print(f"{len(objects)} units of a fifteenth table compile.")


if __name__ == "__main__":
    main(*sys.argv[1:])
