// A timer queue with a thread for each timer.
#include "common/Timer.h"
#include "common/TimerQueue.h"
#include "native/NativeSeam.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace vdipc {
namespace {

struct QueueTimer {
    std::mutex mutex;
    std::condition_variable changed;
    bool deleted = false;
    std::thread thread;
};

std::atomic<std::uint32_t> g_due{0};
std::atomic<std::uint32_t> g_creation_error{0};
std::atomic<std::uint32_t> g_deletion_error{0};

}  // namespace

bool CreateQueueTimer(void*& timer_handle, Timer* timer, std::uint32_t due_milliseconds) {
    if (const std::uint32_t error = g_creation_error.exchange(0)) {
        test::SetNativeLastError(error);
        return false;
    }
    g_due = due_milliseconds;
    auto* const made = new QueueTimer();
    made->thread = std::thread([made, timer, due_milliseconds] {
        {
            std::unique_lock lock(made->mutex);
            if (made->changed.wait_for(lock, std::chrono::milliseconds(due_milliseconds),
                                       [made] { return made->deleted; })) {
                return;
            }
        }
        Timer::OnTimerFired(timer, true);
    });
    timer_handle = made;
    return true;
}

bool DeleteQueueTimer(void* timer_handle) {
    auto* const timer = static_cast<QueueTimer*>(timer_handle);
    {
        std::lock_guard lock(timer->mutex);
        timer->deleted = true;
        timer->changed.notify_all();
    }
    timer->thread.join();
    delete timer;
    if (const std::uint32_t error = g_deletion_error.exchange(0)) {
        test::SetNativeLastError(error);
        return false;
    }
    return true;
}

namespace test {

std::uint32_t NativeQueueTimerDue() {
    return g_due;
}

void FailNextQueueTimerCreation(std::uint32_t error) {
    g_creation_error = error;
}

void FailNextQueueTimerDeletion(std::uint32_t error) {
    g_deletion_error = error;
}

}  // namespace test
}  // namespace vdipc
