#include "common/Guid.h"
#include "native/NativeSeam.h"

#include <mutex>
#include <random>

namespace vdipc {
namespace {

std::mutex g_guid_mutex;
std::optional<Guid> g_guid;
std::size_t g_made = 0;

}  // namespace

Guid CreateGuid() {
    std::lock_guard lock(g_guid_mutex);
    ++g_made;
    if (g_guid) {
        return *g_guid;
    }
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

namespace test {

void SetNativeGuid(const std::optional<Guid>& guid) {
    std::lock_guard lock(g_guid_mutex);
    g_guid = guid;
}

std::size_t NativeGuidsMade() {
    std::lock_guard lock(g_guid_mutex);
    return g_made;
}

}  // namespace test
}  // namespace vdipc
