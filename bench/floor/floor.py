#!/usr/bin/env python3
"""Prints what the library costs beside a bare program that makes the same system calls; ./dev bench floor runs it.

Server of Wine, hosts and clients share one processor. A round runs each program once for each operation; ratios are taken
within a round, and their medians printed with the quartiles. "srw again" is the floor against itself: the noise.
Requests to the server are counted in runs of their own, between two marks that the client leaves in the server's protocol:
those of the host, and those of the client that reads. What the measurement itself asks the server is counted in the same way,
by orders that do nothing.
"""
import argparse
import collections
import glob
import json
import os
import re
import shutil
import statistics
import subprocess
import sys
import time

PROGRAMS = ("ours", "std", "srw", "srw again")
# what, how often, on how many keypads; how often for counting
OPERATIONS = {
    "ping": ("ping", 2000, 1, 1000),
    "key, one at a time": ("key", 1000, 1000, 300),
    "key, 1,000 at once": ("flood", 1000, 1000, 1000),
    "ask for all, 30": ("ask", 30, 30, None),
    "ask for all, 300": ("ask", 10, 300, None),
    "ask for all, 3,000": ("ask", 4, 3000, None),
    "arrival, 3,000": ("arrive", 3000, 0, 300),
}
# Each key that is pressed by itself takes an order; of the others only the first.
THE_ORDER = ("order", 0, 1, 300)
PREFIX = re.compile(r"\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\]\[\w+\]\[[0-9a-f]+\] ")


def say(text):
    print(text, file=sys.stderr, flush=True)


