"""The gate of instruction counts: an operation must not cost more instructions than it did.

    python3 gate.py PROGRAM COUNTS            compares, exit status 1 when one has grown
    python3 gate.py PROGRAM COUNTS --update   records what it counts now

Counts are of callgrind, so the machine's mood is not in them; what is left is the compiler, hence a
margin. They don't see caches: time is measured by ./bench. An operation that has become cheaper is a
reason to record the new count, so that it stays so.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

MARGIN = 0.05  # of a count
# What must cost the same within one run, but for what memory lies where.
SAME = {"UnwatchedWrite": "Write"}
SAME_MARGIN = 0.002
FUNCTION = "measured"


def counted(program):
    """Instructions per operation, by the name of the measurement."""
    with tempfile.TemporaryDirectory() as folder:
        command = [
            "valgrind",
            "--tool=callgrind",
            f"--dump-after={FUNCTION}*",
            f"--callgrind-out-file={folder}/out",
            program,
        ]
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(f"{' '.join(command)}\nfailed with status {done.returncode}:\n{done.stderr}")
        operations = int(re.search(r"(\d+) operations each", done.stdout)[1])
        counts = {}
        for dump in sorted(Path(folder).glob("out.*"), key=lambda path: int(path.suffix[1:])):
            text = dump.read_text()
            trigger = re.search(rf"^desc: Trigger: --dump-after={FUNCTION}(\w+)", text, re.MULTILINE)
            total = re.search(r"^(?:summary|totals): (\d+)", text, re.MULTILINE)
            if trigger and trigger[1] != "SetUp":
                counts[trigger[1]] = round(int(total[1]) / operations)
        return counts


def recorded(path):
    lines = (line.split("#")[0].split() for line in path.read_text().splitlines())
    return {line[0]: int(line[1]) for line in lines if line}


def update(path, counts):
    head = [line for line in path.read_text().splitlines() if line.startswith("#")]
    body = [f"{name:<16} {count}" for name, count in counts.items()]
    path.write_text("\n".join(head + [""] + body) + "\n")


def main():
    program, path = sys.argv[1], Path(sys.argv[2])
    counts = counted(program)
    if "--update" in sys.argv:
        update(path, counts)
    expected = recorded(path)
    faults = []
    for name in sorted(counts.keys() | expected.keys()):
        now, before = counts.get(name), expected.get(name)
        print(f"{name:<16} {now} instructions, recorded {before}")
        if now is None or before is None:
            faults.append(f"{name}: counted {now}, recorded {before}; both must be there")
        elif now > before * (1 + MARGIN):
            faults.append(f"{name}: {now} instructions, {before} recorded: it has become slower")
        elif now < before * (1 - MARGIN):
            print(f"{name}: {now} instructions, {before} recorded: cheaper; record it")
    for name, other in SAME.items():
        now, like = counts.get(name, 0), counts.get(other, 0)
        if abs(now - like) > like * SAME_MARGIN:
            faults.append(f"{name}: {now} instructions, {other}: {like}; they must be the same")
    if faults:
        print("\n".join(faults), f"To record: python3 {sys.argv[0]} {program} {path} --update", sep="\n")
        sys.exit(1)


if __name__ == "__main__":
    main()
