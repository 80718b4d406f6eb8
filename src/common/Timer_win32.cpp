#include "common/Timer.h"
#include "common/TimerQueue.h"

#include <windows.h>

namespace vdipc {
namespace {

VOID CALLBACK QueueTimerFired(PVOID timer, BOOLEAN timed_out) {
    Timer::OnTimerFired(timer, timed_out != FALSE);
}

}  // namespace

bool CreateQueueTimer(void*& timer_handle, Timer* timer, std::uint32_t due_milliseconds) {
    return CreateTimerQueueTimer(&timer_handle, nullptr, &QueueTimerFired, timer, due_milliseconds, 0, 0) !=
           FALSE;
}

bool DeleteQueueTimer(void* timer_handle) {
    return DeleteTimerQueueTimer(nullptr, timer_handle, INVALID_HANDLE_VALUE) != FALSE;
}

}  // namespace vdipc
