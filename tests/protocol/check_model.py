#!/usr/bin/env python3
"""Has spin look at a protocol's model, and at the model with each of its planted faults.

    check_model.py MODEL.pml            the model holds
    check_model.py MODEL.pml FAULT      with this fault planted it doesn't, and spin finds that

A model names its faults behind "FAULT:" in its head. What is printed is how many states were seen.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

MOST_MEMORY_MB = 3000
DEPTH = 200000


def faults_of(model):
    head = re.search(r"FAULT: (.*?)\*/", model.read_text(), re.DOTALL)
    return re.findall(r"\w+", head.group(1).replace("*", " ")) if head else []


def run(command, folder):
    return subprocess.run(command, cwd=folder, capture_output=True, text=True, check=False)


def look(model, fault):
    """(errors, states, spin's report) of one search."""
    with tempfile.TemporaryDirectory() as folder:
        define = [f"-DFAULT_{fault}"] if fault else []
        made = run(["spin", *define, "-a", str(model)], folder)
        if made.returncode != 0 or not Path(folder, "pan.c").exists():
            raise SystemExit(f"{model}: spin can't take it\n{made.stdout}{made.stderr}")
        flags = ["-O1", "-w", "-DSAFETY", "-DCOLLAPSE", f"-DMEMLIM={MOST_MEMORY_MB}", "-DNOFAIR"]
        built = run(["cc", *flags, "-o", "pan", "pan.c"], folder)
        if built.returncode != 0:
            raise SystemExit(f"{model}: the search can't be compiled\n{built.stderr}")
        report = run(["./pan", f"-m{DEPTH}"], folder).stdout
    errors = re.search(r"errors: (\d+)", report)
    states = re.search(r"(\d+) states, stored", report)
    if not errors or not states:
        raise SystemExit(f"{model}: no report\n{report}")
    whole = "Search not completed" not in report and "max search depth too small" not in report
    return int(errors.group(1)), int(states.group(1)), whole, report


def main(arguments):
    if len(arguments) not in (1, 2):
        raise SystemExit(__doc__)
    model = Path(arguments[0]).resolve()
    fault = arguments[1] if len(arguments) == 2 else ""
    if fault and fault not in faults_of(model):
        raise SystemExit(f"{model}: has no fault {fault}; it has {', '.join(faults_of(model))}")
    errors, states, whole, report = look(model, fault)
    if fault:
        print(f"{model.name} with {fault}: {'found' if errors else 'NOT FOUND'}, {states} states")
        return 0 if errors else 1
    if errors or not whole:
        print(report)
    print(f"{model.name}: {errors} errors, {states} states, {'all' if whole else 'NOT ALL'} seen")
    print(f"figures: {states} states of protocols, {'something' if errors else 'nothing'} lost")
    return 0 if errors == 0 and whole else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
