"""Programs of both word sizes at work on one set of tables.

    python3 mixed.py BIN BIN [--entries N] [--types KINDS]

BIN are the folders of the programs of the two builds; they must have the same tables.

A set of tables is programmed, its agent and its hardware side are killed in the middle of a second
policy, and both come up again, each in either word size: all eight combinations of first agent, second
agent and hardware side, whose second life is in the other size. At the end the hardware must hold what
the tables hold, entry by entry, and programs of either size must say the same of everything.

Then an agent of each size writes the same policy by itself, and the files that they leave must be the
same byte for byte, but for what is random in each file and the checksums that depend on it.

The last line tells the figures. The exit status is 0 only if there was no difference.
"""

import argparse
import itertools
import json
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from image import Image

TABLES_JSON = ("tables", "--json")
PATIENCE = 120  # seconds


class Difference(Exception):
    """What one side has and the other has not."""


def word_bits(program):
    """32 or 64, by the head of the program's file."""
    head = program.read_bytes()[:5]
    if head[:4] != b"\x7fELF" or head[4] not in (1, 2):
        sys.exit(f"mixed.py: {program} is no program; build it first")
    return 32 * head[4]


def programs_of(folders):
    """The folders by their word size; there must be one of each."""
    found = {word_bits(folder / "loam-agent"): folder for folder in folders}
    for size, folder in found.items():
        for name in ("loam-hw", "loamctl", "loam-policy-gen"):
            if word_bits(folder / name) != size:
                sys.exit(f"mixed.py: {folder}/{name} is of another word size than its loam-agent")
    if set(found) != {32, 64}:
        sys.exit(f"mixed.py: programs of 32 and of 64 bits are needed, found {sorted(found)}")
    return found


def expect(holds, text):
    if not holds:
        raise Difference(text)


class Switch:
    """Tables, and the processes on them, in folders of their own."""

    def __init__(self, bins, work, memory):
        self.bins, self.work, self.memory = bins, work, memory
        self.dump = work / "hw.dump"
        self.children = []

    def close(self):
        for child in self.children:
            if child.poll() is None:
                child.kill()
                child.wait()

    def start(self, size, name, *arguments):
        number = len(self.children)
        with open(self.work / f"{name}-{size}.{number}.log", "w+b") as log:
            child = subprocess.Popen(
                [self.bins[size] / name, "--root", self.memory, *arguments],
                stdout=log,
                stderr=subprocess.STDOUT,
            )
        child.log = self.work / f"{name}-{size}.{number}.log"
        self.children.append(child)
        return child

    def run(self, size, name, *arguments):
        child = self.start(size, name, *arguments)
        status = child.wait(timeout=PATIENCE)
        text = child.log.read_text()
        expect(status == 0, f"{size}-bit {name} {' '.join(map(str, arguments))}: {status}\n{text}")
        return text

    def hardware(self, size):
        return self.start(size, "loam-hw", "--dump", self.dump, "--stat-interval-ms", "20")

    def agent(self, size, policy):
        return self.run(size, "loam-agent", "--policy", policy, "--once")

    def both(self, *arguments):
        """What loamctl says, which must be the same in either size."""
        texts = [self.run(size, "loamctl", *arguments) for size in (32, 64)]
        expect(texts[0] == texts[1], f"loamctl {' '.join(map(str, arguments))} differs in its two sizes")
        return texts[0]

    def tables(self):
        return json.loads(self.both(*TABLES_JSON))["tables"]


def wait_for(child, text, what):
    end = time.monotonic() + PATIENCE
    while text not in child.log.read_text():
        expect(child.poll() is None, f"{what} ended early: {child.log.read_text()}")
        expect(time.monotonic() < end, f"{what} never said {text!r}: {child.log.read_text()}")
        time.sleep(0.005)


def changes(switch, size):
    """The sum of the versions that are announced, while anything may be going on."""
    tables = json.loads(switch.run(size, "loamctl", *TABLES_JSON))["tables"]
    return sum(table["announced-version"] or 0 for table in tables)


