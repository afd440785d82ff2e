"""What the scripts' tests have in common: a copy of the scripts in a folder of its own, with nothing on
its path but what a test has put there.
"""

import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
NOBODY = 65534
# What the scripts themselves are written in; dpkg-query, apt-get, sudo and the like are played.
ORDINARY = "awk bash cat comm dirname env grep ls mktemp nproc rm sed sort tail tee true".split()


class Scripts(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.project, self.path = self.root / "project", self.root / "path"
        self.log = self.root / "log"
        self.project.mkdir()
        self.path.mkdir()
        self.log.touch()
        for name in ("run", "test", "packages.txt"):
            shutil.copy(PROJECT / name, self.project)
        for name in ("tools", ".ci"):
            shutil.copytree(PROJECT / name, self.project / name)
        for name in ORDINARY:
            (self.path / name).symlink_to(shutil.which(name))

    def play(self, script, text):
        """A program of ours, which notes that it was called and with what."""
        path = Path(script) if Path(script).is_absolute() else self.path / script
        path.write_text(f'#!/usr/bin/env bash\necho "${{0##*/}} $*" >>"{self.log}"\n{text}\n')
        path.chmod(0o755)

    def calls(self):
        return self.log.read_text().splitlines()

    def start(self, *command, **environment):
        """As a user without rights: what root may do is played by sudo."""
        for path in (self.root, self.log):
            path.chmod(0o777)
        rights = {"user": NOBODY, "group": NOBODY, "extra_groups": []} if os.geteuid() == 0 else {}
        return subprocess.run(
            [self.project / command[0], *command[1:]],
            capture_output=True,
            text=True,
            stdin=subprocess.DEVNULL,
            timeout=60,
            env={"PATH": str(self.path), "TMPDIR": str(self.root), **environment},
            **rights,
        )
