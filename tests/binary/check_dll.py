#!/usr/bin/env python3
"""check_dll.py CHECK DLL VERSION_HEADER: reads a built VDIPC.dll.

exports  exactly one name is exported, GetIpcHandler
imports  only libraries of the system and the five closed ones: nothing of the compiler's run-time
version  the version resource is the version of the header, and nothing else says another
traps    a library of the test build ends at undefined behaviour: it is full of the instruction for that
"""
import re
import struct
import sys

CLOSED = {"grundkit.dll", "trackwire.dll", "votedeck.dll", "socketvotedeck.dll", "zvnspeech.dll"}
SYSTEM = {"kernel32.dll", "hid.dll", "shlwapi.dll", "ws2_32.dll",
          "user32.dll", "advapi32.dll", "shell32.dll", "ole32.dll", "rpcrt4.dll", "msvcrt.dll"}
SYSTEM_PATTERN = re.compile(r"^(api-ms-win-.*|ucrtbase|vcruntime\d+(_\d)?|msvcp\d+(_\w+)?)\.dll$")


class Image:
    """The few structures of a 64-bit PE file that the checks read."""

    def __init__(self, data):
        self.data = data
        pe = struct.unpack_from("<I", self.data, 0x3C)[0]
        assert self.data[pe:pe + 4] == b"PE\0\0", "not a PE file"
        sections, = struct.unpack_from("<H", self.data, pe + 6)
        optional, = struct.unpack_from("<H", self.data, pe + 20)
        assert struct.unpack_from("<H", self.data, pe + 24)[0] == 0x20B, "not a 64-bit file"
        self.directories = [struct.unpack_from("<II", self.data, pe + 24 + 112 + 8 * i) for i in range(16)]
        self.sections = [struct.unpack_from("<8sIIII", self.data, pe + 24 + optional + 40 * i)
                         for i in range(sections)]

    def offset(self, address):
        for _, virtual_size, virtual, raw_size, raw in self.sections:
            if virtual <= address < virtual + max(virtual_size, raw_size):
                return raw + address - virtual
        raise ValueError(f"address {address:#x} lies in no section")

    def text(self, address):
        begin = self.offset(address)
        return self.data[begin:self.data.index(b"\0", begin)].decode()

    def exports(self):
        table = self.offset(self.directories[0][0])
        functions, names, _, addresses = struct.unpack_from("<IIII", self.data, table + 20)
        where = self.offset(addresses) if names else 0
        return functions, [self.text(struct.unpack_from("<I", self.data, where + 4 * i)[0]) for i in range(names)]

    def imports(self):
        position = self.offset(self.directories[1][0])
        libraries = []
        while True:
            name = struct.unpack_from("<IIIII", self.data, position)[3]
            if not name:
                return libraries
            libraries.append(self.text(name).lower())
            position += 20

    def version_blob(self):
        """The data of the first resource of type 16 (version)."""
        root = self.offset(self.directories[2][0])

        def entries(position):
            named, numbered = struct.unpack_from("<HH", self.data, position + 12)
            return [struct.unpack_from("<II", self.data, position + 16 + 8 * i) for i in range(named + numbered)]

        position = next(root + (value & 0x7FFFFFFF) for key, value in entries(root) if key == 16)
        value = 1 << 31
        while value & (1 << 31):
            value = entries(position)[0][1]
            position = root + (value & 0x7FFFFFFF)
        address, size = struct.unpack_from("<II", self.data, position)
        return self.data[self.offset(address):self.offset(address) + size]


def main():
    check, path, header = sys.argv[1:4]
    with open(path, "rb") as file:
        image = Image(file.read())
    if check == "exports":
        functions, names = image.exports()
        print(f"{functions} exports: {names}")
        return functions == 1 and names == ["GetIpcHandler"]
    if check == "imports":
        libraries = set(image.imports())
        strange = {x for x in libraries - CLOSED - SYSTEM if not SYSTEM_PATTERN.match(x)}
        print(f"imports: {sorted(libraries)}; not allowed: {sorted(strange)}; missing: {sorted(CLOSED - libraries)}")
        return not strange and CLOSED <= libraries
    if check == "version":
        wanted = re.search(r'#define VDIPC_VERSION "([\d.]+)"', open(header, encoding="utf-8").read())[1]
        blob = image.version_blob()
        fixed = blob.index(struct.pack("<I", 0xFEEF04BD))
        high, low, product_high, product_low = struct.unpack_from("<IIII", blob, fixed + 8)
        found = [f"{h >> 16}.{h & 0xFFFF}.{l >> 16}" for h, l in ((high, low), (product_high, product_low))]
        text = blob.decode("utf-16-le", errors="replace")
        for key in ("FileVersion", "ProductVersion"):
            found.append(re.search(key + r"\0+([\d.]+)\0", text)[1])
        print(f"wanted {wanted}, found {found}")
        return set(found) == {wanted}
    if check == "traps":
        # Some 40 stand in a library without, some 16000 in one with them.
        traps = image.data.count(b"\x0f\x0b")
        print(f"{traps} traps")
        return traps > 4000
    raise SystemExit(f"no check {check}")


if __name__ == "__main__":
    sys.exit(0 if main() else 1)
