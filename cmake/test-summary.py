#!/usr/bin/env python3
"""test-summary.py RESULTS...: sums up what the tests in these folders gave.

Each folder holds ctest.xml, and one NAME.xml for each program of many tests (NAME is its test's name in ctest.xml). Tests
that were tried a second time stand in again.xml, and count by that try.
A program that ended without writing its file counts as one failure. The last line is "N passed, N failed"; the exit
code is 0 only where something ran and nothing failed.
"""
import os
import sys
import xml.etree.ElementTree as ElementTree

passed, skipped, failures, tried_twice = 0, 0, [], []


def read_program(where, path):
    """Counts the cases of one GoogleTest program; tells whether one of them failed."""
    global passed, skipped
    before = len(failures)
    for case in ElementTree.parse(path).getroot().iter("testcase"):
        name = f"{where}: {case.get('classname')}.{case.get('name')}"
        if case.get("status") == "notrun":
            continue
        if case.find("failure") is not None:
            failures.append(name)
        elif case.find("skipped") is not None or case.get("result") == "skipped":
            skipped += 1
        else:
            passed += 1
    return len(failures) > before


for folder in sys.argv[1:]:
    where = os.path.basename(os.path.dirname(folder.rstrip("/")))
    listing = os.path.join(folder, "ctest.xml")
    if not os.path.exists(listing):
        failures.append(f"{where}: the test runner left no results")
        continue
    again = os.path.join(folder, "again.xml")
    second = ({test.get("name"): test for test in ElementTree.parse(again).getroot().iter("testcase")}
              if os.path.exists(again) else {})
    tried_twice += [f"{where}: {name}" for name in second]
    for test in ElementTree.parse(listing).getroot().iter("testcase"):
        test = second.get(test.get("name"), test)
        name, status = test.get("name"), test.get("status")
        program = os.path.join(folder, f"{name}.xml")
        if os.path.exists(program) and os.path.getsize(program) > 0:
            named = read_program(where, program)
            if status != "run" and not named:
                failures.append(f"{where}: {name} (ended badly behind its last test)")
        elif status == "run" and not name.startswith("unit_"):
            passed += 1
        elif status == "disabled" or (status == "notrun" and test.find("skipped") is not None
                                      and test.find("skipped").get("message", "").startswith("SKIP_")):
            skipped += 1
        else:
            failures.append(f"{where}: {name}" + (" (ended without results)" if name.startswith("unit_") else ""))

for failure in failures:
    print(f"FAILED {failure}")
if tried_twice:
    print(f"{len(tried_twice)} tried a second time, since a process hung at its very end under Wine:")
    for name in tried_twice:
        print(f"  {name}")
if skipped:
    print(f"{skipped} skipped")
print(f"{passed} passed, {len(failures)} failed")
sys.exit(0 if passed and not failures else 1)
