// A small real host: loads VDIPC.dll, sets both callbacks, starts it, prints each status report as one JSON line, and
// ends on the client's "quit", on Ctrl-C and on the end of standard input.

#include "ipc/IIpcHandler.h"
#include "pipe/PipeServer.h"
#include "tools/common/WideText.h"
#include "tools/vdhost/Wine.h"

#include <CLI/CLI.hpp>
#include <json/json.h>

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>

namespace {

using vdipc::tools::OwnDirectory;
using vdipc::tools::SystemErrorText;
using vdipc::tools::Utf8Arguments;
using vdipc::tools::Utf8FromWide;
using vdipc::tools::WideFromUtf8;

constexpr int kExitUsage = 2;

HANDLE g_end_event = nullptr;
HANDLE g_stopped_event = nullptr;
const char* g_reason = "";  // written before g_end_event is signalled

void End(const char* reason) {
    g_reason = reason;
    SetEvent(g_end_event);
}

BOOL WINAPI OnConsoleControl(DWORD) {
    End("console");
    // The system ends the process when this returns, so the clean stop comes first.
    WaitForSingleObject(g_stopped_event, 30000);
    return TRUE;
}

void PrintLine(const Json::Value& value) {
    static std::mutex mutex;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    const std::string line = Json::writeString(builder, value);
    const std::lock_guard lock(mutex);
    std::puts(line.c_str());
    std::fflush(stdout);
}

void PrintStatus(const std::int32_t* statuses, const std::wstring& text) {
    static constexpr const char* kKinds[] = {"RV1", "RV2", "TQ1", "TQ2", "LW"};
    Json::Value line;
    line["event"] = "status";
    for (int i = 0; i < 5; ++i) {
        line["statuses"][kKinds[i]] = statuses[i];
    }
    line["text"] = Utf8FromWide(text);
    PrintLine(line);
}

void PrintState(const char* state, const char* reason) {
    Json::Value line;
    line["event"] = "host";
    line["state"] = state;
    if (*reason != '\0') {
        line["reason"] = reason;
    }
    PrintLine(line);
}

/// A stop that overtakes the library's first offer of the pipe would wait for a client that never comes.
void WaitForTheOfferOfThePipe() {
    const ULONGLONG deadline = GetTickCount64() + 10000;
    while (WaitNamedPipeA(vdipc::kPipeName, 1) == FALSE && GetLastError() != ERROR_SEM_TIMEOUT &&
           GetTickCount64() < deadline) {
        Sleep(10);
    }
}

/// While the library stops. A stop that meets a client's loss waits for the next client, for good; here it comes. Not at
/// once, so that an ordinary stop has no visitor.
void VisitAStopThatHangs() {
    constexpr DWORD kOrdinaryStop = 4000;
    constexpr DWORD kBetweenTries = 200;
    HANDLE pipe = INVALID_HANDLE_VALUE;
    for (DWORD wait = kOrdinaryStop; WaitForSingleObject(g_stopped_event, wait) == WAIT_TIMEOUT;
         wait = kBetweenTries) {
        if (pipe != INVALID_HANDLE_VALUE) {
            continue;
        }
        pipe = CreateFileA(vdipc::kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                           nullptr);
        if (pipe != INVALID_HANDLE_VALUE) {
            std::cerr << "vdhost: the stop waited for a client, and got one" << std::endl;
        }
    }
    if (pipe != INVALID_HANDLE_VALUE) {
        CloseHandle(pipe);
    }
}

/// Which of the library's own libraries don't lie beside it, in words; empty where all do.
std::string MissingLibraries(const std::string& library) {
    const std::filesystem::path folder = std::filesystem::path(WideFromUtf8(library)).parent_path();
    std::string names;
    for (const wchar_t* const name :
         {L"Grundkit.dll", L"Trackwire.dll", L"VoteDeck.dll", L"SocketVoteDeck.dll", L"ZVNSpeech.dll"}) {
        std::error_code ignored;
        if (!std::filesystem::exists(folder / name, ignored)) {
            names += (names.empty() ? " Not there: " : ", ") + Utf8FromWide(name);
        }
    }
    return names.empty() ? names : names + ".";
}

int Fail(const std::string& words) {
    std::cerr << "vdhost: " << words << std::endl;
    return 1;
}

}  // namespace

int main() {
    SetConsoleOutputCP(CP_UTF8);
    CLI::App app("Loads VDIPC.dll and runs it until the client sends \"quit\", Ctrl-C is pressed or standard "
                 "input ends.\n"
                 "Standard output carries one JSON line for each status report and for the start and stop of "
                 "the host;\n"
                 "lines that don't begin with { are the library's own.\n"
                 "The log (vdhost's directory, vote_deck.DATE.log) and devices.json lie beside vdhost.exe.",
                 "vdhost");
    std::string library = Utf8FromWide(OwnDirectory()) + "VDIPC.dll";
    bool keep_running = false;
    app.add_option("--library", library, "the library to load")->capture_default_str();
    app.add_flag("--keep-running", keep_running, "go on when standard input ends");
    bool skip_stop = false;
    app.add_flag("--skip-stop", skip_stop, "end without Uninitialize, to see what comes of it")->group("");
    app.allow_windows_style_options(false);
    app.footer("Exit codes: 0 stopped, 1 the library can't be used, 2 bad words.");
    std::vector<std::string> arguments = Utf8Arguments();
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kExitUsage;
    }

    const HMODULE module = LoadLibraryW(WideFromUtf8(library).c_str());
    if (module == nullptr) {
        const DWORD error = GetLastError();
        return Fail("can't load " + library + ": " + SystemErrorText(error) +
                    ". The library and the receivers' libraries must lie beside each other." +
                    MissingLibraries(library));
    }
    vdipc::tools::SerialiseAppendsUnderWine(module);
    if (OwnDirectory().find(L' ') != std::wstring::npos) {
        std::cerr << "vdhost: the path of this folder holds a blank. The base station's script won't be "
                     "found, and the station will stay \"not-connected\"; receivers on USB work."
                  << std::endl;
    }
    const auto get_ipc_handler = reinterpret_cast<GetIpcHandlerFunction>(
        reinterpret_cast<void*>(GetProcAddress(module, "GetIpcHandler")));
    if (get_ipc_handler == nullptr) {
        return Fail(library + " has no export GetIpcHandler: it is not the library that this host is for.");
    }

    g_end_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_stopped_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(OnConsoleControl, TRUE);

    vdipc::IIpcHandler* const handler = get_ipc_handler();
    handler->SetQuitCallback([] { End("quit"); });
    handler->SetVoteDecksStatusChangedCallback(PrintStatus);
    handler->Initialize();
    PrintState("started", "");

    // Blocked in a read when the host ends for another reason, and so left to the end of the process.
    std::thread([keep_running] {
        std::string line;
        while (std::getline(std::cin, line)) {
        }
        if (!keep_running) {
            End("end of input");
        }
    }).detach();

    WaitForSingleObject(g_end_event, INFINITE);
    PrintState("stopping", g_reason);
    if (skip_stop) {
        return 0;
    }
    WaitForTheOfferOfThePipe();
    std::thread visitor(VisitAStopThatHangs);
    handler->Uninitialize();
    PrintState("stopped", "");
    SetEvent(g_stopped_event);
    visitor.join();
    return 0;
}
