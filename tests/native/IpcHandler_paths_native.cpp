// The audio directory without a Windows around it: always below the temporary directory.
#include "common/Log.h"
#include "ipc/IpcHandler.h"

#include <cstring>
#include <filesystem>
#include <system_error>

namespace vdipc {

void IpcHandler::RetrieveAudioStoragePathFromRegistry(char* buffer) {
    VD_LOG_ENTRY();
    const std::string path = (std::filesystem::temp_directory_path() / "ZVN").string();
    std::memcpy(buffer, path.c_str(), path.size() + 1);
}

bool IpcHandler::CreateMultiDir(const char* path) {
    VD_LOG_ENTRY();
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return !error;
}

}  // namespace vdipc
