// Where saved audio goes.
#include "common/Log.h"
#include "common/StandardErrors.h"
#include "ipc/IpcHandler.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>
#include <cstring>

namespace vdipc {

void IpcHandler::RetrieveAudioStoragePathFromRegistry(char* buffer) {
    VD_LOG_ENTRY();
    constexpr DWORD kSize = MAX_PATH;
    HKEY key = nullptr;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\ZVN\\daemon", &key) == ERROR_SUCCESS) {
        DWORD type = REG_SZ;
        DWORD size = kSize;
        if (RegQueryValueExA(key, "temp path", nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) ==
            ERROR_SUCCESS) {
            // A value may have been stored without its terminator.
            buffer[std::min(size, kSize - 1)] = '\0';
            PathCombineA(buffer, buffer, "stuAudios");
            RegCloseKey(key);
            return;
        }
    }
    GetTempPathA(kSize, buffer);
    PathCombineA(buffer, buffer, "ZVN");
    if (PathIsDirectoryA(buffer) == FALSE) {
        CreateDirectoryA(buffer, nullptr);
    }
    RegCloseKey(key);
}

bool IpcHandler::CreateMultiDir(const char* path) {
    VD_LOG_ENTRY();
    if (path == nullptr) {
        return false;
    }
    const char* const backslash = std::strrchr(path, '\\');
    if (backslash == nullptr) {
        return false;
    }
    if (PathIsDirectoryA(path) != FALSE) {
        return true;
    }
    const std::string parent = PrintBounded260("%.*s", static_cast<int>(backslash - path), path);
    CreateMultiDir(parent.c_str());
    return CreateDirectoryA(path, nullptr) != FALSE;
}

}  // namespace vdipc
