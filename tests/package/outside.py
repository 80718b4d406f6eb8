#!/usr/bin/env python3
"""outside.py FOLDER CHECK: uses the packages in FOLDER as their users would, and nothing of this tree.

They are unzipped into a folder outside of the tree whose name has a blank and an umlaut; what is built there is configured
with find_package and the plain compiler.

host       a host linked by the import library, and a client on the client library: a session, over the stand-ins
example    the example as it is installed, built by its own CMakeLists.txt: starts, and ends on "quit"
start      the session that START.txt tells, line by line
lessons    the lessons, played by the simulated package from its folder
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

import packages

SECONDS = 180
STANDINS = ("Classroom", "Grundkit", "SocketVoteDeck", "Trackwire", "VoteDeck", "ZVNSpeech")


def fail(words, *texts):
    for text in texts:
        print(text, file=sys.stderr)
    raise SystemExit(f"FAILED: {words}")


def build(source, library, folder, *more):
    """Configures and builds a project as somebody with MinGW-w64 would; returns its program."""
    options = ["-G", "Ninja", f"-DCMAKE_PREFIX_PATH={library}", "-DCMAKE_SYSTEM_NAME=Windows", "-DCMAKE_BUILD_TYPE=Release",
               "-DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix", "-DCMAKE_RC_COMPILER=x86_64-w64-mingw32-windres",
               "-DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH", *more]
    for command in (["cmake", "-S", source, "-B", folder, *options], ["cmake", "--build", folder]):
        run = subprocess.run(command, capture_output=True, text=True)
        if run.returncode != 0:
            fail(f"{source} is not built", run.stdout, run.stderr)
    return next(pathlib.Path(folder).glob("*.exe"))


class Program:
    """A program under Wine, its output in a file: who would read from a pipe would wait for Wine's own processes too."""

    def __init__(self, program, *arguments):
        self.log = program.parent / f"{program.stem}.output"
        self.output = open(self.log, "wb")
        self.process = subprocess.Popen(["wine", str(program), *arguments], cwd=program.parent, stdin=subprocess.PIPE,
                                        stdout=self.output, stderr=subprocess.STDOUT)

    def type(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def text(self):
        return self.log.read_text(encoding="utf-8", errors="replace")

    def wait_for(self, regex, where=None):
        """Waits until it has printed something, or until that stands in the file of this pattern beside it."""
        deadline = time.monotonic() + SECONDS

        def text():
            found = next(self.log.parent.glob(where), None) if where else self.log
            return found.read_text(encoding="utf-8", errors="replace") if found else ""

        while not re.search(regex, text()):
            if time.monotonic() > deadline or self.process.poll() not in (None, 0):
                fail(f"{where or self.log.stem} has no {regex!r}", self.text())
            time.sleep(0.05)

    def end(self):
        """Waits for its end; a program that doesn't end is ended, and fails the test."""
        self.process.stdin.close()
        try:
            code = self.process.wait(SECONDS)
        except subprocess.TimeoutExpired:
            self.process.kill()
            fail(f"{self.log.stem} doesn't end", self.text())
        self.output.close()
        if code != 0:
            fail(f"{self.log.stem} ended with {code}", self.text())
        return self.text()


def host_folder(folder, program, library, simulated):
    """What a host needs in one folder: itself, the library, and what stands in for the closed ones."""
    folder.mkdir()
    shutil.copy(program, folder)
    shutil.copy(library / "bin/VDIPC.dll", folder)
    for name in STANDINS:
        shutil.copy(simulated / f"{name}.dll", folder)
    shutil.copy(library / "share/vdipc/examples/host/rv2.vbs", folder)
    return folder / program.name


def check_host(base, library, simulated):
    here = pathlib.Path(__file__).resolve().parent
    sources = base / "sources"
    for name in ("host", "client"):
        shutil.copytree(here / name, sources / name)
    static = "-DCMAKE_EXE_LINKER_FLAGS=-static"
    host_program = build(sources / "host", library, base / "host-build", static)
    client_program = build(sources / "client", library, base / "client-build", static)
    host_program = host_folder(base / "Hörsaal 1", host_program, library, simulated)
    host = Program(host_program)
    client = Program(client_program)
    said = client.end() + host.end()
    for line in ("the ping was answered", '"device-inited"', "status of TQ1: 200", "stopped"):
        if line not in said:
            fail(f"nobody said {line!r}", said)
    print(said)


def check_example(base, library, simulated):
    # Nothing is added to what the example's own project says: it has to run beside what the packages hold, and no more.
    program = build(library / "share/vdipc/examples/host", library, base / "example-build")
    if not (program.parent / "VDIPC.dll").exists():
        fail("the example's build doesn't put the library beside it")
    host = Program(host_folder(base / "Hörsaal 2", program, library, simulated))
    client = Program(simulated / "vdclient.exe", "--timeout", "30000", "quit")
    client.end()
    print(host.end())


def check_start(base, library, simulated):
    """The lines of START.txt, as somebody types them."""
    text = (simulated / "START.txt").read_text(encoding="utf-8")
    first = re.search(r"type in the first:\s+\.\\(\S+)", text)[1]
    second, *lines = re.search(r"In the second:\s+\.\\(.*?)^To end", text, re.M | re.S)[1].split("\n")[:-1]
    host = Program(simulated / f"{first}.exe")
    host.wait_for('"state":"started"')
    client = Program(simulated / f"{second.strip()}.exe")
    for line in lines:
        client.type(line.strip())
        if line.strip().startswith("init"):
            client.wait_for('"device-inited".*"ready":true')
        elif '"connect"' in line:
            client.wait_for('"activated"(.|\n)*"activated"(.|\n)*"activated"')
        elif line.strip().startswith("ask"):
            # Nothing is printed where it is carried out, and a key that comes earlier is none.
            client.wait_for("::StartQuestion:", "vote_deck.*.log")
    client.wait_for('"custom":"q1".*"device":"2".*"key-pressed".*"key":"B"')
    client.type(re.search(r"^To end the host:\s+(\S+)", text, re.M)[1])
    host.end()
    client.process.stdin.close()
    client.process.wait(SECONDS)
    print(client.text())


def check_lessons(base, library, simulated):
    for lesson in sorted((simulated / "lessons").glob("*.lesson")):
        # One needs a code page that a machine has or hasn't.
        if "# locale" in lesson.read_text(encoding="utf-8"):
            continue
        player = Program(simulated / "vdlesson.exe", f"lessons\\{lesson.name}")
        print("\n".join(player.end().splitlines()[-4:]))


def main():
    found = packages.paths(sys.argv[1])
    base = pathlib.Path(tempfile.mkdtemp(prefix="Klasse für alle "))
    if packages.ROOT in base.parents:
        fail(f"{base} is in the tree")
    try:
        (base / "a").mkdir()
        library = packages.unpack(found["library"], base / "a")
        simulated = packages.unpack(found["simulated"], base / "a")
        checks = {"host": check_host, "example": check_example, "start": check_start, "lessons": check_lessons}
        checks[sys.argv[2]](base, library, simulated)
    finally:
        shutil.rmtree(base, ignore_errors=True)


main()
