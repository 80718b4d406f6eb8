// The system's timer queue, as far as the one-shot timer needs it.
#pragma once

#include <cstdint>

namespace vdipc {

class Timer;

/// Creates a one-shot timer of the default queue, which calls Timer::OnTimerFired on a worker thread of the default
/// pool when the time is over. Stores the system's handle; false when the system refuses.
bool CreateQueueTimer(void*& timer_handle, Timer* timer, std::uint32_t due_milliseconds);

/// Deletes it, and waits until a callback that runs has returned. False when the system refuses.
bool DeleteQueueTimer(void* timer_handle);

}  // namespace vdipc
