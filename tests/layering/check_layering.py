#!/usr/bin/env python3
"""check_layering.py [CHECK] ROOT: holds the includes of src/ against the rules of the tree.

arrows   each layer includes itself and what lies below it, nothing else of src/
borders  nothing in src/ includes stand-ins, tools, tests, examples or benchmarks
windows  windows.h and its kind are included by *_win32.cpp units alone, and by *_win32.h headers that only those
         include, so that everything else compiles anywhere
waits    no <latch>, <barrier>, <semaphore>, <stop_token>: GCC 12's for Windows look at the value before they take the
         lock that they wait under, and so sleep through a notification now and then
"""
import pathlib
import re
import sys

BELOW = {
    "common": set(),
    "messages": {"common"},
    "pipe": {"common"},
    "device": {"common", "messages"},
    "drivers": {"common", "messages", "device"},
    "ipc": {"common", "messages", "pipe", "device", "drivers"},
}
OUTSIDE = ("standin", "tools", "tests", "examples", "bench", "classroom", "doubles")
WINDOWS = re.compile(r"^(windows|windowsx|winsock2?|ws2tcpip|shellapi|shlobj(_core)?|knownfolders|objbase|combaseapi|dbt|"
                     r"rpc|rpcdce|winreg|winternl|initguid|tlhelp32|winver|handleapi|synchapi|process|io|direct)\.h$",
                     re.IGNORECASE)
WAITS = {"latch", "barrier", "semaphore", "stop_token"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')

checks = ["arrows", "borders", "windows", "waits"]
if len(sys.argv) > 2:
    checks = [sys.argv[1]]
src = pathlib.Path(sys.argv[-1]) / "src"
findings, includes = [], 0

for path in sorted(src.rglob("*")):
    if path.suffix not in (".h", ".cpp"):
        continue
    relative = path.relative_to(src)
    layer = relative.parts[0]
    if layer not in BELOW:
        findings.append(f"src/{relative}: no layer of this name")
        continue
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        includes += 1
        quoted, name = match[1] == '"', match[2]
        where = f"src/{relative}:{number}: includes {name}"
        if quoted:
            # Names count from src/; a bare name stands beside the file.
            beside, rooted = path.parent / name, src / name
            target = rooted if rooted.exists() else beside.resolve() if beside.exists() else None
            first = pathlib.PurePath(name).parts[0]
            if target is None or not target.is_relative_to(src):
                if "borders" in checks:
                    findings.append(f"{where}, which is not in src/")
            elif "arrows" in checks:
                to = target.relative_to(src).parts[0]
                if to != layer and to not in BELOW[layer]:
                    findings.append(f"{where}: {layer} must not know {to}")
            if "borders" in checks and first in OUTSIDE:
                findings.append(f"{where}: src/ must not know {first}/")
        if "waits" in checks and name in WAITS:
            findings.append(f"{where}, whose waiting loses wake-ups in GCC 12 for Windows")
        if "windows" in checks and (WINDOWS.match(pathlib.PurePath(name).name) or name.endswith("_win32.h")):
            if not path.name.endswith(("_win32.cpp", "_win32.h")):
                findings.append(f"{where}, but is no *_win32.cpp unit")

print("\n".join(findings) if findings else f"{includes} includes in src/, all within the rules")
if includes < 100:
    findings.append("too few")
    print(f"only {includes} includes were found in src/: this check looks in the wrong place")
sys.exit(1 if findings else 0)
