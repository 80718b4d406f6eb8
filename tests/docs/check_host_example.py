#!/usr/bin/env python3
"""check_host_example.py ROOT: the example in docs/host.md is the program that examples/host builds, line for line."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
page = (root / "docs/host.md").read_text(encoding="utf-8")
blocks = re.findall(r"^```cpp\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)
program = (root / "examples/host/main.cpp").read_text(encoding="utf-8")
if program not in blocks:
    sys.exit(f"none of the {len(blocks)} C++ blocks of docs/host.md is examples/host/main.cpp as it stands")
print(f"{len(program.splitlines())} lines are the same")
