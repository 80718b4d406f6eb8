#!/usr/bin/env python3
"""second-try.py CTEST.XML: names the tests that may be tried a second time, one on each line.

Under Wine a process hangs at its very end now and then, behind the last thing that it had to do. A test whose host did that,
or whose own program did, and in which nothing failed, says nothing of the library, and may be tried again. Everything else
that failed has failed: a test out of time, a test in which one expectation more did not hold. More than five such ends in
one run are no accident, and none of them is tried again.
"""
import re
import sys
import xml.etree.ElementTree as ElementTree

LAST_WORD = "hangs at its very end, behind its last word"  # tools/common/Stage.h, cmake/wine-run
MOST = 5


def only_the_end_hung(name, output):
    """Whether the test came to its own end, and each failure that it tells of is the hanging end of a host."""
    if name.startswith("soak."):
        # The first lesson that fails is the last one: why stands above the folder of its files, and behind it the sums.
        return bool(re.search(rf"^vdhost\.exe {LAST_WORD}$\n^files: ", output, flags=re.MULTILINE)
                    and re.search(r"^\d+ lessons, .*, ONE DEVIATION$", output, flags=re.MULTILINE))
    # The program of the tests itself, where all of them passed.
    if re.search(rf"^\[  PASSED  \] [1-9]\d* tests?\.\n(?:.*\n){{0,6}}(?:unit|system)_\w+\.exe {LAST_WORD}$", output,
                 flags=re.MULTILINE):
        return not re.search(r"^.*: Failure$|^\[  FAILED  \]", output, flags=re.MULTILINE)
    if not name.startswith("system."):
        return False
    # A failure of GoogleTest is a line "FILE:LINE: Failure" and what stands behind it; their number is the last line.
    failures = re.split(r"^.*: Failure$", output, flags=re.MULTILINE)[1:]
    ended = re.search(r"^ *\d+ FAILED TESTS?$", output, flags=re.MULTILINE)
    return bool(ended and failures) and all(LAST_WORD in failure for failure in failures)


def second_tries(listing):
    names = []
    for test in ElementTree.parse(listing).getroot().iter("testcase"):
        name = test.get("name")
        if (test.get("status") == "fail" and name.startswith(("system.", "soak.", "unit_"))
                and only_the_end_hung(name, test.findtext("system-out") or "")):
            names.append(name)
    return names


if __name__ == "__main__":
    hung = second_tries(sys.argv[1])
    if len(hung) > MOST:
        print(f"{len(hung)} processes hung at their very end: too many for a second try", file=sys.stderr)
    else:
        print("\n".join(hung))
