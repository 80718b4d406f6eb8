// What tests may set in the doubles of the platform seam. Only native builds have it.
#pragma once

#include "common/Clock.h"
#include "common/Event.h"
#include "common/Guid.h"
#include "pipe/PipeIO.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vdipc::test {

/// A standing clock; nothing gives the real one back.
void SetNativeLocalTime(std::optional<LocalTime> time);
/// No sleep of the library's takes longer than this from now on.
void SetNativeLongestSleep(std::uint32_t milliseconds);
/// A number for the calling thread; nothing gives the real one back.
void SetNativeThreadNumber(std::optional<std::uint32_t> number);

/// Notes what each append to a file is given from now on, in order; null notes no more.
void RecordNativeAppends(std::vector<std::string>* appends);

/// The host's executable. At start it is "\host" in the folder of the test program.
void SetNativeHostPath(const std::string& path);

/// The next GUIDs; nothing gives random ones back.
void SetNativeGuid(const std::optional<Guid>& guid);
/// How many GUIDs were made so far.
std::size_t NativeGuidsMade();

/// What GetLastSystemError gives on this thread.
void SetNativeLastError(std::uint32_t error);

/// The descriptor of an event, readable while the event is signalled; -1 when it is null or closed.
int NativeEventDescriptor(EventHandle event);
/// Events that were created and not closed.
std::size_t NativeOpenEvents();
/// Events that were created so far.
std::size_t NativeEventsMade();
/// Notes each event that is signalled from now on, in order; null notes no more.
void RecordNativeSignals(std::vector<EventHandle>* signals);

/// How often a reader has found its pipe empty, and waited for more.
std::size_t NativePipeWaits();

/// Lets the next creation of an event fail.
void FailNextEventCreation();
/// Lets one creation of an event fail, behind so many that succeed, with this error on its thread.
void FailEventCreation(std::size_t behind, std::uint32_t error);

/// Lets the next wait for either of two events end at once with this result, and with this error on its thread.
void ForceNextWaitForEither(std::uint32_t result, std::uint32_t error);

/// A number of processors in place of the machine's; nothing gives the real one back.
void SetNativeProcessorCount(std::optional<std::uint32_t> count);

/// The due time that the latest queue timer was created with, in milliseconds.
std::uint32_t NativeQueueTimerDue();
/// Lets the next creation or deletion of a queue timer fail with this error.
void FailNextQueueTimerCreation(std::uint32_t error);
void FailNextQueueTimerDeletion(std::uint32_t error);

/// Lets the next creation of the server's pipe fail with this error.
void FailNextServerPipe(std::uint32_t error);
/// Whether the server waits for a client on this instance.
bool NativeServerWaits(PipeHandle pipe);
/// Opens the client's end of the server's pipe: a connected socket, or -1 when there is no free instance within the
/// time.
int OpenNativeServerPipe(std::uint32_t milliseconds);

}  // namespace vdipc::test
