#include "common/Event.h"

#include <windows.h>

namespace vdipc {

static_assert(kWaitForever == INFINITE);
static_assert(kWaitSignalled == WAIT_OBJECT_0);
static_assert(kWaitTimeout == WAIT_TIMEOUT);
static_assert(kWaitFailed == WAIT_FAILED);

EventHandle CreateAutoResetEvent() {
    return CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

bool SignalEvent(EventHandle event) {
    return SetEvent(event) != FALSE;
}

std::uint32_t WaitForEvent(EventHandle event, std::uint32_t milliseconds) {
    return WaitForSingleObject(event, milliseconds);
}

std::uint32_t WaitForEitherEvent(EventHandle first, EventHandle second, std::uint32_t milliseconds) {
    const HANDLE events[] = {first, second};
    return WaitForMultipleObjects(2, events, FALSE, milliseconds);
}

void CloseEvent(EventHandle event) {
    if (event != nullptr) {
        CloseHandle(event);
    }
}

std::uint32_t GetLastSystemError() {
    return GetLastError();
}

}  // namespace vdipc
