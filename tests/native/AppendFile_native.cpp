#include "common/AppendFile.h"

#include "native/NativeSeam.h"

#include <mutex>

#include <fcntl.h>
#include <unistd.h>

namespace vdipc {
namespace {

std::mutex g_append_mutex;
std::vector<std::string>* g_appends = nullptr;

}  // namespace

FileHandle OpenAppendFile(const std::string& path) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    return reinterpret_cast<FileHandle>(static_cast<std::intptr_t>(descriptor));
}

void AppendToFile(FileHandle file, const void* data, std::uint32_t size) {
    {
        const std::lock_guard lock(g_append_mutex);
        if (g_appends != nullptr) {
            g_appends->emplace_back(static_cast<const char*>(data), size);
        }
    }
    const auto descriptor = static_cast<int>(reinterpret_cast<std::intptr_t>(file));
    [[maybe_unused]] const ssize_t written = write(descriptor, data, size);
}

void test::RecordNativeAppends(std::vector<std::string>* appends) {
    const std::lock_guard lock(g_append_mutex);
    g_appends = appends;
}

}  // namespace vdipc
