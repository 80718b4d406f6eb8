#!/usr/bin/env python3
"""what-it-is-made-of.py MAP FILE: of which code a library consists, by the linker's map of it.

Code that templates made in this project's own objects counts for the library whose template it is.
"""
import collections
import os
import re
import sys

OURS = "the library's own code"
GROUPS = (
    (re.compile(r"libjsoncpp"), "jsoncpp"),
    (re.compile(r"libfmt"), "fmt"),
    (re.compile(r"libstdc\+\+|libsupc\+\+"), "C++ run-time"),
    (re.compile(r"libgcc|libpthread|libwinpthread|libmingw|libmsvcrt|crt\w*\.o|libm\.a|dllcrt2|crtbegin|crtend"), "C run-time, threads"),
    (re.compile(r"lib(kernel|user|advapi|shell|ole|rpcrt|shlwapi|ws2_|hid|uuid|msvcrt|Grundkit|Trackwire)"), "imports"),
)
# The sections of templates and inline functions are named after them: .text$_ZN3fmt2v9...
TEMPLATES = ((re.compile(r"_Z\w*?(N?K?3fmt2v\d)"), "fmt"), (re.compile(r"_Z\w*?4Json"), "jsoncpp"),
             (re.compile(r"_ZN?K?(St|Sa|Ss|9__gnu_cxx)|_ZT[VISN](St|N?9__gnu)"), "C++ run-time"))

sizes = collections.Counter()
kinds = collections.defaultdict(collections.Counter)
text = open(sys.argv[1], encoding="utf-8", errors="replace").read()
text = text[text.index("Linker script and memory map"):]
# An input section: its name, then, perhaps on the next line, address, size and file.
for name, size, file in re.findall(r"^ (\.[\w$.]+)\s+0x[0-9a-f]+\s+0x([0-9a-f]+) (\S.*)$", text, re.MULTILINE):
    output = re.match(r"\.[A-Za-z_]*", name)[0]
    if output not in (".text", ".rdata", ".data", ".pdata", ".xdata", ".idata", ".tls", ".CRT"):
        continue
    group = next((group for regex, group in GROUPS if regex.search(os.path.basename(file.split("(")[0]))), OURS)
    if group == OURS and "$" in name:
        symbol = name.partition("$")[2]
        group = next((other for regex, other in TEMPLATES if regex.match(symbol)), OURS)
    sizes[group] += int(size, 16)
    kinds[group][output] += int(size, 16)

whole = os.path.getsize(sys.argv[2])
print(f"{os.path.basename(sys.argv[2])}: {whole:,} bytes")
for group, size in sizes.most_common():
    print(f"  {size:>10,}  {100 * size / whole:3.0f} %  {group}")
print(f"  {whole - sum(sizes.values()):>10,}       relocations, resource, headers, what the linker dropped or filled up")
