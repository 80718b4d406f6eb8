// Where the host's executable lies: log file, persisted devices and the station's script are its neighbours.
#pragma once

#include <string>

namespace vdipc {

/// Full path of the process's executable in the active code page, at most 259 characters.
std::string GetHostExecutablePath();

/// The part of a path up to and including its last backslash; empty when there is none.
std::string DirectoryWithBackslash(const std::string& path);

}  // namespace vdipc
