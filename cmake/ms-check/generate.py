#!/usr/bin/env python3
"""generate.py [ROOT]: generates the preset "msvc" with a made-up MSVC (made-up-msvc.cmake), in every way in which it is used.

Both kinds of generator, with and without tests, over the stand-ins and over a folder of closed import libraries, and as CI
does it. CMake must say neither error nor warning; no command may hold an option that MSVC's tools don't know; and each
variant has the targets that it should have. What can't be known here: whether MSVC then compiles and links. The libraries
from elsewhere are the ones of build/deps in place of vcpkg's.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parents[2])
CLOSED = ("Grundkit", "Trackwire", "VoteDeck", "SocketVoteDeck", "ZVNSpeech")
# What cl, lib and link take with a hyphen, as CMake writes it; everything else with one is another compiler's.
KNOWN = re.compile(r"-(D\S*|I\S*|imsvc\S*|external:\S+|std:c\+\+\d+|M[DT]d?|Z[i7I]|c|showIncludes)$")
LEFT = re.compile(r"(?<=\s)(-W\S+|-f[a-z]\S*|-m\S+|-O\d|-g\d?|-static\S*|-B\S+|-l\S+|-pthread|--?coverage)(?=\s|$)")


def preset(name):
    """The cache variables and the generator of a preset, with those that it inherits."""
    presets = {p["name"]: p for p in json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]}
    wanted = presets[name]
    variables, generator = {}, None
    if "inherits" in wanted:
        variables, generator = preset(wanted["inherits"])
    return {**variables, **wanted.get("cacheVariables", {})}, wanted.get("generator", generator)


def generate(name, generator, variables):
    folder = ROOT / "build/ms-generate" / name
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    (folder / "closed").mkdir()
    for library in CLOSED:
        (folder / "closed" / f"{library}.lib").touch()
    if "VDIPC_CLOSED_LIBS_DIR" in variables:
        variables = {**variables, "VDIPC_CLOSED_LIBS_DIR": str(folder / "closed")}
    # The one that the toolchain names stands for it.
    variables = {key: value for key, value in variables.items() if key != "CMAKE_CXX_COMPILER"}
    command = ["cmake", "-G", generator, "-S", str(ROOT), "-B", str(folder), "--no-warn-unused-cli",
               f"-DCMAKE_TOOLCHAIN_FILE={ROOT}/cmake/ms-check/made-up-msvc.cmake",
               f"-DCMAKE_PREFIX_PATH={ROOT}/build/deps/mingw", "-DCMAKE_INCLUDE_PATH=/usr/include"]
    command += [f"-D{key}={value}" for key, value in variables.items()]
    run = subprocess.run(command, capture_output=True, text=True)
    findings = []
    if run.returncode != 0 or "CMake Error" in run.stderr or "CMake Warning" in run.stderr:
        findings.append(run.stderr.strip() or run.stdout.strip())
        return folder, findings
    seen = set()
    for entry in json.loads((folder / "compile_commands.json").read_text()):
        for word in entry["command"].split()[1:]:
            if word.startswith("-") and not KNOWN.match(word) and word not in seen:
                seen.add(word)
                findings.append(f"{word}, at {os.path.relpath(entry['file'], ROOT)} and perhaps others")
    for file in folder.glob("**/*.ninja"):
        for line in file.read_text().splitlines():
            if re.match(r"\s+(FLAGS|LINK_FLAGS|LINK_LIBRARIES|LANGUAGE_COMPILE_FLAGS) = ", line):
                findings += [f"{file.name}: {word}" for word in LEFT.findall(line + " ")]
    return folder, sorted(set(findings))


def targets(folder):
    listing = subprocess.run(["cmake", "--build", str(folder), "--target", "help"], capture_output=True, text=True, check=True)
    return set(re.findall(r"^(\w+): phony$", listing.stdout, re.MULTILINE))


def main():
    release, several = preset("msvc")
    test, _ = preset("msvc-test")
    single = {"CMAKE_BUILD_TYPE": "Release"}
    off = {"VDIPC_BUILD_TESTS": "OFF"}
    closed = {"VDIPC_CLOSED_LIBS_DIR": ""}
    product, standins, tests = {"VDIPC", "vdhost", "vdclient"}, {"Classroom", *CLOSED}, {"unit_common", "unit_messages"}
    rows = [
        ("release", several, release, product | standins | tests, {"wine_wscript"}),
        ("release-one", "Ninja", {**release, **single}, product | standins | tests, {"wine_wscript"}),
        ("tests", several, test, product | standins | tests | {"system_tests"}, set()),
        ("no-tests", several, {**release, **off}, product | standins, tests),
        ("no-tests-one", "Ninja", {**release, **single, **off}, product | standins, tests),
        ("closed", several, {**release, **closed}, product | tests, standins | {"system_tests", "unit_standin"}),
        ("closed-one", "Ninja", {**release, **single, **off, **closed}, product, standins | tests),
    ]
    failed = False
    for name, generator, variables, wanted, unwanted in rows:
        folder, findings = generate(name, generator, variables)
        if not findings:
            found = targets(folder)
            findings += [f"no target {target}" for target in sorted(wanted - found)]
            findings += [f"a target {target}" for target in sorted(unwanted & found)]
            errors = "/WX" in (folder / "compile_commands.json").read_text()
            if errors != (name == "tests"):
                findings.append(f"warnings are {'' if errors else 'no '}errors")
            data = folder / "bin" / ("Release" if "Multi" in generator else "") / "rv2.vbs"
            if data.exists() != ("Classroom" in wanted):
                findings.append(f"{data.relative_to(folder)} is {'' if data.exists() else 'not '}there")
        if name.startswith("release") and not findings:
            rules = "".join(file.read_text() for file in folder.glob("**/cmake_install.cmake"))
            findings += [f"{file} is not installed" for file in ("VDIPC.dll", "VDIPC.lib", "vdipc_client.lib", "VDIPC.pdb",
                                                                 "vdhost.pdb", "START.txt") if f"/{file}" not in rules]
        if name == "closed" and not findings and "closed/Grundkit.lib" not in (folder / "CMakeFiles/impl-Release.ninja").read_text():
            findings.append("the folder of closed libraries is not linked")
        print(f"{name:14} {generator:20} {'generated' if not findings else 'FAILED'}")
        for finding in findings:
            print(f"    {finding}")
        failed = failed or bool(findings)
    return 1 if failed else 0


sys.exit(main())
