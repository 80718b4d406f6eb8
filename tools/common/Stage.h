// A directory of its own for one run of the host: copies of vdhost.exe, VDIPC.dll and the libraries, so that log file,
// devices.json and telemetry of runs don't mix.
#pragma once

#include "tools/common/ClassroomClient.h"
#include "tools/common/Process.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace vdipc::tools {

/// Makes the directory with all missing levels and fills it. `source` is where the built files lie.
void PrepareStage(const std::wstring& source, const std::wstring& directory);

/// Whole text of a file, or empty when there is none.
std::string ReadWholeFile(const std::wstring& path);

/// The day's log file in a stage, whatever the date; empty when there is none.
std::wstring FindLogFile(const std::wstring& directory);

struct HostOptions {
    std::wstring directory;  // a prepared stage; also the host's working directory
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;
    std::function<void(const std::string&)> on_output;
    std::function<void(const std::string&)> on_error;
};

/// A host has said its last word, and its process goes on all the same. Under Wine one in some hundred does so.
class HungAtItsEnd : public std::runtime_error {
public:
    HungAtItsEnd() : std::runtime_error("vdhost.exe hangs at its very end, behind its last word") {}
};

/// A running vdhost.exe and the classroom inside it.
class Host {
public:
    /// Raises std::runtime_error when the host or its classroom doesn't come up within 30 seconds.
    explicit Host(const HostOptions& options);

    Process& TheProcess() { return *process_; }
    /// Waits for the host's end; false when it runs on. Raises HungAtItsEnd where nothing is missing but the end of the
    /// process itself: the host has said that it has stopped, or its run-time library that it terminates.
    bool WaitForEnd(std::uint32_t timeout_ms);
    ClassroomClient& Classroom() { return *classroom_; }
    int ClassroomPort() const { return port_; }

private:
    std::atomic<bool> last_word_{false};
    std::unique_ptr<Process> process_;
    std::unique_ptr<ClassroomClient> classroom_;
    int port_ = 0;
};

}  // namespace vdipc::tools
