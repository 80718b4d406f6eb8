#!/usr/bin/env python3
"""check_second_try.py ROOT: which failed tests are tried a second time, and how they count then."""
import os
import subprocess
import sys
import tempfile
import unittest
from xml.sax.saxutils import escape, quoteattr

ROOT = sys.argv.pop()
HUNG = ('unknown file: Failure\nC++ exception with description "vdhost.exe hangs at its very end, behind its last word" '
        "thrown in TearDown().\n\n")
OTHER = "/work/host_test.cpp:12: Failure\nExpected equality of these values:\n  1\n  2\n\n"
END = "[==========] 1 test from 1 test suite ran. (1 ms total)\n[  FAILED  ] 1 test, listed below:\n\n 1 FAILED TEST\n"

PASSED = "[==========] 9 tests from 2 test suites ran. (1 ms total)\n[  PASSED  ] 9 tests.\n"
HUNG_ITSELF = "unit_ipc.exe hangs at its very end, behind its last word\n"

HUNG_LESSON = "vdhost.exe hangs at its very end, behind its last word\n"


def soak(why):
    """What the soak prints where a lesson fails."""
    return (f"SIMULATED soak, first seed 1\nSOAK FAILED: seed 1, step 80\nlast steps:\n  80 stop\n{why}"
            "files: Z:\\soak\\1\nto see it again: ./dev soak --lessons 1 --steps 80 --seed 1\n"
            "0 lessons, 0 steps, 0 events and 0 speech requests compared in 61 s, ONE DEVIATION\n  events:\n")


def listing(folder, name, tests):
    with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
        file.write('<?xml version="1.0" encoding="UTF-8"?>\n<testsuite>\n')
        for test, output in tests.items():
            failed = "" if output is None else '<failure message=""/>'
            file.write(f'<testcase name={quoteattr(test)} status="{"run" if output is None else "fail"}">{failed}'
                       f"<system-out>{escape(output or '')}</system-out></testcase>\n")
        file.write("</testsuite>\n")


