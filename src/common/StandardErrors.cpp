#include "common/StandardErrors.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace vdipc {
namespace {

bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The end that a bounded print of one run-time library comes to when the text doesn't fit, made the same everywhere.
[[noreturn]] void InvalidParameter() {
    std::fputs("invalid parameter: text doesn't fit its 260 bytes\n", stderr);
    std::abort();
}

}  // namespace

void ThrowInvalidMapKey() {
    throw std::out_of_range("invalid map<K, T> key");
}

std::uint32_t ParseUnsigned32(const std::string& text) {
    const char* c = text.c_str();
    while (IsSpace(*c)) {
        ++c;
    }
    const bool negative = *c == '-';
    if (*c == '-' || *c == '+') {
        ++c;
    }
    if (*c < '0' || *c > '9') {
        throw std::invalid_argument("invalid stoul argument");
    }
    std::uint64_t value = 0;
    for (; *c >= '0' && *c <= '9'; ++c) {
        value = value * 10 + static_cast<std::uint64_t>(*c - '0');
        if (value > 0xFFFFFFFFu) {
            throw std::out_of_range("stoul argument out of range");
        }
    }
    const auto number = static_cast<std::uint32_t>(value);
    return negative ? 0u - number : number;
}

std::string PrintBounded260(const char* format, ...) {
    char text[260] = {};
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof text) {
        InvalidParameter();
    }
    return text;
}

}  // namespace vdipc
