#include "common/AppendFile.h"

#include <windows.h>

namespace vdipc {

FileHandle OpenAppendFile(const std::string& path) {
    return CreateFileA(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void AppendToFile(FileHandle file, const void* data, std::uint32_t size) {
    DWORD written = 0;
    WriteFile(file, data, size, &written, nullptr);
}

}  // namespace vdipc
