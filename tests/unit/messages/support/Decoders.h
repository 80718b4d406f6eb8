// What the library makes of a command's text, whichever command it is.
#pragma once

#include <string>

namespace vdipc::test {

/// The name of the command when the library takes the text, else empty.
std::string TakenCommand(const std::string& text);

}  // namespace vdipc::test
