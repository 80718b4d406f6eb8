// The client end of the pipe: frames out, frames in. For tools and tests; any number of objects, one connection each.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace vdipc::tools {

/// One frame as it came over the pipe.
struct Frame {
    std::int32_t type = 0;
    std::int32_t command = 0;
    std::string payload;
};

/// The 12 bytes of the header and the payload behind them, as one text of bytes.
std::string FrameBytes(const Frame& frame);
/// A frame that holds a JSON text.
std::string JsonFrameBytes(const std::string& json);
/// The fixed frame of a ping.
std::string PingBytes();

enum class OpenResult {
    Open,
    NobodyServes,   // no such pipe until the deadline
    AnotherClient,  // the one instance was held by somebody else until the deadline
    Failed
};

class PipeClient {
public:
    PipeClient();
    PipeClient(const PipeClient&) = delete;
    PipeClient& operator=(const PipeClient&) = delete;
    ~PipeClient();

    /// Waits for the pipe, at most so many milliseconds. A pipe that has just come into being is given a moment before
    /// it is opened: the server can't serve a client that comes between the making of the pipe and its wait for one.
    OpenResult Open(std::uint32_t timeout_ms);
    /// What the system said of the last failure.
    std::string LastError() const;

    /// Writes all bytes with one write. False when the connection is gone.
    bool Write(const std::string& bytes);
    /// Reads one whole frame; false when the connection is gone or nothing came in time. Waits for ever by default.
    bool Read(Frame& frame, std::uint32_t timeout_ms = 0xFFFFFFFFu);
    /// Makes a Read that waits on another thread return false.
    void Cancel();
    void Close();
    bool IsOpen() const;

private:
    bool ReadExactly(void* buffer, std::size_t size, std::uint64_t deadline);

    struct Handles;
    std::unique_ptr<Handles> handles_;
    std::atomic<bool> cancelled_{false};
};

}  // namespace vdipc::tools
