#include "common/HostPath.h"

#include <windows.h>

namespace vdipc {

std::string GetHostExecutablePath() {
    char path[260] = {};
    GetModuleFileNameA(nullptr, path, sizeof path);
    path[sizeof path - 1] = '\0';
    return path;
}

}  // namespace vdipc