class Bench:
    def __init__(self, program, folder, processor, before):
        self.folder = folder
        self.pin = ["taskset", "-c", str(processor)]
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        self.program = shutil.copy(program, folder)
        self.before = shutil.copy(before, os.path.join(folder, "before.exe")) if before else None
        self.server = None

    def start_server(self, requests=None):
        subprocess.run(["wineserver", "-k"], stderr=subprocess.DEVNULL)
        subprocess.run(["wineserver", "-w"])
        command = self.pin + ["wineserver", "-f"]
        if requests:
            self.server = subprocess.Popen(command + ["-d1"], stdout=subprocess.DEVNULL, stderr=open(requests, "wb"))
        else:
            self.server = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(1)
        subprocess.run(self.pin + ["wine", "cmd", "/c", "exit"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)

    def stop_server(self):
        subprocess.run(["wineserver", "-k"], stderr=subprocess.DEVNULL)
        if self.server:
            self.server.wait()
            self.server = None

    def clean(self, keypads):
        for path in glob.glob(self.folder + "/*.log") + glob.glob(self.folder + "/*devices.json"):
            os.remove(path)
        with open(self.folder + "/devices.json", "w", encoding="ascii") as file:
            json.dump({"TQ1": [str(keypad) for keypad in range(1, keypads + 1)]}, file)

    def run(self, program, what, count, keypads):
        """Median microseconds of one operation."""
        ours = program in ("ours", "before")
        for attempt in range(3):
            self.clean(keypads)
            wine = self.pin + ["wine"]
            host = subprocess.Popen(
                wine + [self.before if program == "before" else self.program, "host", "ours" if ours else program.split()[0],
                        str(keypads), self.lines_file(what, keypads)], cwd=self.folder,
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            try:
                client = subprocess.run(
                    wine + [self.program, "client", what, str(count), str(keypads), "ours" if ours else "bare"], cwd=self.folder,
                    stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=90)
                if client.returncode == 0:
                    host.wait(30)
                    return float(client.stdout)
                say(f"{program}, {what}: {client.stderr.strip()}")
            except subprocess.TimeoutExpired:
                say(f"{program}, {what}: no end, once more")
            finally:
                host.kill()
                host.wait()
        sys.exit("floor.py: the program can't be measured")

    def lines_file(self, what, keypads):
        # An own name for each, as an "ask" has lines for each keypad. Relative: it is a path of Windows, too.
        return f"lines-{'ask-' + str(keypads) if what == 'ask' else 'each'}.txt"

    def messages(self):
        text = "".join(open(path, encoding="latin-1", newline="").read() for path in glob.glob(self.folder + "/vote_deck*.log"))
        return [PREFIX.sub("", line) for line in re.split(r"\r\n(?=\[\d{4}-)|\r\n$", text) if PREFIX.match(line)]

    def record_lines(self):
        """The library's lines of each operation, from a run that does it once."""
        def write(path, operations):
            with open(os.path.join(self.folder, path), "w", encoding="latin-1", newline="\n") as file:
                for name, lines in operations.items():
                    file.write(f"@{name}\n")
                    for line in lines:
                        file.write("| " + line.replace("\n", "\n+ ") + "\n")

        def after(start, keep_first):
            lines = self.messages()
            index = next(i for i, line in enumerate(lines) if start(line))
            return lines[index if keep_first else index + 1:]

        each = {}
        for name, what, keypads, mark in (("key", "key", 1, "VoteDeckObject_TQ::OnKeyEvent:"),
                                          ("arrive", "arrive", 0, "VoteDeckObject_TQ::OnBindCard:"),
                                          ("ping", "ping", 1, "IpcHandler::OnIpcPingreceived:")):
            self.run("ours", what, 1, keypads)
            each[name] = after(lambda line: line.startswith(mark), True)
            if name != "ping" and not each[name][-1].startswith("IpcHandler::GetCurrentTimeString:"):
                sys.exit(f"floor.py: the lines of '{name}' end with {each[name][-1]!r}: start again")
            say(f"{name}: {len(each[name])} lines")
        write("lines-each.txt", {**each, "ask": ["none"]})
        for _, (what, _, keypads, _) in OPERATIONS.items():
            if what == "ask":
                self.run("ours", what, 1, keypads)
                asked = after(lambda line: line.startswith("IpcHandler::RouteMessage:") and '"ask"' in line, False)
                say(f"ask for {keypads}: {len(asked)} lines")
                write(f"lines-ask-{keypads}.txt", {**each, "ask": asked})


def cost(bench, keypads):
    """What the library costs a machine: the middle of five runs, for each figure."""
    runs = []
    for _ in range(5):
        bench.clean(0)
        text = subprocess.run(bench.pin + ["wine", bench.program, "cost", str(keypads)], cwd=bench.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120).stdout
        runs.append({key: float(value) for key, value in re.findall(r"(\w+)=([0-9.]+)", text)})
    return {key: [min(run[key] for run in runs), statistics.median(run[key] for run in runs), max(run[key] for run in runs)]
            for key in runs[0]}


class Requests:
    """What host and client ask Wine's server between the two marks, of each kind, for one operation."""

    def __init__(self, protocol, count):
        self.host, self.client = collections.Counter(), collections.Counter()
        owner, asking, counted, client = {}, {}, collections.Counter(), None
        served = set()
        for line in protocol:
            # "0024: create_event( ... )" is a request of a thread, "0024: create_event() = 0 { ... }" the answer to it.
            match = re.match(r"([0-9a-f]{4}): ([a-z_]+)\((.*)", line)
            if not match:
                continue
            thread, kind, rest = match.groups()
            if rest.startswith(") = "):
                if kind == "init_first_thread":
                    owner[thread] = re.search(r"pid=([0-9a-f]+)", rest)[1]
                elif kind == "new_thread" and "process=ffffffff" in asking.get(thread, "") and "tid=" in rest:
                    owner[re.search(r"tid=([0-9a-f]+)", rest)[1]] = owner.get(thread)
                continue
            asking[thread] = rest
            if 'name=L"vdipc-floor-orders"' in rest:
                served.add(owner.get(thread))
            if 'name=L"vdipc-floor-count-to"' in rest:
                break
            if client is not None:
                counted[owner.get(thread), kind] += 1
            if 'name=L"vdipc-floor-count-from"' in rest:
                client = owner.get(thread)
        else:
            sys.exit("floor.py: no mark in the protocol of Wine's server")
        for (process, kind), number in counted.items():
            # The services of Wine go about their own business meanwhile.
            if process in served:
                (self.client if process == client else self.host)[kind] += number / count

    def total(self):
        return sum(self.host.values()) + sum(self.client.values())


def count_requests(bench, operation, program):
    """The middle one of three runs, by their totals."""
    what, _, keypads, count = operation
    log = os.path.join(bench.folder, "requests.txt")
    runs = []
    for _ in range(3):
        bench.start_server(log)
        bench.run(program, what, count, max(keypads, count) if keypads > 1 else keypads)
        bench.stop_server()
        with open(log, encoding="latin-1") as file:
            runs.append(Requests(file, count))
        os.remove(log)
    return sorted(runs, key=Requests.total)[1]


def print_requests(requests, programs):
    print("\nRequests to Wine's server, of host + client:\n")
    print("| | " + " | ".join(programs) + " |")
    print("|---|" + "---:|" * len(programs))
    for name, counted in requests.items():
        print(f"| {name} | " + " | ".join(f"{sum(one.host.values()):.1f} + {sum(one.client.values()):.1f} = {one.total():.1f}"
                                          for one in counted) + " |")
    print("\nBy kind:\n")
    print("| | | host | client |")
    print("|---|---|---|---|")
    for name, counted in requests.items():
        for program, one in zip(programs, counted):
            kinds = [", ".join(f"{kind} {number:.1f}" for kind, number in sorted(part.items()) if number >= 0.05)
                     for part in (one.host, one.client)]
            print(f"| {name} | {program} | " + " | ".join(kinds) + " |")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=8)
    parser.add_argument("--processor", type=int, default=0)
    parser.add_argument("--only", help="operations whose name holds this")
    parser.add_argument("--no-requests", action="store_true", help="times alone")
    parser.add_argument("--before", help="vdipc_floor.exe of another release of the library, as a further column")
    parser.add_argument("program", help="vdipc_floor.exe")
    parser.add_argument("folder", help="where hosts run; emptied")
    arguments = parser.parse_args()
    chosen = [name for name in OPERATIONS if not arguments.only or arguments.only in name]
    if not chosen:
        parser.error(f"no operation has '{arguments.only}' in its name; there are: {', '.join(OPERATIONS)}")
    if not os.environ.get("VDIPC_WINEPREFIX"):
        parser.error("start it by ./dev bench floor, which gives it a Wine prefix of its own")
    programs = PROGRAMS + (("before",) if arguments.before else ())
    bench = Bench(arguments.program, os.path.abspath(arguments.folder), arguments.processor, arguments.before)
    try:
        bench.start_server()
        bench.record_lines()
        times = {name: {program: [] for program in programs} for name in chosen}
        for number in range(arguments.rounds):
            for name in chosen:
                what, count, keypads, _ = OPERATIONS[name]
                # Another one goes first each time.
                order = programs[number % len(programs):] + programs[:number % len(programs)]
                for program in order:
                    times[name][program].append(bench.run(program, what, count, keypads))
            say(f"round {number + 1} of {arguments.rounds}")
        costs = cost(bench, 1000)
        bench.stop_server()
        requests = {}
        if not arguments.no_requests:
            counted = {name: OPERATIONS[name] for name in chosen if OPERATIONS[name][3]}
            for name, operation in {**counted, "the measurement itself, an order": THE_ORDER}.items():
                requests[name] = [count_requests(bench, operation, program) for program in programs if program != "srw again"]
                say(f"requests of {name} counted")
    finally:
        bench.stop_server()

    def ratio(name, program, to):
        values = sorted(a / b for a, b in zip(times[name][program], times[name][to]))
        if len(values) < 2:
            return f"{values[0]:.2f}"
        low, middle, high = statistics.quantiles(values, n=4)
        return f"{middle:.2f} ({low:.2f} to {high:.2f})"

    shown = [program for program in programs if program != "srw again"]
    pairs = [("ours", "std"), ("ours", "srw"), ("srw again", "srw")]
    pairs += [("ours", "before"), ("before", "srw")] * ("before" in programs)
    columns = [f"{program}, us" for program in shown] + [f"{program} : {to}" for program, to in pairs]
    print("| | " + " | ".join(columns) + " | requests: " + " / ".join(shown) + " |")
    print("|---|" + "---:|" * len(shown) + "---|" * (len(pairs) + 1))
    for name in chosen:
        row = [f"{statistics.median(times[name][program]):,.1f}" for program in shown]
        row += [ratio(name, program, to) for program, to in pairs]
        row.append(" / ".join(f"{one.total():.1f}" for one in requests[name]) if name in requests else "")
        print(f"| {name} | " + " | ".join(row) + " |")
    if requests:
        print_requests(requests, shown)
    print("\nleast, middle and most of five runs: " + "; ".join(
        f"{key} " + " ".join(f"{value:.1f}" for value in values) for key, values in costs.items()))
    print(f"\n{arguments.rounds} rounds; load of the machine at the end: {os.getloadavg()[0]:.1f}")


if __name__ == "__main__":
    main()
