#!/usr/bin/env python3
"""check_wine_run.py ROOT: what cmake/wine-run makes of a program's end, with programs of this machine in Wine's place."""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = sys.argv.pop()
PASSED = "[==========] 2 tests from 1 test suite ran. (1 ms total)\\n[  PASSED  ] 2 tests.\\n"
LAST_WORD = "unit_x.exe hangs at its very end, behind its last word\n"


class WineRun(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.TemporaryDirectory()
        self.addCleanup(self.root.cleanup)
        for name in ("wine-run", "wine-env.sh"):
            os.makedirs(os.path.join(self.root.name, "cmake"), exist_ok=True)
            shutil.copy(os.path.join(ROOT, "cmake", name), os.path.join(self.root.name, "cmake"))
        prefix = os.path.join(self.root.name, "build", "wine")
        for folder in ("dosdevices", "drive_c/windows"):
            os.makedirs(os.path.join(prefix, folder))
        for name in ("system.reg", ".update-timestamp", "vdipc-ready"):
            open(os.path.join(prefix, name), "w", encoding="utf-8").close()
        self.path = os.path.join(self.root.name, "path")
        os.makedirs(self.path)
        self.program("wineserver", "exit 0")

    def program(self, name, lines):
        path = os.path.join(self.path, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(f"#!/bin/bash\n{lines}\n")
        os.chmod(path, 0o755)

    def run_program(self, lines, seconds="60", program="unit_x.exe"):
        # Wine's own services are started through the same program.
        self.program("wine", f'[ "$1" != cmd ] || exit 0\n{lines}')
        return subprocess.run([os.path.join(self.root.name, "cmake", "wine-run"), program], text=True, capture_output=True,
                              timeout=120, env={"PATH": f"{self.path}:{os.environ['PATH']}", "VDIPC_WINE_EXCLUSIVE": "1",
                                                "VDIPC_END_SECONDS": seconds})

    def test_program_that_hangs_behind_its_last_word_is_ended_and_told(self):
        ran = self.run_program(f"printf '{PASSED}'; exec sleep 100", seconds="4")
        self.assertNotEqual(ran.returncode, 0)
        self.assertTrue(ran.stdout.endswith("[  PASSED  ] 2 tests.\n" + LAST_WORD), ran.stdout)

    def test_program_that_ends_is_left_alone(self):
        ran = self.run_program(f"printf '{PASSED}'; sleep 1")
        self.assertEqual((ran.returncode, ran.stdout.count(LAST_WORD)), (0, 0), ran.stdout)

    def test_program_that_has_not_said_how_it_went_is_left_alone(self):
        ran = self.run_program("echo '[ RUN      ] A.B'; sleep 10; exit 3", seconds="4")
        self.assertEqual((ran.returncode, ran.stdout), (3, "[ RUN      ] A.B\n"))

    def test_tests_of_the_system_that_wine_did_not_start_are_started_again_once(self):
        count = os.path.join(self.root.name, "count")
        fails = f"echo >>{count}; [ $(wc -l <{count}) -ge 2 ] || exit 1; echo 'Note: it runs'"
        ran = self.run_program(fails, program="system_tests.exe")
        self.assertEqual((ran.returncode, ran.stdout), (0, "Note: it runs\n"), ran.stderr)
        self.assertIn("started again", ran.stderr)
        os.remove(count)
        self.assertEqual(self.run_program(fails, program="unit_x.exe").returncode, 1)
        os.remove(count)
        ran = self.run_program(f"echo >>{count}; exit 1", program="system_tests.exe")
        self.assertEqual(ran.returncode, 1)
        with open(count, encoding="utf-8") as file:
            self.assertEqual(len(file.readlines()), 2)
        os.remove(count)
        self.assertEqual(self.run_program(f"echo said; {fails}", program="system_tests.exe").returncode, 1)

    def test_prefix_that_somebody_left_behind_is_taken_by_a_script_that_ends_at_the_first_error_too(self):
        os.makedirs(os.path.join(self.root.name, "build", "wine-pool"))
        with open(os.path.join(self.root.name, "build", "wine-pool", "1.running"), "w", encoding="utf-8"):
            pass
        # As it answers where no server runs.
        self.program("wineserver", "exit 1")
        ran = subprocess.run(["bash", "-euo", "pipefail", "-c", f"root={self.root.name}; . $root/cmake/wine-env.sh; "
                              "vdipc_wine_take_slot 1; echo $WINEPREFIX"], text=True, capture_output=True, timeout=60,
                             env={"PATH": f"{self.path}:{os.environ['PATH']}"})
        self.assertEqual(ran.stdout, os.path.join(self.root.name, "build", "wine-pool", "1") + "\n", ran.stderr)


unittest.main()
