#!/usr/bin/env python3
"""versions.py [ROOT]: the versions of vcpkg.json are those of cmake/dependencies.sh.

Where vcpkg never had a version, the table "Versions that differ" of CONTRIBUTING.md says so, with both; a row that isn't
needed is a finding too.
"""
import json
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parents[2])
# The names of the source packages, where vcpkg's are others.
NAMES = {"libjsoncpp": "jsoncpp", "fmtlib": "fmt", "googletest": "gtest"}

script = (ROOT / "cmake/dependencies.sh").read_text(encoding="utf-8")
sources = re.search(r"^VDIPC_SOURCES=\(\n(.*?)^\)", script, re.MULTILINE | re.DOTALL)[1]
here = {NAMES.get(name, name): version for name, version in re.findall(r'"(\S+) ([\d.]+)"', sources)}
manifest = json.loads((ROOT / "vcpkg.json").read_text(encoding="utf-8"))
there = {entry["name"]: entry["version"] for entry in manifest["overrides"]}
page = (ROOT / "CONTRIBUTING.md").read_text(encoding="utf-8")
differ = {name: (one, other) for name, one, other in
          re.findall(r"^\| `([\w-]+)` \| ([\d.]+) \| ([\d.]+) \|", page, re.MULTILINE)}

findings = [f"{name} isn't pinned in vcpkg.json" for name in here if name not in there]
findings += [f"{name} is pinned in vcpkg.json and not built from source" for name in there if name not in here]
findings += [f"{name} is pinned, and isn't among the dependencies of vcpkg.json"
             for name in there if name not in manifest["dependencies"]]
for name in sorted(here.keys() & there.keys()):
    if here[name] == there[name]:
        if name in differ:
            findings.append(f"{name} is {here[name]} in both, and CONTRIBUTING.md says that it differs")
    elif differ.get(name) != (here[name], there[name]):
        findings.append(f"{name} is {here[name]} in dependencies.sh and {there[name]} in vcpkg.json, and CONTRIBUTING.md "
                        f"{'says ' + ' and '.join(differ[name]) if name in differ else 'does not say so'}")
for finding in findings:
    print(finding)
print(f"{len(here)} versions compared")
sys.exit(1 if findings or not here else 0)
