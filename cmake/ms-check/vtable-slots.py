#!/usr/bin/env python3
"""vtable-slots.py HEADER...: compares the interfaces in these headers under the two compilers' binary rules.

Each class with virtual operations is laid out by clang as MSVC does and as MinGW-w64 does. Every operation must have the
same slot in both, and no interface may hold a destructor's row or overloaded operations, which the two lay out differently.
"""
import os
import re
import subprocess
import sys
import tempfile

COMPILER = os.environ.get("CLANGXX", "clang++")
GCC = os.path.join(os.path.dirname(subprocess.run(["x86_64-w64-mingw32-g++-posix", "-print-libgcc-file-name"],
                                                  check=True, capture_output=True, text=True).stdout.strip()),
                   "include", "c++")
INCLUDES = [GCC, f"{GCC}/x86_64-w64-mingw32", f"{GCC}/backward", "/usr/x86_64-w64-mingw32/include"]
ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
TARGETS = {
    "Microsoft": ["--target=x86_64-pc-windows-msvc", "-fms-compatibility-version=19.40", "-fgnuc-version=12.2.0",
                  "-U__SIZEOF_INT128__", "-include", f"{ROOT}/build/ms-check/ms_pop.h", "-isystem",
                  f"{ROOT}/build/ms-check"],
    "MinGW": ["--target=x86_64-w64-windows-gnu"],
}


def interfaces(header):
    """The qualified names of all classes with virtual operations."""
    found, spaces, name, depth = [], [], None, 0
    for line in open(header, encoding="utf-8"):
        line = line.split("//")[0]
        space = re.match(r"\s*namespace ([\w:]+)\s*{", line)
        start = re.match(r"\s*(?:class|struct)\s+(?:[A-Z_]+_API\s+)?(\w+)[^;]*$", line)
        if space:
            spaces.append((depth, space[1]))
        elif start:
            name = "::".join([s for _, s in spaces] + [start[1]])
        elif name and re.match(r"\s*virtual\b", line) and name not in found:
            found.append(name)
        depth += line.count("{") - line.count("}")
        while spaces and depth <= spaces[-1][0]:
            spaces.pop()
    return found


def layout(header, classes, target):
    """{class: {operation: slot}} as clang prints it for concrete users of the interfaces."""
    text = f'#include "{os.path.abspath(header)}"\n'
    for number, name in enumerate(classes):
        text += f"struct User{number} : {name} {{ User{number}(); virtual void own(); }};\n"
        text += f"User{number}::User{number}() {{}}\nvoid User{number}::own() {{}}\n"
    with tempfile.NamedTemporaryFile("w", suffix=".cpp") as source:
        source.write(text)
        source.flush()
        command = [COMPILER, *TARGETS[target], "-std=c++20", "-nostdinc++", "-I", f"{ROOT}/src"]
        for folder in INCLUDES:
            command += ["-isystem", folder]
        command += ["-S", "-emit-llvm", "-o", os.devnull, "-Xclang", "-fdump-vtable-layouts", source.name]
        run = subprocess.run(command, capture_output=True, text=True)
    if run.returncode:
        sys.exit(run.stderr)
    tables, current = {}, None
    for line in run.stdout.splitlines():
        heading = re.match(r"V(?:F)?[Tt]able indices for '(.+?)' ", line)
        row = re.match(r"\s+(\d+) \| (.+)", line)
        if heading:
            current = tables.setdefault(heading[1], {})
        elif row and current is not None:
            current[row[2]] = int(row[1])
        elif not line.strip():
            current = None
    return tables


bad, rows, count = False, 0, 0
for header in sys.argv[1:]:
    names = interfaces(header)
    count += len(names)
    microsoft, mingw = (layout(header, names, target) for target in ("Microsoft", "MinGW"))
    for name in names:
        ours, theirs = microsoft.get(name, {}), mingw.get(name, {})
        if not ours or not theirs:
            print(f"{name}: no layout found")
            bad = True
        for operation in sorted(set(ours) | set(theirs), key=lambda o: ours.get(o, theirs.get(o))):
            rows += 1
            if ours.get(operation) != theirs.get(operation) or "~" in operation:
                print(f"{name}: Microsoft slot {ours.get(operation, '-')}, MinGW slot "
                      f"{theirs.get(operation, '-')}: {operation}")
                bad = True
print(f"{count} interfaces, {rows} operations compared")
sys.exit(1 if bad or not rows else 0)
