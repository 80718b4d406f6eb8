#!/usr/bin/env python3
"""check_rules.py CHECK ROOT [ARCHIVE]: rules of src/ that no test of behaviour would notice.

levels  nothing is logged at Error or Critical: what is refused or fails is a line at Warn
locks   src/device has neither locks nor threads: everything there is touched on the task thread alone
ends    nothing in src/ ends the process but the bounded print of StandardErrors.cpp
state   the codec keeps nothing: what ARCHIVE, the library of src/messages, has in memory that can be written to is
        declared const in its sources

Each of the first three looks at slips of its own first, so that a pattern that has gone blind fails.
"""
import pathlib
import re
import subprocess
import sys

PATTERNS = {
    "levels": re.compile(r"\bLogLevel::(Error|Critical)\b|\bConsoleLogLevel::Error\b|"
                         r"static_cast<\s*(\w+::)*(Console)?LogLevel\s*>|\busing\s+enum\s+(Console)?LogLevel\b|"
                         r"\b(Console)?LogLevel\s*[({]\s*\d|\(\s*(\w+::)*(Console)?LogLevel\s*\)\s*\d"),
    "locks": re.compile(r"#\s*include\s*[<\"][^>\"]*(?i:mutex|thread|condition|(?<!c)lock|future|latch|barrier|semaphore|common/(timer|event)\.h)|"
                        r"\b(\w*[Mm]utex\w*|lock_guard|unique_lock|scoped_lock|shared_lock|\w*[Cc]ondition_?[Vv]ariable\w*|"
                        r"std::j?thread|std::async|once_flag|call_once|CriticalSection|CRITICAL_SECTION|SRWLOCK|"
                        r"CreateThread|_beginthread(ex)?|pthread_\w+)\b"),
    "ends": re.compile(r"\b(_?exit|_Exit|quick_exit|abort|terminate|unexpected|ExitProcess|TerminateProcess|FatalExit|"
                       r"FatalAppExit[AW]?|RaiseFailFastException|__fastfail|__builtin_trap|__builtin_abort|__debugbreak|raise|assert|"
                       r"_wassert|_invoke_watson|at_quick_exit|atexit)\s*\(|\bset_terminate\b|&\s*(std::)?(abort|terminate|exit)\b"),
}
# Where the rule doesn't hold, and how often.
KNOWN = {("ends", "src/common/StandardErrors.cpp"): 1}
FOLDERS = {"levels": "src", "locks": "src/device", "ends": "src"}
SLIPS = {
    "levels": ['VD_LOG(LogLevel::Error, "{}:{} failed");', "LogFormatted(vdipc::LogLevel::Critical, text);",
               "ConsoleLog(file, 1, ConsoleLogLevel::Error, text);", "EmitLogLine(static_cast<LogLevel>(4), text);",
               "EmitLogLine(static_cast<vdipc::LogLevel>(4), text);", "EmitLogLine(LogLevel{4}, text);",
               "EmitLogLine((LogLevel)5, text);"],
    "locks": ["#include <mutex>", "#include <condition_variable>", '#include "common/Mutex.h"', '#include "common/Lock.h"',
              "std::lock_guard lock(mutex_);", "mutable std::mutex mutex_;", "std::thread([] {}).detach();",
              "Condition_variable ready_;", "ConditionVariable ready_;", '#include "common/Timer.h"', '#include "common/Event.h"'],
    "ends": ["std::abort();", "ExitProcess(1);", "std::_Exit (0);", "::TerminateProcess(GetCurrentProcess(), 0);",
             "assert(deck_ != nullptr);", "std::terminate();", "std::atexit(&Leave);", "__builtin_abort();",
             "const auto end = &std::abort;"],
}
# What looks like one and is none.
HARMLESS = {
    "levels": ["VD_LOG(LogLevel::Warn, text);", "enum class LogLevel : std::int32_t { Error = 4, Critical = 5 };"],
    "locks": ['#include "common/Clock.h"', "UnlockDevice(id);", "std::vector<char> block;"],
    "ends": ["static_assert(sizeof(int) == 4);", "RequestExit(now);", "[[noreturn]] void InvalidParameter() {"],
}


