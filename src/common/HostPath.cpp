#include "common/HostPath.h"

namespace vdipc {

std::string DirectoryWithBackslash(const std::string& path) {
    return path.substr(0, path.rfind('\\') + 1);
}

}  // namespace vdipc
