// A wscript.exe for Wine alone: Wine's own refuses the switch "//e:" that names the script's language. This one
// drops it, runs the real program (VDIPC_WSCRIPT, its full path) with everything else as it came, and ends with that
// program's exit code.
#include <windows.h>

#include <string>
#include <string_view>

namespace {

bool NamesEngine(std::wstring_view argument) {
    return argument.size() >= 4 && CompareStringOrdinal(argument.data(), 4, L"//e:", 4, TRUE) == CSTR_EQUAL;
}

// The rest of a command line behind its first argument, which may stand in quotes.
std::wstring_view NextArgument(std::wstring_view& rest) {
    std::size_t begin = rest.find_first_not_of(L" \t");
    if (begin == std::wstring_view::npos) {
        rest = {};
        return {};
    }
    std::size_t end = begin;
    for (bool quoted = false; end < rest.size() && (quoted || (rest[end] != L' ' && rest[end] != L'\t'));
         ++end) {
        if (rest[end] == L'"') {
            quoted = !quoted;
        }
    }
    std::wstring_view argument = rest.substr(begin, end - begin);
    rest.remove_prefix(end);
    return argument;
}

}  // namespace

int wmain() {
    wchar_t program[MAX_PATH] = {};
    if (GetEnvironmentVariableW(L"VDIPC_WSCRIPT", program, MAX_PATH) == 0) {
        return ERROR_ENVVAR_NOT_FOUND;
    }
    const std::wstring path = program;

    std::wstring_view rest = GetCommandLineW();
    NextArgument(rest);
    std::wstring command_line = L"\"" + path + L"\"";
    for (std::wstring_view argument = NextArgument(rest); !argument.empty(); argument = NextArgument(rest)) {
        if (!NamesEngine(argument)) {
            command_line.append(L" ").append(argument);
        }
    }

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(path.c_str(), command_line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return static_cast<int>(GetLastError());
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(code);
}
