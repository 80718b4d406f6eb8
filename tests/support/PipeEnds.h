// The client's end of a pipe, and connected pairs for tests that need no server: real named pipes on Windows, sockets
// elsewhere.
#pragma once

#include "pipe/PipeIO.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vdipc::test {

inline constexpr std::chrono::milliseconds kPipePatience{30000};

/// One thread that writes and one that reads at a time; Close on any.
class ClientEnd {
public:
    virtual ~ClientEnd() = default;
    /// One write of the system; false when it didn't go through as a whole within the time.
    virtual bool Write(const std::string& bytes, std::chrono::milliseconds timeout = kPipePatience) = 0;
    /// Reads until there are so many bytes, the other end is gone, or the time is over; gives what came.
    virtual std::string Read(std::size_t count, std::chrono::milliseconds timeout = kPipePatience) = 0;
    /// Closes this end.
    virtual void Close() = 0;

    /// Whether the other end goes away within the time; what is still read on the way is lost.
    bool WaitClosed(std::chrono::milliseconds timeout = kPipePatience);
    /// Header and payload of the next frame as bytes; empty when none comes whole within the time.
    std::string ReadFrame(std::chrono::milliseconds timeout = kPipePatience);

protected:
    bool closed_by_other_ = false;
};

/// The server's end as a handle for PipeIO, and a client at its other end.
class PipePair {
public:
    virtual ~PipePair() = default;
    /// Disconnects and closes the server's end, as the owner of a handle does.
    virtual void CloseServer() = 0;

    PipeHandle server = nullptr;
    std::unique_ptr<ClientEnd> client;
};

std::unique_ptr<PipePair> MakePipePair();

/// Disconnects and closes a server's end; false for one that is closed already.
bool CloseServerEnd(PipeHandle server);

/// Opens the library's pipe; null when nobody serves it, or no instance is free, within the time.
std::unique_ptr<ClientEnd> OpenServerPipe(std::chrono::milliseconds timeout = kPipePatience);

/// Whether the system has been asked to wait for a client on this server's end: one that opens the pipe now is served.
bool WaitsForClient(PipeHandle server);

/// Bytes of a frame: the three numbers, then the payload.
std::string FrameBytes(std::int32_t type, std::int32_t length, std::int32_t command,
                       const std::string& payload = {});
/// A frame whose length is that of the payload.
std::string JsonFrame(const std::string& text, std::int32_t command = 2018);
std::string PingFrame();
std::string PingReplyFrame();

}  // namespace vdipc::test