def code_of(path):
    """The lines without comments and texts."""
    return code_in(path.read_text(encoding="utf-8"))


def code_in(text):
    # Includes keep what is between their quotes.
    pieces = re.compile(r'(?P<include>^[ \t]*#[ \t]*include[^\n]*)|//[^\n]*|/\*.*?\*/|R"(?P<mark>[^(]*)\(.*?\)(?P=mark)"|'
                        r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'', re.MULTILINE | re.DOTALL)
    return pieces.sub(lambda m: m["include"] or "\n" * m[0].count("\n"), text).splitlines()


def check_lines(check, root):
    pattern = PATTERNS[check]
    findings = [f"this check doesn't see: {slip}" for slip in SLIPS[check]
                if not any(pattern.search(line) for line in code_in(f"// one line\n{slip} // and behind it\n"))]
    findings += [f"this check objects to: {line}" for line in HARMLESS[check] if pattern.search(line)]
    files = [p for p in sorted((root / FOLDERS[check]).rglob("*")) if p.suffix in (".h", ".cpp")]
    for path in files:
        name = path.relative_to(root).as_posix()
        found = [f"{name}:{number}: {line.strip()}" for number, line in enumerate(code_of(path), 1) if pattern.search(line)]
        known = KNOWN.get((check, name), 0)
        if len(found) < known:
            findings.append(f"{name}: {known} expected, {len(found)} found")
        elif len(found) > known:
            findings += found
    if len(files) < 5:
        findings.append(f"only {len(files)} files under {FOLDERS[check]}: this check looks in the wrong place")
    return findings, f"{len(files)} files under {FOLDERS[check]}, all within the rule"


def check_state(root, archive):
    if not pathlib.Path(archive).exists():
        return [f"{archive} isn't there: build vdipc_messages first"], ""
    # Data that can be written to, by its demangled name; the compiler's own begins with two underscores or a point.
    listed = subprocess.run(["nm", "-C", archive], capture_output=True, text=True, check=True).stdout
    names = {m[1] for m in re.finditer(r"^[0-9a-f]+ [bBdDuCgGsS] (.+)$", listed, re.MULTILINE)}
    names |= {m[1] for m in re.finditer(r"^[0-9a-f]+ V (?!typeinfo|vtable|DW\.ref)(.+)$", listed, re.MULTILINE)}
    names = {name for name in names if not re.match(r"__|\.", name)}
    folder = root / "src" / "messages"
    code = "\n".join("\n".join(code_of(path)) for path in sorted(folder.rglob("*")) if path.suffix in (".h", ".cpp"))
    findings = []
    for name in sorted(names):
        # "guard variable for vdipc::F()::table", "vdipc::Table[abi:cxx11]"
        last = re.sub(r"\[abi:\w+\]", "", name).rsplit("::", 1)[-1]
        declared = [line for line in re.findall(rf"^[^\n;]*\b{re.escape(last)}\b\s*(?:[=;{{(\[])", code, re.MULTILINE)
                    if not re.match(r"\s*(?:return|if|for|while)\b", line)]
        if not declared or not all(re.search(rf"\bconst(?:expr)?\b[^;*]*\b{re.escape(last)}\b", line) for line in declared):
            findings.append(f"{name} can change")
    if not any(name.startswith("vdipc::kCommandTypes") for name in names):
        findings.append("the tables of the protocol's words aren't seen: this check looks in the wrong place")
    return findings, f"{len(names)} objects in memory, all of them const"


check, root = sys.argv[1], pathlib.Path(sys.argv[2])
findings, summary = check_state(root, sys.argv[3]) if check == "state" else check_lines(check, root)
print("\n".join(findings) if findings else summary)
sys.exit(1 if findings else 0)
