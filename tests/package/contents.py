#!/usr/bin/env python3
"""contents.py FOLDER: looks into the packages in FOLDER.

Each holds what tests/package/contents lists, all of it, and nothing else; nothing in it names a folder of this machine; each
program and library says in its resource what it is, is stripped, knows its symbols' file, which is in the third package, and
needs only libraries of the system and of its own package; a relative link in a document leads to a file of the same package.
"""
import os
import re
import struct
import sys
import zlib

import packages

sys.path.insert(0, str(packages.ROOT / "tests/binary"))
from check_dll import CLOSED, SYSTEM, SYSTEM_PATTERN, Image  # noqa: E402

MORE_SYSTEM = {"crypt32.dll", "dbghelp.dll", "psapi.dll", "bcrypt.dll", "winmm.dll", "comctl32.dll"}
findings = []


def pattern(line):
    return re.compile("".join({"**": ".*", "*": "[^/]*"}.get(part) or re.escape(part)
                              for part in re.split(r"(\*\*|\*)", line)) + "$")


def check_listing(kind, files):
    lines = (packages.ROOT / "tests/package/contents" / kind).read_text(encoding="utf-8").splitlines()
    patterns = {line: pattern(line.removeprefix("? ")) for line in lines if line and not line.startswith("#")}
    for line, regex in patterns.items():
        if not line.startswith("? ") and not any(regex.match(name) for name in files):
            findings.append(f"{kind}: no {line}")
    for name in files:
        if not any(regex.match(name) for regex in patterns.values()):
            findings.append(f"{kind}: {name} is not listed in tests/package/contents/{kind}")
        if re.search(r"wine|gtest|gmock|_test", name, re.IGNORECASE):
            findings.append(f"{kind}: {name} is of the tests")


def check_places(kind, files):
    """No name of a folder that this machine alone has, in either kind of text."""
    root = str(packages.ROOT)
    places = {root, os.path.realpath(root), os.path.realpath(packages.ROOT / "build/deps"), os.path.expanduser("~") + "/"}
    places |= {place for place in (os.environ.get("VDIPC_DEPS_CACHE"), os.environ.get("TMPDIR")) if place}
    for name, data in files.items():
        for place in places:
            for text in (place.encode(), place.replace("/", "\\").encode(), place.encode("utf-16-le")):
                if text in data:
                    at = data.index(text)
                    findings.append(f"{kind}: {name} holds {data[at:at + 120]!r}")
                    break


def resource_texts(image):
    blob = image.version_blob()
    text = blob.decode("utf-16-le", errors="replace")
    fixed = struct.unpack_from("<II", blob, blob.index(struct.pack("<I", 0xFEEF04BD)) + 8)
    numbers = f"{fixed[0] >> 16}.{fixed[0] & 0xFFFF}.{fixed[1] >> 16}"
    found = {key: (re.search(key + r"\0+([^\0]+)\0", text) or ["", ""])[1]
             for key in ("FileDescription", "FileVersion", "OriginalFilename", "ProductName")}
    return found, numbers


def check_binary(kind, name, data, files, symbols):
    image = Image(data)
    short = name.rpartition("/")[2]
    if not image.directories[2][0]:
        findings.append(f"{kind}: {name} says nothing of itself")
        return
    texts, numbers = resource_texts(image)
    if {numbers, texts["FileVersion"]} != {packages.version()}:
        findings.append(f"{kind}: {name} says version {numbers} and {texts['FileVersion']}")
    if texts["OriginalFilename"] != short or not texts["FileDescription"] or texts["ProductName"] != "VDIPC":
        findings.append(f"{kind}: {name} says of itself {texts}")
    standin = short.lower() in CLOSED or short in ("Classroom.dll", "vdlesson.exe")
    if standin != ("SIMULATED" in texts["FileDescription"]):
        findings.append(f"{kind}: {name} says {texts['FileDescription']!r}")
    stamp, _, symbol_count = struct.unpack_from("<III", data, struct.unpack_from("<I", data, 0x3C)[0] + 8)
    if symbol_count or len(image.sections) > 13 or b".debug_" in data:
        findings.append(f"{kind}: {name} is not stripped")
    if stamp:
        findings.append(f"{kind}: {name} holds the time {stamp}")
    # The link to the symbols' file: its name, and its check sum behind it.
    link = next((s for s in image.sections if s[0].startswith(b"/") or s[0].startswith(b".gnu_deb")), None)
    debug = symbols.get(short + ".debug")
    if debug is None or link is None:
        findings.append(f"{kind}: {name} has no symbols, or doesn't know them")
    else:
        raw = data[link[4]:link[4] + link[3]]
        linked = raw[:raw.index(b"\0")].decode()
        check_sum, = struct.unpack_from("<I", raw, (len(linked) + 4) & ~3)
        if linked != short + ".debug" or check_sum != zlib.crc32(debug):
            findings.append(f"{kind}: {name} knows other symbols: {linked}")
    own = {other.rpartition("/")[2].lower() for other in files}
    for library in image.imports():
        if library in own or library in SYSTEM | MORE_SYSTEM or SYSTEM_PATTERN.match(library):
            continue
        if not (kind == "library" and library in CLOSED):
            findings.append(f"{kind}: {name} needs {library}")


def check_links(kind, name, text, files):
    for target in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", re.sub(r"^```.*?^```$", "", text, flags=re.M | re.S)):
        if "://" in target:
            continue
        path = os.path.normpath(os.path.join(os.path.dirname(name), target))
        if not any(other == path or other.startswith(path + "/") for other in files):
            findings.append(f"{kind}: {name} leads to {target}, which is not in the package")


def main():
    found = packages.paths(sys.argv[1])
    contents = {kind: packages.members(path) for kind, path in found.items()}
    for kind, files in contents.items():
        check_listing(kind, files)
        check_places(kind, files)
        for name, data in files.items():
            if name.endswith((".dll", ".exe")):
                check_binary(kind, name, data, files, contents["symbols"])
            elif name.endswith(".md"):
                check_links(kind, name, data.decode("utf-8"), files)
    start = contents["simulated"].get("START.txt", b"").decode("utf-8")
    if "SIMULATED" not in start or len(start.splitlines()) > 10:
        findings.append("START.txt doesn't say SIMULATED within ten lines")
    if contents["library"]["bin/VDIPC.dll"] != contents["simulated"]["VDIPC.dll"]:
        findings.append("the two packages hold different libraries")
    for kind, files in contents.items():
        print(f"\n{found[kind].name}: {found[kind].stat().st_size:,} bytes, {len(files)} files")
        for name in sorted(files):
            print(f"  {len(files[name]):>10,}  {name}")
    print()
    for finding in findings:
        print(f"FINDING {finding}")
    return 1 if findings else 0


sys.exit(main())
