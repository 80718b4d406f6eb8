#include "common/Guid.h"

#include <random>

namespace vdipc {

Guid CreateGuid() {
    std::random_device random;
    Guid guid;
    guid.data1 = random();
    guid.data2 = static_cast<std::uint16_t>(random());
    guid.data3 = static_cast<std::uint16_t>(random());
    for (std::uint8_t& byte : guid.data4) {
        byte = static_cast<std::uint8_t>(random());
    }
    return guid;
}

}  // namespace vdipc
