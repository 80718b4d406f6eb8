#include "tools/vdhost/Wine.h"

#include <cstring>
#include <mutex>

namespace vdipc::tools {
namespace {

/// Of the system's own kind, for which nobody waits in a process that ends: a thread that was ended inside an append never
/// gives it back, and the library's last lines come behind that. A std::mutex would hang there for good.
class AppendLock {
public:
    AppendLock() { InitializeCriticalSection(&section_); }
    void lock() { EnterCriticalSection(&section_); }
    void unlock() { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

AppendLock& TheAppendLock() {
    static AppendLock& lock = *new AppendLock();  // needed until the very end
    return lock;
}

BOOL WINAPI WriteFileInTurn(HANDLE file, const void* data, DWORD size, DWORD* written,
                            OVERLAPPED* overlapped) {
    if (overlapped != nullptr) {
        return WriteFile(file, data, size, written, overlapped);
    }
    const std::lock_guard lock(TheAppendLock());
    return WriteFile(file, data, size, written, nullptr);
}

template <typename Value>
Value* InModule(HMODULE module, DWORD offset) {
    return reinterpret_cast<Value*>(reinterpret_cast<char*>(module) + offset);
}

/// The library's own pointer to an imported function, or null.
ULONGLONG* ImportOf(HMODULE library, const char* name) {
    const auto* const dos = InModule<IMAGE_DOS_HEADER>(library, 0);
    const auto* const headers = InModule<IMAGE_NT_HEADERS64>(library, static_cast<DWORD>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* from = InModule<IMAGE_IMPORT_DESCRIPTOR>(library, imports.VirtualAddress); from->Name != 0;
         ++from) {
        const auto* names = InModule<ULONGLONG>(library, from->OriginalFirstThunk);
        for (auto* address = InModule<ULONGLONG>(library, from->FirstThunk); *names != 0;
             ++names, ++address) {
            if ((*names & IMAGE_ORDINAL_FLAG64) == 0 &&
                std::strcmp(InModule<IMAGE_IMPORT_BY_NAME>(library, static_cast<DWORD>(*names))->Name,
                            name) == 0) {
                return address;
            }
        }
    }
    return nullptr;
}

}  // namespace

void SerialiseAppendsUnderWine(HMODULE library) {
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr) {
        return;
    }
    TheAppendLock();
    ULONGLONG* const address = ImportOf(library, "WriteFile");
    DWORD protection = 0;
    if (address != nullptr &&
        VirtualProtect(address, sizeof *address, PAGE_READWRITE, &protection) != FALSE) {
        *address = reinterpret_cast<ULONGLONG>(&WriteFileInTurn);
        VirtualProtect(address, sizeof *address, protection, &protection);
    }
}

}  // namespace vdipc::tools
