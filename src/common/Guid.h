// A random 128-bit value in the system's usual four fields.
#pragma once

#include <cstdint>

namespace vdipc {

struct Guid {
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::uint8_t data4[8] = {};
};

/// A fresh GUID from the system. Whether it had one to give isn't looked at: what it leaves is taken.
Guid CreateGuid();

}  // namespace vdipc
