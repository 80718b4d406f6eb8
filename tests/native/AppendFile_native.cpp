#include "common/AppendFile.h"

#include <fcntl.h>
#include <unistd.h>

namespace vdipc {

FileHandle OpenAppendFile(const std::string& path) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    return reinterpret_cast<FileHandle>(static_cast<std::intptr_t>(descriptor));
}

void AppendToFile(FileHandle file, const void* data, std::uint32_t size) {
    const auto descriptor = static_cast<int>(reinterpret_cast<std::intptr_t>(file));
    [[maybe_unused]] const ssize_t written = write(descriptor, data, size);
}

}  // namespace vdipc
