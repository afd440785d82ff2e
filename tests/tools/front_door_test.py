"""./run, ./test and .ci/run: which tools they call in which order, and how they end."""

import os
import unittest

from scripts import Scripts

TOOLS = ("setup", "build", "main-job", "check-format", "check-tidy")
PASSED = "echo '100% tests passed, 0 tests failed out of 3'"


class FrontDoor(Scripts):
    def setUp(self):
        super().setUp()
        for tool in TOOLS:
            self.tool(tool)
        self.play("ctest", PASSED)

    def tool(self, name, text="exit 0"):
        self.play(str(self.project / "tools" / name), text)

    def ctest_calls(self):
        return [call for call in self.calls() if call.startswith("ctest")]


class Run(FrontDoor):
    def test_RunSetsUpThenBuildsThenShowsTheMainJob(self):
        done = self.start("run")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(
            self.calls(),
            [
                "setup run",
                "build release",
                f"main-job {self.project}/build/release/bin "
                f"{self.project}/examples/policy/control-plane.json",
            ],
        )

    def test_RunEndsAsTheMainJobDoes(self):
        self.tool("main-job", "exit 3")
        self.assertEqual(self.start("run").returncode, 3)

    def test_RunBuildsNothingWithoutItsPackages(self):
        self.tool("setup", "exit 1")
        self.assertEqual(self.start("run").returncode, 1)
        self.assertEqual(self.calls(), ["setup run"])

    def test_RunShowsNothingThatIsNotBuilt(self):
        self.tool("build", "exit 1")
        self.assertEqual(self.start("run").returncode, 1)
        self.assertEqual(self.calls(), ["setup run", "build release"])

    def test_RunTakesNoArgumentsAndSaysSo(self):
        done = self.start("run", "--fast")
        self.assertEqual(done.returncode, 2)
        self.assertIn("takes no arguments, and was given: --fast", done.stderr)
        self.assertEqual(self.calls(), [])

    def test_RunExplainsItself(self):
        done = self.start("run", "--help")
        self.assertEqual(done.returncode, 0)
        self.assertIn("builds, and shows the project at work", done.stdout)


class Test(FrontDoor):
    def test_TestOfANameRunsTheTestsThatMatchAndNothingElse(self):
        done = self.start("test", "FirstWrite")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.calls()[:2], ["setup run test", "build debug"])
        self.assertEqual(
            self.calls()[2:],
            [f"ctest --preset debug -j {len(os.sched_getaffinity(0))} -LE long -R FirstWrite"],
        )

    def test_TestOfANameEndsAsTheTestsDo(self):
        self.play("ctest", "exit 8")
        self.assertEqual(self.start("test", "FirstWrite").returncode, 8)

    def test_TestWithoutANameTakesEveryStepAndEndsWithASummary(self):
        done = self.start("test")
        self.assertEqual(done.returncode, 0, done.stderr)
        steps = [" ".join(call.split()[:3]) for call in self.calls()]
        self.assertEqual(
            steps,
            [
                "setup run test",
                "check-format",
                "build debug",
                "check-tidy",
                "build asan-libraries",
                "ctest --preset asan-libraries",
                "ctest --preset debug",
            ],
        )
        self.assertEqual(done.stdout.count(" passed "), 5)
        self.assertTrue(done.stdout.endswith("0 tests failed out of 3\n"), done.stdout)

    def test_AStepThatFailsFailsAllButTheOthersAreTaken(self):
        for tool in ("check-format", "check-tidy"):
            with self.subTest(tool):
                self.tool(tool, "exit 1")
                done = self.start("test")
                self.tool(tool)
                self.assertEqual(done.returncode, 1)
                self.assertEqual(done.stdout.count("FAILED"), 1)
                self.assertIn("Not everything passed", done.stderr)
                self.assertIn("ctest --preset debug", self.calls()[-1])

    def test_ATestThatFailsFailsAll(self):
        for preset in ("asan-libraries", "debug"):
            with self.subTest(preset):
                self.play("ctest", f"{PASSED}; [[ $2 != {preset} ]]")
                done = self.start("test")
                self.assertEqual(done.returncode, 1)
                self.assertEqual(done.stdout.count("FAILED"), 1)

    def test_LongTakesTheLongTestsAndTheProgramsUnderSanitizers(self):
        self.play("python3", "exit 0")
        self.assertEqual(self.start("test", "--long").returncode, 0)
        self.assertIn("build asan", self.calls())
        self.assertIn("build tsan", self.calls())
        short = [call.split()[2] for call in self.ctest_calls() if "-LE" in call]
        self.assertEqual(short, ["tsan", "words32"])

    def test_TheFiguresThatTestsHaveCountedAreAddedUp(self):
        log = self.project / "build/debug/Testing/Temporary/LastTest.log"
        log.parent.mkdir(parents=True)
        log.write_text(
            "figures: 1200 kills, nothing lost\n"
            "noise\n"
            "figures: 34 kills, nothing lost\n"
            "figures: 7 steps of a walk, something lost\n"
        )
        for arguments in ((), ("Kill",)):
            out = self.start("test", *arguments).stdout
            self.assertIn("1,234 kills, nothing lost\n7 steps of a walk, SOMETHING lost\n", out)

    def test_LongTakesTheTestsIn32BitsAndBothWordSizesTogether(self):
        self.play("python3", "exit 0")
        self.assertEqual(self.start("test", "--long").returncode, 0)
        calls = self.calls()
        at = calls.index("setup words32")
        self.assertEqual(calls[at + 1], "build words32")
        self.assertTrue(calls[at + 2].startswith("ctest --preset words32 "), calls[at + 2])
        self.assertEqual(
            calls[at + 3],
            f"python3 -B {self.project}/tests/words/mixed.py "
            f"{self.project}/build/debug/bin {self.project}/build/words32/bin",
        )
        for script, text in (("python3", "exit 1"), ("ctest", f"{PASSED}; [[ $2 != words32 ]]")):
            self.play(script, text)
            done = self.start("test", "--long")
            self.assertEqual((done.returncode, done.stdout.count("FAILED")), (1, 1))
            self.play(script, PASSED)

    def test_TestRefusesWhatItDoesNotKnow(self):
        for arguments, words in (
            (("--fast",), "unknown option --fast"),
            (("One", "Two"), 'one NAME at most, got "One" and "Two"'),
        ):
            done = self.start("test", *arguments)
            self.assertEqual(done.returncode, 1)
            self.assertIn(words, done.stderr)
        self.assertEqual(self.calls(), [])

    def test_TheContinuousIntegrationRunsAllTests(self):
        self.tool("setup", f'echo "CI=$CI" >>"{self.log}"')
        self.assertEqual(self.start(".ci/run").returncode, 0)
        self.assertEqual(self.calls()[:2], ["setup run test", "CI=true"])
        self.assertEqual(len(self.ctest_calls()), 2)


if __name__ == "__main__":
    unittest.main()
