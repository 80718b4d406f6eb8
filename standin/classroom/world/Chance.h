// The one source of random choices: the same seed gives the same choices under every compiler.
#pragma once

#include <cstdint>
#include <mutex>
#include <random>

namespace vdipc::classroom {

/// Any thread may call.
class Chance {
public:
    explicit Chance(std::uint64_t seed) : engine_(seed) {}

    /// A number below `end`, which is at least 1.
    std::uint32_t Below(std::uint32_t end) {
        const std::lock_guard lock(mutex_);
        return static_cast<std::uint32_t>(engine_() % end);
    }

    bool Happens(double probability) { return Below(1000000) < probability * 1000000.0; }

private:
    std::mutex mutex_;
    std::mt19937_64 engine_;
};

}  // namespace vdipc::classroom