class SecondTry(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.TemporaryDirectory()
        self.addCleanup(self.root.cleanup)
        self.results = os.path.join(self.root.name, "mingw-test", "results")
        os.makedirs(self.results)

    def run_script(self, name, *arguments):
        return subprocess.run([sys.executable, os.path.join(ROOT, "cmake", name), *arguments], text=True,
                              capture_output=True)

    def tried_again(self, tests):
        listing(self.results, "ctest.xml", tests)
        ran = self.run_script("second-try.py", os.path.join(self.results, "ctest.xml"))
        self.assertEqual(ran.returncode, 0, ran.stderr)
        return ran.stdout.split()

    def summary(self):
        ran = self.run_script("test-summary.py", self.results)
        return ran.returncode, ran.stdout.splitlines()

    def test_host_that_hung_at_its_end_is_tried_again(self):
        self.assertEqual(self.tried_again({"system.A.One": HUNG + END, "system.A.Two": None}), ["system.A.One"])

    def test_everything_else_that_failed_is_not(self):
        self.assertEqual(self.tried_again({
            "system.A.Other": OTHER + END,
            "system.A.OtherToo": OTHER + HUNG + END,
            "system.A.OtherBehindIt": HUNG + OTHER + END,
            "system.A.OutOfTime": HUNG,
            "system.A.OutOfTimeWithoutAWord": "",
            "system.A.Crash": "wine: Unhandled exception\n",
            "unit_ipc": HUNG + END,
            "unit_pipe_936": HUNG + END,
            "binary.imports": HUNG + END,
            "soak.short": "seed 1 deviates\n"}), [])

    def test_program_of_tests_that_passed_and_hung_at_its_end_is_tried_again(self):
        system = HUNG_ITSELF.replace("unit_ipc", "system_tests")
        self.assertEqual(self.tried_again({
            "unit_ipc": PASSED + HUNG_ITSELF,
            "unit_pipe_936": "MISUSE: of a test\n" + PASSED + "\n  YOU HAVE 1 DISABLED TEST\n\n" + HUNG_ITSELF,
            "system.A.One": PASSED.replace("9", "1") + system}), ["unit_ipc", "unit_pipe_936", "system.A.One"])

    def test_program_of_tests_in_which_one_failed_or_that_said_nothing_is_not(self):
        self.assertEqual(self.tried_again({
            "unit_ipc": OTHER + PASSED + "[  FAILED  ] 1 test, listed below:\n\n 1 FAILED TEST\n" + HUNG_ITSELF,
            "unit_pipe": OTHER + PASSED + HUNG_ITSELF,
            "unit_device": PASSED.replace("9", "0") + HUNG_ITSELF,
            "unit_common": HUNG_ITSELF,
            "unit_drivers": PASSED,
            "system.A.One": OTHER + PASSED + HUNG_ITSELF}), [])

    def test_program_of_tests_that_passed_at_its_second_end_counts(self):
        listing(self.results, "ctest.xml", {"unit_ipc": PASSED + HUNG_ITSELF})
        listing(self.results, "again.xml", {"unit_ipc": None})
        with open(os.path.join(self.results, "unit_ipc.xml"), "w", encoding="utf-8") as file:
            file.write('<testsuites><testsuite><testcase classname="A" name="B" status="run"/></testsuite></testsuites>')
        code, lines = self.summary()
        self.assertEqual((code, lines[-1]), (0, "1 passed, 0 failed"))

    def test_lesson_of_the_soak_is_tried_again_for_the_same_reason(self):
        self.assertEqual(self.tried_again({"soak.short": soak(HUNG_LESSON)}), ["soak.short"])

    def test_lesson_of_the_soak_that_deviates_or_does_not_come_to_its_sums_is_not(self):
        for output in (soak("step 80: expected one thing\nseen another\n"), soak("stop: " + HUNG_LESSON),
                       soak(HUNG_LESSON + "and more\n"), soak(HUNG_LESSON).replace("ONE DEVIATION", "no deviation"),
                       soak(HUNG_LESSON).split("files: ")[0], HUNG_LESSON):
            self.assertEqual(self.tried_again({"soak.short": output}), [], output)

    def test_more_than_five_are_no_accident(self):
        self.assertEqual(len(self.tried_again({f"system.A.N{i}": HUNG + END for i in range(5)})), 5)
        self.assertEqual(self.tried_again({f"system.A.N{i}": HUNG + END for i in range(6)}), [])

    def test_second_try_counts_and_is_told(self):
        listing(self.results, "ctest.xml", {"system.A.One": HUNG + END, "system.A.Two": None})
        listing(self.results, "again.xml", {"system.A.One": None})
        code, lines = self.summary()
        self.assertEqual(code, 0)
        self.assertEqual(lines, ["1 tried a second time, since a process hung at its very end under Wine:",
                                 "  mingw-test: system.A.One", "2 passed, 0 failed"])

    def test_second_try_that_fails_has_failed(self):
        listing(self.results, "ctest.xml", {"system.A.One": HUNG + END, "system.A.Two": None})
        listing(self.results, "again.xml", {"system.A.One": HUNG + END})
        code, lines = self.summary()
        self.assertEqual(code, 1)
        self.assertEqual(lines[0], "FAILED mingw-test: system.A.One")
        self.assertEqual(lines[-1], "1 passed, 1 failed")

    def test_program_of_unit_tests_that_ends_badly_has_failed_whatever_its_cases_say(self):
        listing(self.results, "ctest.xml", {"unit_ipc": ""})
        with open(os.path.join(self.results, "unit_ipc.xml"), "w", encoding="utf-8") as file:
            file.write('<testsuites><testsuite><testcase classname="A" name="B" status="run"/></testsuite></testsuites>')
        code, lines = self.summary()
        self.assertEqual(code, 1)
        self.assertEqual(lines, ["FAILED mingw-test: unit_ipc (ended badly behind its last test)", "1 passed, 1 failed"])


unittest.main()
