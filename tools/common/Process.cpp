#include "tools/common/Process.h"

#include "tools/common/WideText.h"

#include <windows.h>

#include <stdexcept>
#include <thread>

namespace vdipc::tools {
namespace {

/// Quotes one argument by the rules that the C run-time takes a command line apart with.
std::wstring Quoted(const std::wstring& argument) {
    std::wstring result = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        result.append(c == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
        backslashes = 0;
        result.push_back(c);
    }
    result.append(backslashes * 2, L'\\');
    return result + L"\"";
}

/// Our environment with the given names replaced or added, as the system wants it.
std::wstring EnvironmentBlock(const std::map<std::string, std::string>& added) {
    std::map<std::wstring, std::wstring> all;
    wchar_t* const block = GetEnvironmentStringsW();
    for (const wchar_t* entry = block; *entry != L'\0'; entry += std::wstring(entry).size() + 1) {
        const std::wstring text(entry);
        const std::size_t equals = text.find(L'=', 1);
        if (equals != std::wstring::npos) {
            all[text.substr(0, equals)] = text.substr(equals + 1);
        }
    }
    FreeEnvironmentStringsW(block);
    for (const auto& [name, value] : added) {
        all[WideFromUtf8(name)] = WideFromUtf8(value);
    }
    std::wstring result;
    for (const auto& [name, value] : all) {
        result += name + L"=" + value;
        result.push_back(L'\0');
    }
    result.push_back(L'\0');
    return result;
}

/// Waits until something can be read. False when the child has ended and all of its own output was read: what it has
/// started itself may hold the pipe open for longer, as Wine's desktop process does.
bool WaitForOutput(HANDLE process, HANDLE pipe) {
    constexpr DWORD look_again_ms = 10;
    DWORD available = 0;
    for (;;) {
        const bool ended = WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
        if (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) == FALSE) {
            return false;
        }
        if (available > 0 || ended) {
            return available > 0;
        }
        WaitForSingleObject(process, look_again_ms);
    }
}

void ReadLines(HANDLE process, HANDLE pipe, const std::function<void(const std::string&)>& on_line) {
    std::string pending;
    char buffer[4096];
    DWORD got = 0;
    while (WaitForOutput(process, pipe) && ReadFile(pipe, buffer, sizeof buffer, &got, nullptr) != FALSE &&
           got > 0) {
        pending.append(buffer, got);
        std::size_t end = 0;
        while ((end = pending.find('\n')) != std::string::npos) {
            std::string line = pending.substr(0, end);
            pending.erase(0, end + 1);
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            on_line(line);
        }
    }
    if (!pending.empty()) {
        on_line(pending);
    }
}

}  // namespace

struct Process::Handles {
    HANDLE process = nullptr;
    HANDLE input = nullptr;
    HANDLE output = nullptr;
    HANDLE error = nullptr;
    DWORD id = 0;
    std::thread output_thread;
    std::thread error_thread;
};

Process::Process(const ProcessOptions& options) : handles_(std::make_unique<Handles>()) {
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE child_input = nullptr;
    HANDLE child_output = nullptr;
    HANDLE child_error = GetStdHandle(STD_ERROR_HANDLE);
    CreatePipe(&child_input, &handles_->input, &inherit, 0);
    CreatePipe(&handles_->output, &child_output, &inherit, 0);
    SetHandleInformation(handles_->input, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(handles_->output, HANDLE_FLAG_INHERIT, 0);
    if (options.on_error) {
        CreatePipe(&handles_->error, &child_error, &inherit, 0);
        SetHandleInformation(handles_->error, HANDLE_FLAG_INHERIT, 0);
    }

    std::wstring command_line = Quoted(options.executable);
    for (const std::string& argument : options.arguments) {
        command_line += L" " + Quoted(WideFromUtf8(argument));
    }
    std::wstring environment = EnvironmentBlock(options.environment);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = child_input;
    startup.hStdOutput = child_output;
    startup.hStdError = child_error;
    PROCESS_INFORMATION information{};
    const BOOL started = CreateProcessW(options.executable.c_str(), command_line.data(), nullptr, nullptr,
                                        TRUE, CREATE_UNICODE_ENVIRONMENT, environment.data(),
                                        options.directory.empty() ? nullptr : options.directory.c_str(),
                                        &startup, &information);
    const DWORD error = GetLastError();
    CloseHandle(child_input);
    CloseHandle(child_output);
    if (options.on_error) {
        CloseHandle(child_error);
    }
    if (started == FALSE) {
        CloseHandle(handles_->input);
        CloseHandle(handles_->output);
        if (handles_->error != nullptr) {
            CloseHandle(handles_->error);
        }
        throw std::runtime_error("can't start " + Utf8FromWide(options.executable) + ": " +
                                 SystemErrorText(error));
    }
    CloseHandle(information.hThread);
    handles_->process = information.hProcess;
    handles_->id = information.dwProcessId;
    const auto nothing = [](const std::string&) {};
    handles_->output_thread =
        std::thread(ReadLines, handles_->process, handles_->output,
                    options.on_output ? options.on_output : std::function<void(const std::string&)>(nothing));
    if (options.on_error) {
        handles_->error_thread = std::thread(ReadLines, handles_->process, handles_->error, options.on_error);
    }
}

Process::~Process() {
    if (IsRunning()) {
        Kill();
    }
    Wait(INFINITE);
    CloseInput();
    CloseHandle(handles_->output);
    if (handles_->error != nullptr) {
        CloseHandle(handles_->error);
    }
    CloseHandle(handles_->process);
}

bool Process::WriteLine(const std::string& line) {
    const std::string bytes = line + "\n";
    DWORD written = 0;
    return handles_->input != nullptr &&
           WriteFile(handles_->input, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) !=
               FALSE &&
           written == bytes.size();
}

void Process::CloseInput() {
    if (handles_->input != nullptr) {
        CloseHandle(handles_->input);
        handles_->input = nullptr;
    }
}

void Process::Kill() {
    TerminateProcess(handles_->process, 1);
}

bool Process::IsRunning() const {
    return WaitForSingleObject(handles_->process, 0) == WAIT_TIMEOUT;
}

bool Process::Wait(std::uint32_t timeout_ms) {
    if (WaitForSingleObject(handles_->process, timeout_ms) != WAIT_OBJECT_0) {
        return false;
    }
    if (handles_->output_thread.joinable()) {
        handles_->output_thread.join();
    }
    if (handles_->error_thread.joinable()) {
        handles_->error_thread.join();
    }
    return true;
}

std::uint32_t Process::ExitCode() const {
    DWORD code = 0;
    GetExitCodeProcess(handles_->process, &code);
    return code;
}

std::uint32_t Process::Id() const {
    return handles_->id;
}

}  // namespace vdipc::tools
