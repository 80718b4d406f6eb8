// Buffers whose time is over: kept a while, so that somebody who still uses one is found out.
#pragma once

#include "classroom/world/Recording.h"

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

namespace vdipc::classroom {

/// Any thread may call anything.
class Graveyard {
public:
    /// The bytes from `begin` are kept as long as `owner` is.
    void Bury(std::shared_ptr<const void> owner, const void* begin, std::size_t size);
    /// True for an address inside a buffer that was buried and isn't forgotten yet.
    bool Holds(const void* address) const;

private:
    struct Grave {
        std::shared_ptr<const void> owner;
        const unsigned char* begin;
        std::size_t size;
    };

    mutable std::mutex mutex_;
    std::deque<Grave> graves_;
    std::size_t bytes_ = 0;
};

}  // namespace vdipc::classroom