def killed_and_taken_over(switch, policies, first, second, hardware):
    """Gives how many entries were compared."""
    other = 96 - hardware
    living = switch.hardware(hardware)
    switch.agent(first, policies[0])

    # The second policy, until some of it is announced.
    before = changes(switch, second)
    agent = switch.start(first, "loam-agent", "--policy", policies[1], "--once")
    while changes(switch, second) == before:
        expect(agent.poll() is None, "the agent was done before it was killed: use more entries")
    for child in (agent, living):
        child.kill()
        expect(child.wait() == -signal.SIGKILL, f"{child.args[0]} ended before its kill: use more entries")
    switch.both("verify")

    living = switch.hardware(other)
    told = switch.agent(second, policies[1])
    expect("restart: run 3 of the agent, found " in told, f"not taken over: {told}")
    told = switch.agent(first, policies[1])  # once more in the first size: nothing is to be done
    expect(", 0 swept" in told and "hardware operations: 0\n" in told, f"not all was found: {told}")
    living.send_signal(signal.SIGTERM)
    expect(living.wait(timeout=PATIENCE) == 0, f"hardware side: {living.log.read_text()}")

    switch.both("verify")
    ring = json.loads(switch.both("ring", "--json"))["messages"]
    expect(ring, "the ring trace is empty")
    entries = 0
    for table in switch.tables():
        at = [table[f"{which}-version"] for which in ("logged", "announced", "applied")]
        expect(at[0] == at[1] == at[2], f"{table['name']} has stopped at {at}")
        shown = json.loads(switch.both("show", table["name"], "--json"))["entries"]
        expect(len(shown) == table["entries"], f"{table['name']} shows {len(shown)} entries")
        entries += len(shown)
    expect(entries > 0, "the tables are empty")
    compared = switch.both("compare", switch.dump)
    expect(compared.startswith(f"{entries} entries in "), compared)
    expect(compared.endswith(" agree\n"), compared)
    return entries


def image_of(switch, policy, size):
    agent = switch.start(size, "loam-agent", "--policy", policy)
    wait_for(agent, "written: ", f"the {size}-bit agent")
    agent.send_signal(signal.SIGTERM)
    agent.wait(timeout=PATIENCE)
    return Image(switch.memory)


class Folders:
    """A fresh place for each set of tables."""

    def __init__(self, bins):
        self.bins = bins
        self.made = []

    def switch(self):
        work, memory = Path(tempfile.mkdtemp()), Path(tempfile.mkdtemp(dir="/dev/shm"))
        switch = Switch(self.bins, work, memory)
        self.made.append(switch)
        return switch

    def remove(self):
        for switch in self.made:
            switch.close()
            shutil.rmtree(switch.memory)
            shutil.rmtree(switch.work)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("bins", nargs=2, type=Path, metavar="BIN")
    parser.add_argument("--entries", type=int, default=42000, help="rules of all kinds together")
    parser.add_argument("--types", default="ipv4,ipv6,l2,mpls,vxlan,tunnel,olp", help="the kinds")
    options = parser.parse_args()
    bins = programs_of([folder.resolve() for folder in options.bins])
    folders = Folders(bins)
    try:
        work = folders.switch().work
        policies = [work / "first.json", work / "second.json"]
        for seed, policy in enumerate(policies, 1):
            count = options.entries // len(options.types.split(",")) // (3 - seed)
            subprocess.run(
                [bins[64] / "loam-policy-gen", "-n", str(count), "-s", str(seed)]
                + ["-t", options.types, "-o", policy],
                check=True,
            )
        combinations = entries = 0
        for first, second, hardware in itertools.product((32, 64), repeat=3):
            entries += killed_and_taken_over(folders.switch(), policies, first, second, hardware)
            combinations += 1
            print(f"agent {first}, then {second}; hardware side {hardware}, then {96 - hardware}: equal",
                  flush=True)
        images = [image_of(folders.switch(), policies[0], size) for size in (32, 64)]
        expect(images[0].bytes() > 0, "the two agents have left nothing")
        differences = list(images[0].differences(images[1]))
        expect(not differences, "the files of the two differ:\n" + "\n".join(differences[:20]))
        print(f"{combinations} combinations, {2 * combinations} kills, {entries} entries compared; "
              f"{len(images[0].files)} files, {images[0].bytes()} bytes of two agents compared; "
              "differences: nothing")
    except Difference as difference:
        sys.exit(f"mixed.py: {difference}")
    finally:
        folders.remove()


if __name__ == "__main__":
    main()
