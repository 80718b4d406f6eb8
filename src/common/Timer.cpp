#include "common/Timer.h"

#include "common/ConsoleLog.h"
#include "common/Event.h"
#include "common/TimerQueue.h"

namespace vdipc {
namespace {

constexpr std::uint32_t kDueMilliseconds = 2000;

}  // namespace

Timer::Timer() {
    ConsoleLog(SourceFileName(__FILE__), __LINE__, ConsoleLogLevel::Info, "[Timer] %p ctor",
               static_cast<void*>(this));
}

Timer::~Timer() {
    Stop();
    ConsoleLog(SourceFileName(__FILE__), __LINE__, ConsoleLogLevel::Info, "[Timer] %p dtor",
               static_cast<void*>(this));
}

bool Timer::Start(const std::function<void()>& callback) {
    if (timer_handle_ != nullptr) {
        return false;
    }
    callback_stored_.store(false, std::memory_order_relaxed);
    if (!CreateQueueTimer(timer_handle_, this, kDueMilliseconds)) {
        ConsoleLog(SourceFileName(__FILE__), __LINE__, ConsoleLogLevel::Warn,
                   "[Timer] %p CreateTimerQueueTimer failed, GLE=%u", static_cast<void*>(this),
                   static_cast<unsigned int>(GetLastSystemError()));
        return false;
    }
    if (&callback != &callback_) {
        callback_ = callback;
    }
    callback_stored_.store(true, std::memory_order_release);
    return true;
}

void Timer::Stop() {
    if (timer_handle_ == nullptr) {
        return;
    }
    if (!DeleteQueueTimer(timer_handle_)) {
        ConsoleLog(SourceFileName(__FILE__), __LINE__, ConsoleLogLevel::Warn,
                   "[Timer] %p DeleteTimerQueueTimer failed, GLE=%u", static_cast<void*>(this),
                   static_cast<unsigned int>(GetLastSystemError()));
    }
    timer_handle_ = nullptr;
}

void Timer::OnTimerFired(void* timer, bool /*timed_out*/) {
    const auto* const self = static_cast<const Timer*>(timer);
    if (self->callback_stored_.load(std::memory_order_acquire) && self->callback_) {
        self->callback_();
    }
}

}  // namespace vdipc
