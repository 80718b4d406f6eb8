// A lock and a condition for queues between threads.
//
// MinGW-w64's library builds its own out of the kernel's events: each wake-up is a call into the system, and the woken
// thread runs into the lock that its waker still holds. There both are the system's slim ones, which stay in the process.
// Elsewhere, under the released compiler too, they are the standard library's.
#pragma once

#include <mutex>

#if defined(__MINGW32__)
#define VDIPC_SLIM_LOCKS 1
#else
#define VDIPC_SLIM_LOCKS 0
#include <condition_variable>
#endif

namespace vdipc {

/// Not recursive. For std::lock_guard and std::unique_lock.
class Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

#if VDIPC_SLIM_LOCKS
    void lock();
    void unlock();
#else
    void lock() {
        mutex_.lock();
    }
    void unlock() {
        mutex_.unlock();
    }
#endif

private:
    friend class Condition;
#if VDIPC_SLIM_LOCKS
    void* state_ = nullptr;  // the system's record, one pointer that is null while nobody holds it
#else
    std::mutex mutex_;
#endif
};

/// Of one mutex, which the caller of each member holds. So it is known whether anybody waits, and a notification that
/// nobody waits for costs nothing.
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Gives the mutex up while it waits. Returns without a notification now and then: look at what you wait for.
    void Wait(Mutex& mutex);
    void NotifyOne();

private:
#if VDIPC_SLIM_LOCKS
    void* state_ = nullptr;
#else
    std::condition_variable condition_;
#endif
    int waiting_ = 0;
};

}  // namespace vdipc
