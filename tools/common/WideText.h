// UTF-8 and the system's wide text. The tools speak UTF-8 outside whatever the active code page is.
#pragma once

#include "vdipc/client/Connection.h"

#include <string>
#include <vector>

namespace vdipc::tools {

std::wstring WideFromUtf8(const std::string& text);
std::string Utf8FromWide(const std::wstring& text);

using client::SystemErrorText;

/// The directory of this program's executable, with a backslash at the end.
std::wstring OwnDirectory();

/// The arguments of this process in UTF-8, without the program's name.
std::vector<std::string> Utf8Arguments();

}  // namespace vdipc::tools
