// What keeps a host upright under Wine, where this project's tests run. Nothing of it takes effect on Windows.
#pragma once

#include <windows.h>

namespace vdipc::tools {

/// Lets one thread at a time through the library's calls of WriteFile. Windows appends to a file in one step; Wine looks
/// for the end and then writes there, so that of two threads' log lines one can vanish under the other.
void SerialiseAppendsUnderWine(HMODULE library);

}  // namespace vdipc::tools
