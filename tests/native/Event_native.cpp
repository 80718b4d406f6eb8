// Events as descriptors, so that one can wait for an event and a socket at once. A handle is a number that is never
// used twice: a closed one is known as closed.
#include "common/Event.h"
#include "native/NativeSeam.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace vdipc {
namespace {

std::mutex g_event_mutex;
std::uintptr_t g_last = 0x1000;
struct RefusedCreation {
    std::size_t behind = 0;
    std::uint32_t error = 0;
};
std::optional<RefusedCreation> g_refused_creation;
std::size_t g_events_made = 0;
std::vector<EventHandle>* g_signals = nullptr;
std::map<EventHandle, int>& Events() {
    static std::map<EventHandle, int>& events = *new std::map<EventHandle, int>();
    return events;
}

thread_local std::uint32_t t_last_error = 0;

struct ForcedWait {
    std::uint32_t result = 0;
    std::uint32_t error = 0;
};
std::optional<ForcedWait> g_forced_wait;  // under g_event_mutex

}  // namespace

EventHandle CreateAutoResetEvent() {
    std::lock_guard lock(g_event_mutex);
    if (g_refused_creation && g_refused_creation->behind-- == 0) {
        t_last_error = g_refused_creation->error;
        g_refused_creation.reset();
        return nullptr;
    }
    ++g_events_made;
    const int descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    g_last += 4;
    const auto handle = reinterpret_cast<EventHandle>(g_last);
    Events()[handle] = descriptor;
    return handle;
}

bool SignalEvent(EventHandle event) {
    std::lock_guard lock(g_event_mutex);
    const auto found = Events().find(event);
    if (found == Events().end()) {
        return false;
    }
    if (g_signals != nullptr) {
        g_signals->push_back(event);
    }
    const std::uint64_t one = 1;
    return write(found->second, &one, sizeof one) == sizeof one;
}

std::uint32_t WaitForEvent(EventHandle event, std::uint32_t milliseconds) {
    const std::uint32_t result = WaitForEitherEvent(event, event, milliseconds);
    // A signal that comes between the looks at the two, which are one here, is seen by the second.
    return result == 1 ? kWaitSignalled : result;
}

std::uint32_t WaitForEitherEvent(EventHandle first, EventHandle second, std::uint32_t milliseconds) {
    if (first != second) {
        std::lock_guard lock(g_event_mutex);
        if (const auto forced = std::exchange(g_forced_wait, std::nullopt)) {
            t_last_error = forced->error;
            return forced->result;
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    pollfd descriptors[] = {{test::NativeEventDescriptor(first), POLLIN, 0},
                            {test::NativeEventDescriptor(second), POLLIN, 0}};
    if (descriptors[0].fd < 0 || descriptors[1].fd < 0) {
        return kWaitFailed;
    }
    while (true) {
        for (std::uint32_t i = 0; i < 2; ++i) {
            std::uint64_t count = 0;
            if (read(descriptors[i].fd, &count, sizeof count) == sizeof count) {
                return i;
            }
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
                .count();
        if (milliseconds != kWaitForever && left <= 0) {
            return kWaitTimeout;
        }
        poll(descriptors, 2, milliseconds == kWaitForever ? -1 : static_cast<int>(left));
    }
}

void CloseEvent(EventHandle event) {
    std::lock_guard lock(g_event_mutex);
    if (const auto found = Events().find(event); found != Events().end()) {
        close(found->second);
        Events().erase(found);
    }
}

std::uint32_t GetLastSystemError() {
    return t_last_error;
}

namespace test {

void SetNativeLastError(std::uint32_t error) {
    t_last_error = error;
}

void FailNextEventCreation() {
    FailEventCreation(0, t_last_error);
}

void FailEventCreation(std::size_t behind, std::uint32_t error) {
    std::lock_guard lock(g_event_mutex);
    g_refused_creation = RefusedCreation{behind, error};
}

std::size_t NativeEventsMade() {
    std::lock_guard lock(g_event_mutex);
    return g_events_made;
}

void RecordNativeSignals(std::vector<EventHandle>* signals) {
    std::lock_guard lock(g_event_mutex);
    g_signals = signals;
}

void ForceNextWaitForEither(std::uint32_t result, std::uint32_t error) {
    std::lock_guard lock(g_event_mutex);
    g_forced_wait = ForcedWait{result, error};
}

int NativeEventDescriptor(EventHandle event) {
    std::lock_guard lock(g_event_mutex);
    const auto found = Events().find(event);
    return found == Events().end() ? -1 : found->second;
}

std::size_t NativeOpenEvents() {
    std::lock_guard lock(g_event_mutex);
    return Events().size();
}

}  // namespace test
}  // namespace vdipc
