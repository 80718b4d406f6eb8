#include "classroom/memory/Graveyard.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace vdipc::classroom {
namespace {

constexpr std::size_t kMostGraves = 256;
constexpr std::size_t kMostBytes = 8 * 1024 * 1024;

}  // namespace

void Graveyard::Bury(std::shared_ptr<const void> owner, const void* begin, std::size_t size) {
    const std::lock_guard lock(mutex_);
    graves_.push_back({std::move(owner), static_cast<const unsigned char*>(begin), size});
    bytes_ += size;
    while (graves_.size() > kMostGraves || bytes_ > kMostBytes) {
        bytes_ -= graves_.front().size;
        graves_.pop_front();
    }
}

bool Graveyard::Holds(const void* address) const {
    const auto* const byte = static_cast<const unsigned char*>(address);
    const std::lock_guard lock(mutex_);
    return std::any_of(graves_.begin(), graves_.end(), [byte](const Grave& grave) {
        return !std::less<>()(byte, grave.begin) && std::less<>()(byte, grave.begin + grave.size);
    });
}

}  // namespace vdipc::classroom
