#include "common/HostPath.h"
#include "native/NativeSeam.h"

#include <filesystem>
#include <mutex>

namespace vdipc {
namespace {

std::mutex g_host_path_mutex;
std::string g_path;

}  // namespace

std::string GetHostExecutablePath() {
    std::lock_guard lock(g_host_path_mutex);
    if (g_path.empty()) {
        g_path = (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "\\host").string();
    }
    return g_path;
}

namespace test {

void SetNativeHostPath(const std::string& path) {
    std::lock_guard lock(g_host_path_mutex);
    g_path = path;
}

}  // namespace test
}  // namespace vdipc
