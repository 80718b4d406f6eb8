#!/usr/bin/env python3
"""split-symbols.py FILE OBJCOPY STRIP: puts the symbols of a program or library into FILE.debug, which it then refers to.

GNU's tools write the time of day into both; it is taken out again, so that the same objects give the same bytes.
"""
import struct
import subprocess
import sys


def remove_time(path):
    """Zeroes the time in the header of a PE file, and corrects the check sum."""
    with open(path, "rb") as file:
        data = bytearray(file.read())
    header, = struct.unpack_from("<I", data, 0x3C)
    assert data[header:header + 4] == b"PE\0\0", f"{path} is no PE file"
    check_sum = header + 24 + 64
    struct.pack_into("<I", data, header + 8, 0)
    struct.pack_into("<I", data, check_sum, 0)
    padded = bytes(data) + b"\0" * (-len(data) % 2)
    total = sum(struct.unpack(f"<{len(padded) // 2}H", padded))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    struct.pack_into("<I", data, check_sum, total + len(data))
    with open(path, "wb") as file:
        file.write(data)


target, objcopy, strip = sys.argv[1:4]
symbols = target + ".debug"
subprocess.run([objcopy, "--only-keep-debug", target, symbols], check=True)
remove_time(symbols)
subprocess.run([strip, "--strip-all", target], check=True)
subprocess.run([objcopy, f"--add-gnu-debuglink={symbols}", target], check=True)
remove_time(target)
