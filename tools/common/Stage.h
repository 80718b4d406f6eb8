// A directory of its own for one run of the host: copies of vdhost.exe, VDIPC.dll and the libraries, so that log file,
// devices.json and telemetry of runs don't mix.
#pragma once

#include "tools/common/ClassroomClient.h"
#include "tools/common/Process.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
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

/// A running vdhost.exe and the classroom inside it.
class Host {
public:
    /// Raises std::runtime_error when the host or its classroom doesn't come up within 30 seconds.
    explicit Host(const HostOptions& options);

    Process& TheProcess() { return *process_; }
    ClassroomClient& Classroom() { return *classroom_; }
    int ClassroomPort() const { return port_; }

private:
    std::unique_ptr<Process> process_;
    std::unique_ptr<ClassroomClient> classroom_;
    int port_ = 0;
};

}  // namespace vdipc::tools
