// A complete host in one page: it loads VDIPC.dll, says what the receivers do, and ends when the client asks for it.

#include <vdipc/IIpcHandler.h>

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <string>

int main() {
    const HMODULE library = LoadLibraryW(L"VDIPC.dll");
    if (library == nullptr) {
        std::fprintf(stderr, "VDIPC.dll or one of its libraries is missing (error %lu)\n", GetLastError());
        return 1;
    }
    // The address of a function is not a pointer to it until it is told what the function looks like.
    const auto get_ipc_handler = reinterpret_cast<GetIpcHandlerFunction>(
        reinterpret_cast<void*>(GetProcAddress(library, "GetIpcHandler")));
    if (get_ipc_handler == nullptr) {
        std::fprintf(stderr, "VDIPC.dll has no export GetIpcHandler\n");
        return 1;
    }

    const HANDLE quit = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    vdipc::IIpcHandler* const handler = get_ipc_handler();

    // Both callbacks run on the library's thread: note what happened, and return. Uninitialize must not be called there.
    handler->SetQuitCallback([quit] { SetEvent(quit); });
    handler->SetVoteDecksStatusChangedCallback([](const std::int32_t* statuses, const std::wstring& text) {
        std::printf("%d %d %d %d %d\n%ls", statuses[0], statuses[1], statuses[2], statuses[3], statuses[4],
                    text.c_str());
        std::fflush(stdout);
    });

    handler->Initialize();
    WaitForSingleObject(quit, INFINITE);
    handler->Uninitialize();  // takes two seconds and a little more
    CloseHandle(quit);
    return 0;
}
