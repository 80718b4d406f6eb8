#include "ipc/LogFile.h"

#include "common/AppendFile.h"
#include "common/HostPath.h"
#include "common/Log.h"
#include "drivers/closed/VoteDeck.h"

#include <atomic>
#include <cstdio>
#include <cstring>

namespace vdipc {
namespace {

constexpr std::size_t kLongestLine = 16384;

// Set once, never closed: the end of the process releases it. May be the invalid handle, and writes then fail.
std::atomic<FileHandle> log_file_{nullptr};

std::uint32_t BoundedLength(const char* text) {
    if (text == nullptr) {
        return 0;
    }
    const void* const end = std::memchr(text, '\0', kLongestLine);
    return static_cast<std::uint32_t>(
        end == nullptr ? kLongestLine : static_cast<std::size_t>(static_cast<const char*>(end) - text));
}

}  // namespace

std::string MakeLogFileName(const LocalTime& time) {
    char date[64] = {};
    std::snprintf(date, sizeof date, "%d.%02d.%02d", time.year, time.month, time.day);
    return std::string("vote_deck.") + date + ".log";
}

void WriteLogLine(std::int32_t /*level*/, const char* text) {
    // Two writes, each appended as a whole: a line of another thread can fall between text and line end.
    AppendToFile(log_file_, text, BoundedLength(text));
    AppendToFile(log_file_, "\r\n", 2);
}

void OpenLogFile() {
    const std::string name = MakeLogFileName(GetLocalTimeNow());
    const std::string directory = DirectoryWithBackslash(GetHostExecutablePath());
    log_file_ = OpenAppendFile(directory + name);
    ExchangeLogHandler(&WriteLogLine);
    InstallVoteDeckLogHandler(&WriteLogLine);
}

}  // namespace vdipc
