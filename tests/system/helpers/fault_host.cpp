// A host that starts and stops the library as often as its standard input says; it stands in a stage as vdhost.exe.
//
//   load N   loads and frees the library so often, besides the one time that it stays loaded
//   stop     Uninitialize, and says "down"
//   start    Initialize, and says "up"
//   again    both, one directly behind the other, and says "again"
//   hang W   says W, "stopped" or "terminate called" as other hosts' last words are, and never ends
//
// Says "started" at the start; at the end of its input it stops the library where it runs, and says "stopped".
#include "ipc/IIpcHandler.h"
#include "tools/common/WideText.h"
#include "tools/vdhost/Wine.h"

#include <windows.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

namespace {

void Say(const char* state) {
    std::printf("{\"event\":\"host\",\"state\":\"%s\"}\n", state);
    std::fflush(stdout);
}

}  // namespace

int main() {
    const std::wstring path = vdipc::tools::OwnDirectory() + L"VDIPC.dll";
    const HMODULE module = LoadLibraryW(path.c_str());
    if (module == nullptr) {
        return 1;
    }
    vdipc::tools::SerialiseAppendsUnderWine(module);
    const auto get_ipc_handler = reinterpret_cast<GetIpcHandlerFunction>(
        reinterpret_cast<void*>(GetProcAddress(module, "GetIpcHandler")));
    vdipc::IIpcHandler* const handler = get_ipc_handler();
    handler->SetQuitCallback([] { Say("quit"); });
    handler->Initialize();
    Say("started");
    bool up = true;
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string action;
        words >> action;
        if (action == "load") {
            std::size_t times = 0;
            words >> times;
            for (std::size_t i = 0; i < times; ++i) {
                const HMODULE again = LoadLibraryW(path.c_str());
                if (again != module || get_ipc_handler() != handler || FreeLibrary(again) == FALSE) {
                    return 2;
                }
            }
            Say("loaded");
        } else if (action == "stop" && up) {
            handler->Uninitialize();
            up = false;
            Say("down");
        } else if (action == "start" && !up) {
            handler->Initialize();
            up = true;
            Say("up");
        } else if (action == "again" && up) {
            handler->Uninitialize();
            handler->Initialize();
            Say("again");
        } else if (action == "hang") {
            std::string word;
            std::getline(words >> std::ws, word);
            if (word == "terminate called") {
                std::cerr << word << " without an active exception" << std::endl;
            } else {
                Say(word.c_str());
            }
            Sleep(INFINITE);
        } else {
            return 3;
        }
    }
    if (up) {
        handler->Uninitialize();
    }
    Say("stopped");
    return 0;
}
