#include "tools/common/HexBlocks.h"

#include <cctype>
#include <stdexcept>
#include <utility>

namespace vdipc::tools {
namespace {

bool IsHexDigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

/// The bytes of a text that holds nothing but digits and blanks.
std::string BytesOf(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (IsHexDigit(c)) {
            digits.push_back(c);
        } else if (!IsBlank(c)) {
            throw std::invalid_argument(
                std::string("'") + c +
                "' is no hexadecimal digit; a comment stands behind two blanks or a #");
        }
    }
    if (digits.size() % 2 != 0) {
        throw std::invalid_argument("a byte has two hexadecimal digits, and the last one here has one");
    }
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/// Whether each word is whole bytes, so that nobody meant it as a comment.
bool IsAllBytes(const std::string& text) {
    std::size_t digits = 0;
    for (const char c : text) {
        if (IsHexDigit(c)) {
            ++digits;
        } else if (!IsBlank(c) || digits % 2 != 0) {
            return false;
        }
    }
    return digits % 2 == 0;
}

std::string WithoutComment(const std::string& line) {
    const std::string text = line.substr(0, line.find('#'));
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return {};
    }
    for (std::size_t i = first; i + 1 < text.size(); ++i) {
        if ((text[i] == '\t' || (text[i] == ' ' && text[i + 1] == ' ')) && !IsAllBytes(text.substr(i))) {
            return text.substr(0, i);
        }
    }
    return text;
}

}  // namespace

std::string HexBlocks::TakeLine(const std::string& line) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
        return TakeRest();
    }
    bytes_ += BytesOf(WithoutComment(line));
    return {};
}

std::string HexBlocks::TakeRest() {
    return std::exchange(bytes_, {});
}

}  // namespace vdipc::tools
