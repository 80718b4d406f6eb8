// Calls the export as any imported function; ends on the client's "quit".
#include <vdipc/IIpcHandler.h>

#include <windows.h>

#include <cstdio>

int main() {
    const HANDLE quit = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    vdipc::IIpcHandler* const handler = GetIpcHandler();
    handler->SetQuitCallback([quit] { SetEvent(quit); });
    handler->SetVoteDecksStatusChangedCallback([](const std::int32_t* statuses, const std::wstring&) {
        std::printf("status of TQ1: %d\n", statuses[2]);
        std::fflush(stdout);
    });
    handler->Initialize();
    WaitForSingleObject(quit, INFINITE);
    handler->Uninitialize();
    std::puts("stopped");
    return 0;
}
