"""tools/setup on a machine that has everything, that lacks something, and that is no Debian."""

import unittest

from scripts import Scripts


class Setup(Scripts):
    def setUp(self):
        super().setUp()
        self.missing()
        self.play("sleep", "exit 0")

    def missing(self, *names):
        """All packages are installed but these."""
        self.play(
            "dpkg-query",
            f"for name; do [[ $name == -* || ' {' '.join(names)} ' == *\" $name \"* ]] || "
            'echo "$name installed"; done',
        )

    def sudo(self):
        self.play("sudo", 'shift; exec "$@"')

    def apt(self, text):
        self.play("apt-get", text)

    def apt_calls(self):
        return [call for call in self.calls() if call.startswith("apt-get")]

    def setup(self, *sections):
        return self.start("tools/setup", *sections)

    def test_NothingHappensWhenEveryPackageIsThere(self):
        self.sudo()
        self.apt("exit 1")
        done = self.setup("run", "test", "bench")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        self.assertEqual(self.apt_calls(), [])

    def test_WhoMayNotInstallIsToldWhatIsMissingAndTheCommand(self):
        self.missing("libfmt-dev", "ninja-build")
        self.play("sudo", "exit 1")  # asks for a password
        self.apt("exit 0")
        done = self.setup("run")
        self.assertEqual(done.returncode, 1)
        self.assertIn("may not install them: libfmt-dev ninja-build\n", done.stderr)
        self.assertIn(
            "    sudo apt-get install --no-install-recommends libfmt-dev ninja-build\n", done.stderr
        )
        self.assertEqual(self.apt_calls(), [])

    def test_WithoutSudoTheSameIsTold(self):
        self.missing("g++")
        done = self.setup("run")
        self.assertEqual(done.returncode, 1)
        self.assertIn("may not install them: g++\n", done.stderr)

    def test_WhatIsMissingIsInstalledAndNothingElse(self):
        self.missing("libfmt-dev", "ninja-build", "valgrind")
        self.sudo()
        self.apt("exit 0")
        done = self.setup("run")
        self.assertEqual(done.returncode, 0, done.stderr)
        (call,) = self.apt_calls()
        self.assertIn("--yes", call)
        self.assertIn("--no-remove", call)  # nothing of the user's goes
        self.assertTrue(call.endswith(" libfmt-dev ninja-build"), call)

    def test_TheOtherArchitectureIsAddedBeforeItsPackagesAreInstalled(self):
        self.missing("libfmt-dev:i386", "libgtest-dev:i386")
        self.sudo()
        self.play("dpkg", "exit 0")  # no foreign architecture
        self.apt(f'[[ $1 == update || $(grep -c "^apt-get install" "{self.log}") == 2 ]]')
        done = self.setup("words32")
        self.assertEqual(done.returncode, 0, done.stderr)
        calls = [call for call in self.calls() if call.startswith(("apt-get", "dpkg "))]
        self.assertEqual(
            [" ".join(call.split()[:2]) for call in calls],
            [
                "dpkg --print-foreign-architectures",
                "dpkg --add-architecture",
                "apt-get install",
                "apt-get update",
                "apt-get install",
            ],
        )
        self.assertTrue(calls[-1].endswith(" libfmt-dev:i386 libgtest-dev:i386"), calls[-1])

    def test_AnArchitectureThatIsKnownIsNotAdded(self):
        self.missing("libfmt-dev:i386")
        self.sudo()
        self.play("dpkg", "echo i386")
        self.apt("exit 0")
        self.assertEqual(self.setup("words32").returncode, 0)
        self.assertFalse([call for call in self.calls() if "--add-architecture" in call])

    def test_WhoMayNotInstallIsToldOfTheArchitectureToo(self):
        self.missing("libfmt-dev:i386")
        self.play("sudo", "exit 1")
        self.play("dpkg", "exit 0")
        done = self.setup("words32")
        self.assertEqual(done.returncode, 1)
        self.assertIn(
            "    sudo dpkg --add-architecture i386 && sudo apt-get update\n"
            "    sudo apt-get install --no-install-recommends libfmt-dev:i386\n",
            done.stderr,
        )

    def test_APackageOfTheOtherArchitectureIsNoneOfTheMachinesOwn(self):
        self.play(
            "dpkg-query",
            'for name; do case $name in -*) ;; libfmt-dev) echo "libfmt-dev:i386 installed" ;; '
            '*) echo "${name%:*}:amd64 installed" ;; esac; done',
        )
        self.sudo()
        self.apt("exit 0")
        self.assertEqual(self.setup("run").returncode, 0)
        (call,) = self.apt_calls()
        self.assertTrue(call.endswith(" libfmt-dev"), call)

    def test_TheListsAreFetchedOnlyWhenAnInstallationFails(self):
        self.missing("g++")
        self.sudo()
        self.apt(f'[[ $1 == update || $(grep -c "^apt-get install" "{self.log}") == 2 ]]')
        done = self.setup("run")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(
            [call.split()[1] for call in self.apt_calls()], ["install", "update", "install"]
        )

    def test_AMirrorThatIsChangingItsListsIsAskedAgain(self):
        self.missing("g++")
        self.sudo()
        self.apt(
            f'case $1 in update) [[ $(grep -c "^apt-get update" "{self.log}") == 2 ]] ;; '
            f'*) [[ $(grep -c "^apt-get install" "{self.log}") == 2 ]] ;; esac'
        )
        done = self.setup("run")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(
            [call.split()[1] for call in self.apt_calls()],
            ["install", "update", "update", "install"],
        )

    def test_AListThatStaysAwayIsNoHindranceWhenItIsNotWanted(self):
        self.missing("g++")
        self.sudo()
        self.apt(f'[[ $1 == install && $(grep -c "^apt-get install" "{self.log}") == 2 ]]')
        done = self.setup("run")
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_AnInstallationThatFailsGivesTheLastWordsOfApt(self):
        self.missing("g++")
        self.sudo()
        self.apt("echo 'E: no space left'; exit 100")
        done = self.setup("run")
        self.assertEqual(done.returncode, 1)
        self.assertIn("E: no space left\n", done.stderr)
        self.assertIn("could not be installed", done.stderr)

    def test_AnotherSystemIsToldWhatTheProjectNeeds(self):
        (self.path / "dpkg-query").unlink()
        done = self.setup("run")
        self.assertEqual(done.returncode, 1)
        self.assertIn("not a Debian system", done.stderr)
        self.assertIn(" libfmt-dev ", done.stderr)

    def test_ASectionThatIsNotThereIsRefused(self):
        done = self.setup("run", "nonsense")
        self.assertEqual(done.returncode, 1)
        self.assertIn("packages.txt has no section [nonsense]", done.stderr)


if __name__ == "__main__":
    unittest.main()
