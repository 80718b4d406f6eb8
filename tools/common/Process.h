// A child process with its standard streams in our hands.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vdipc::tools {

struct ProcessOptions {
    std::wstring executable;                         // full path
    std::vector<std::string> arguments;              // UTF-8
    std::wstring directory;                          // working directory; empty: ours
    std::map<std::string, std::string> environment;  // added to ours
    /// Called on a reader thread for each line (UTF-8, without line end) of standard output.
    std::function<void(const std::string&)> on_output;
    /// The same for standard error; ours when empty.
    std::function<void(const std::string&)> on_error;
};

/// Ends with the object: a child that still runs is terminated, and only that one.
class Process {
public:
    /// Raises std::runtime_error with the system's words when the child can't be started.
    explicit Process(const ProcessOptions& options);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    bool WriteLine(const std::string& line);
    void CloseInput();
    /// Ends the child at once, as a crash would.
    void Kill();
    bool IsRunning() const;
    /// True when it has ended in time; the exit code is then known and all output has been handed over.
    bool Wait(std::uint32_t timeout_ms);
    std::uint32_t ExitCode() const;
    std::uint32_t Id() const;

private:
    struct Handles;
    std::unique_ptr<Handles> handles_;
};

}  // namespace vdipc::tools
