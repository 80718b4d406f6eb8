// Threads of a stand-in library, from which it calls the product.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace vdipc::classroom {

/// A few threads, each with a queue of its own. They start with their first job, and run until the process ends: nobody
/// waits for them. Hence an object of this class is never destroyed.
class Lanes {
public:
    static constexpr std::size_t kCount = 4;

    /// The job runs on this thread (modulo kCount) after so many milliseconds, behind those that are due earlier.
    void Post(std::size_t lane, std::uint32_t delay_ms, std::function<void()> job);
    /// Another thread at each call.
    std::size_t NextLane() { return next_.fetch_add(1, std::memory_order_relaxed) % kCount; }

private:
    using Clock = std::chrono::steady_clock;

    struct Lane {
        std::mutex mutex;
        std::condition_variable changed;
        bool started = false;
        std::uint64_t count = 0;
        std::map<std::pair<Clock::time_point, std::uint64_t>, std::function<void()>> jobs;
    };

    static void Run(Lane& lane);

    std::array<Lane, kCount> lanes_;
    std::atomic<std::size_t> next_{0};
};

/// Counts the callbacks of one action, and lets the action wait for them.
class Ticket {
public:
    void Open() {
        const std::lock_guard lock(mutex_);
        ++pending_;
    }

    void Close() {
        const std::lock_guard lock(mutex_);
        --pending_;
        changed_.notify_all();
    }

    void Count(int callbacks) {
        const std::lock_guard lock(mutex_);
        callbacks_ += callbacks;
    }

    int Wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return pending_ == 0; });
        return callbacks_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int pending_ = 0;
    int callbacks_ = 0;
};

/// A listener that is called from several threads and taken away by another, which must then be sure that nobody is inside
/// it any more. Taking it away from within a callback doesn't wait for that callback.
template <typename Listener>
class Gate {
public:
    /// Null takes the listener away and waits for calls that are running.
    void Set(Listener* listener) {
        std::unique_lock lock(mutex_);
        listener_ = listener;
        if (listener == nullptr) {
            idle_.wait(lock, [this] {
                const auto mine = running_.find(std::this_thread::get_id());
                return running_.size() == (mine == running_.end() ? 0U : 1U);
            });
        }
    }

    bool IsSet() const {
        const std::lock_guard lock(mutex_);
        return listener_ != nullptr;
    }

    /// False where there is no listener, and then nothing was called.
    bool Call(const std::function<void(Listener&)>& call) {
        Listener* listener = nullptr;
        {
            const std::lock_guard lock(mutex_);
            listener = listener_;
            if (listener == nullptr) {
                return false;
            }
            ++running_[std::this_thread::get_id()];
        }
        call(*listener);
        const std::lock_guard lock(mutex_);
        const auto mine = running_.find(std::this_thread::get_id());
        if (--mine->second == 0) {
            running_.erase(mine);
        }
        idle_.notify_all();
        return true;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable idle_;
    Listener* listener_ = nullptr;
    std::map<std::thread::id, int> running_;
};

}  // namespace vdipc::classroom
