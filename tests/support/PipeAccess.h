// Lets tests look into the pipe's classes, and call what only they themselves call.
#pragma once

#include "pipe/PipeIO.h"
#include "pipe/PipeServer.h"
#include "support/PipeEnds.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace vdipc {

struct PipeIOAccess {
    static bool Running(const PipeIO& io) { return io.running_; }
    static bool HasThreads(const PipeIO& io) { return io.read_thread_ || io.write_thread_; }
    /// No lock guards the two: what they say while Stop is at work is for waiting alone.
    static bool HasReadThread(const PipeIO& io) { return io.read_thread_ != nullptr; }
    static bool HasWriteThread(const PipeIO& io) { return io.write_thread_ != nullptr; }
    static EventHandle ReadEvent(const PipeIO& io) { return io.read_event_; }
    static EventHandle WriteEvent(const PipeIO& io) { return io.write_event_; }
    static std::size_t Queued(PipeIO& io) {
        std::lock_guard lock(io.mutex_);
        return io.send_queue_.size();
    }
    static std::uint32_t Write(PipeIO& io, const std::string& bytes) {
        std::vector<char> buffer(bytes.begin(), bytes.end());
        return io.Write(buffer);
    }
};

struct PipeServerAccess {
    static PipeHandle Pipe(const PipeServer& server) { return server.pipe_; }
    static PipeIO* Io(const PipeServer& server) { return server.pipe_io_; }
    static EventHandle ConnectEvent(const PipeServer& server) { return server.connect_event_; }
    /// Whether a client that opens the pipe now is served. The event alone, which comes first, doesn't tell.
    static bool WaitsForClient(const PipeServer& server) {
        return ConnectEvent(server) != nullptr && test::WaitsForClient(Pipe(server));
    }
    static void CreateServerPipe(PipeServer& server) { server.CreateServerPipe(); }
    static void OnPipeDataReceived(PipeServer& server, const PipeData& data) {
        server.OnPipeDataReceived(data);
    }
};

}  // namespace vdipc
