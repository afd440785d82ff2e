"""tools/main-job with the programs of this build: how it ends when all is well, and when it is not.

LOAM_BIN is the folder of the programs.
"""

import os
import re
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
BIN = Path(os.environ["LOAM_BIN"])
POLICY = PROJECT / "examples/policy/control-plane.json"


# The hardware rests behind the first policy until the agent of the second one was killed: however small
# a policy and however slow the machine, the agent is not done with it by then.
RESTS = """control=$2/LoamSystemAcl/hw-control.json
if [[ $3 == tables && ! -e $control ]]; then
    echo '{"stop-after": 9000}' >"$control"
elif [[ $3 == tables ]]; then
    echo '{}' >"$control"
fi
"""


class MainJob(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.bin = self.root / "bin"
        self.bin.mkdir()
        for program in ("loam-agent", "loam-hw", "loamctl", "loam-policy-gen"):
            (self.bin / program).symlink_to(BIN / program)

        self.instead("loamctl", RESTS + 'exec "$real" "$@"')

    def instead(self, program, text):
        """A script in the place of a program; `$real` is the program."""
        (self.bin / program).unlink()
        (self.bin / program).write_text(f"#!/usr/bin/env bash\nreal={BIN / program}\n{text}\n")
        (self.bin / program).chmod(0o755)

    def environment(self):
        # So many that the agent still writes when a third of them was seen: it may do a million a second.
        return {**os.environ, "LOAM_RUN_ENTRIES": "15000", "TMPDIR": str(self.root)}

    def start(self):
        return subprocess.run(
            [PROJECT / "tools/main-job", self.bin, POLICY],
            capture_output=True,
            text=True,
            env=self.environment(),
            timeout=240,
        )

    def assert_nothing_is_left(self, done):
        memory = Path(re.search(r"starts in (\S+)", done.stdout)[1])
        self.assertFalse(memory.exists())
        process = re.search(r"loam-hw, process (\d+)", done.stdout)[1]
        self.assertFalse(Path("/proc", process).exists())

    def test_TellsWhatARestartCostsAndEndsWellWhenHardwareAndTablesAgree(self):
        done = self.start()
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("was killed with SIGKILL", done.stdout)
        restarts = re.findall(
            r"written: 210000 entries asked for, (\d+) suppressed .*, (\d+) swept .*; "
            r"hardware operations: (\d+)\n",
            done.stdout,
        )
        replayed, unchanged = [tuple(map(int, each)) for each in restarts]
        self.assertTrue(0 < replayed[0] <= 210000, replayed)
        self.assertGreater(replayed[1], 0)
        self.assertEqual(replayed[2], 210000 - replayed[0] + replayed[1])
        self.assertEqual(unchanged, (210000, 0, 0))
        self.assertIn("\n210000 entries in 14 tables agree\n", done.stdout)
        self.assert_nothing_is_left(done)
        self.assertEqual(list(self.root.glob("loam-run.*")), [])

    def test_AnEntryThatDiffersFailsTheRunAndKeepsItsLogs(self):
        plant = '[[ $3 != compare ]] || sed -i 8d "$4"\n'
        self.instead("loamctl", RESTS + plant + 'exec "$real" "$@"')
        done = self.start()
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("Hardware and tables differ.", done.stderr)
        self.assertNotIn("Hardware and tables agree", done.stdout)
        self.assertEqual(len(list(self.root.glob("loam-run.*/hardware.txt"))), 1)
        self.assert_nothing_is_left(done)

    def test_AHardwareSideThatDoesNotStartIsToldWithItsWords(self):
        self.instead("loam-hw", "echo 'loam-hw: no such chip' >&2; exit 1")
        done = self.start()
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("loam-hw ended: loam-hw: no such chip", done.stderr)

    def test_KilledItLeavesNoProcessAndTheNextOneTakesAwayItsFolder(self):
        note = self.root / "agent"
        self.instead("loam-agent", f"echo $$ >{note}.new; mv {note}.new {note}; exec sleep 600")
        with subprocess.Popen(
            [PROJECT / "tools/main-job", self.bin, POLICY],
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
            env=self.environment(),
        ) as job:
            shown = ""
            while not (process := re.search(r"loam-hw, process (\d+)", shown)):
                line = job.stdout.readline()
                self.assertNotEqual(line, "", shown)
                shown += line
            end = time.monotonic() + 20
            while not note.exists() and time.monotonic() < end:
                time.sleep(0.02)
            job.kill()
        memory = Path(re.search(r"starts in (\S+)", shown)[1])
        self.assertTrue(memory.exists())
        for each in (process[1], note.read_text().strip()):
            alive = Path("/proc", each, "exe")
            end = time.monotonic() + 20
            while alive.exists() and time.monotonic() < end:
                time.sleep(0.02)
            self.assertFalse(alive.exists(), each)
        self.instead("loam-hw", "exit 1")
        self.start()
        self.assertFalse(memory.exists())

    def test_AProgramThatIsNotBuiltIsNamed(self):
        (self.bin / "loam-hw").unlink()
        done = self.start()
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"{self.bin} has no program loam-hw; build it with ./run", done.stderr)


if __name__ == "__main__":
    unittest.main()
