// Unnamed auto-reset events of the system. The handle is the system's own, so that it can go into an overlapped
// record; null means none. Nothing here owns a handle: whoever creates one closes it.
#pragma once

#include <cstdint>

namespace vdipc {

using EventHandle = void*;

inline constexpr std::uint32_t kWaitForever = 0xFFFFFFFFu;

/// Results of a wait, the system's own numbers.
inline constexpr std::uint32_t kWaitSignalled = 0;
inline constexpr std::uint32_t kWaitTimeout = 258;
inline constexpr std::uint32_t kWaitFailed = 0xFFFFFFFFu;

/// A new auto-reset event, not signalled; null when the system has none to give.
EventHandle CreateAutoResetEvent();

/// Signals the event. False for a null or closed handle.
bool SignalEvent(EventHandle event);

/// Waits for one event, in milliseconds. A null handle fails at once.
std::uint32_t WaitForEvent(EventHandle event, std::uint32_t milliseconds);

/// Waits for either of two events; the result is 0 or 1 for the one that is signalled.
std::uint32_t WaitForEitherEvent(EventHandle first, EventHandle second, std::uint32_t milliseconds);

/// Closes the handle; null is ignored.
void CloseEvent(EventHandle event);

/// The calling thread's last system error number.
std::uint32_t GetLastSystemError();

}  // namespace vdipc
