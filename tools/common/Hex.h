// Bytes as hexadecimal digits.
#pragma once

#include <string>
#include <string_view>

namespace vdipc::tools {

/// Two small digits for each byte, without blanks.
inline std::string HexOf(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (const char c : bytes) {
        hex += kDigits[static_cast<unsigned char>(c) >> 4];
        hex += kDigits[static_cast<unsigned char>(c) & 15];
    }
    return hex;
}

}  // namespace vdipc::tools
