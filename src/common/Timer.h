// One-shot timer of 2000 milliseconds on the system's timer queue.
#pragma once

#include <atomic>
#include <functional>

namespace vdipc {

/// Calls a function once, 2000 milliseconds after it was armed, on a thread of the system's pool.
///
/// Start and Stop belong to one thread. Stop waits for a running callback, so neither it nor the destructor may be
/// called from inside the callback. After firing, the timer stays armed for the system until Stop.
class Timer {
public:
    Timer();
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Arms the timer. False, with the first callback kept, when it is armed already (also after it has fired), and
    /// false when the system gives no timer. The callback must not throw.
    bool Start(const std::function<void()>& callback);

    /// Disarms; when it returns no callback is running, and none will run. Harmless when idle.
    void Stop();

    /// Entry of the system's timer callback; the flag says that the time ran out and is ignored.
    static void OnTimerFired(void* timer, bool timed_out);

private:
    void* timer_handle_ = nullptr;
    std::function<void()> callback_;
    // The timer is armed before the callback is stored: this publishes it to the pool's thread.
    std::atomic<bool> callback_stored_{false};
};

}  // namespace vdipc
