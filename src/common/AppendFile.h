// A file that is only ever appended to, also by several processes at once. Nothing here closes it.
#pragma once

#include <cstdint>
#include <string>

namespace vdipc {

using FileHandle = void*;

/// Opens or creates a file with the right to append, shared for reading and writing. The path is text of the active
/// code page. Gives the system's invalid handle when the file can't be opened; appending to that does nothing.
FileHandle OpenAppendFile(const std::string& path);

/// Appends in one atomic write of the system; a failure goes unnoticed. Any thread.
void AppendToFile(FileHandle file, const void* data, std::uint32_t size);

}  // namespace vdipc
