// Errors whose texts the system promises, raised in the same words under every compiler.
#pragma once

#include "common/PrintfFormat.h"

#include <cstdint>
#include <map>
#include <string>

namespace vdipc {

/// Raises std::out_of_range with "invalid map<K, T> key".
[[noreturn]] void ThrowInvalidMapKey();

/// The value under a key; a key that is missing raises std::out_of_range with "invalid map<K, T> key".
template <typename Key, typename Value, typename Compare>
const Value& MapAt(const std::map<Key, Value, Compare>& map, const Key& key) {
    const auto found = map.find(key);
    if (found == map.end()) {
        ThrowInvalidMapKey();
    }
    return found->second;
}

/// Decimal text to a 32-bit number, by the rules of stoul where unsigned long has 32 bits: leading white space and a
/// sign are accepted, conversion stops at the first character that is no digit, and a minus sign negates modulo 2^32.
/// Raises std::invalid_argument "invalid stoul argument" when no digit was found, and std::out_of_range
/// "stoul argument out of range" beyond 32 bits.
std::uint32_t ParseUnsigned32(const std::string& text);

/// printf into a zeroed buffer of 260 bytes. A text that doesn't fit ends the process, as the invalid-parameter path
/// of a bounded print does.
VDIPC_PRINTF_FORMAT(1, 2)
std::string PrintBounded260(const char* format, ...);

}  // namespace vdipc
