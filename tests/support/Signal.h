// Something that happens once on one thread, and is waited for on another.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace vdipc::test {

/// Copies are the same happening, so that a callback holds one of its own and may outlive the test that waits for it. All
/// members on any thread.
class Signal {
public:
    static constexpr std::chrono::milliseconds kPatience{30000};

    void Set() const {
        const std::lock_guard lock(state_->mutex);
        state_->set = true;
        state_->changed.notify_all();
    }

    bool IsSet() const {
        const std::lock_guard lock(state_->mutex);
        return state_->set;
    }

    /// False when the time is over.
    bool Wait(std::chrono::milliseconds timeout = kPatience) const {
        std::unique_lock lock(state_->mutex);
        return state_->changed.wait_for(lock, timeout, [this] { return state_->set; });
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        bool set = false;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace vdipc::test
