// The server end of the one named pipe: one client at a time, frames told apart, pings answered on the spot.
#pragma once

#include "common/Event.h"
#include "pipe/PipeData.h"
#include "pipe/PipeIO.h"

#include <atomic>
#include <functional>
#include <string>

namespace vdipc {

inline constexpr char kPipeName[] = "\\\\.\\pipe\\zq-vote-deck-D27DFDD9-E25D-4976-A4D3-6179C2000B4C";

/// Has no policy of reconnecting: after a read failure the handler calls Disconnect and then Connect.
class PipeServer {
public:
    using MsgCallback = std::function<void(const std::string&)>;
    using PingCallback = std::function<void()>;
    using ReadErrorCallback = std::function<void()>;

    /// All three callbacks run on the reader thread of the connection. Touches no system object.
    PipeServer(MsgCallback msg_callback, PingCallback ping_callback, ReadErrorCallback read_error_callback);
    PipeServer(const PipeServer&) = delete;
    PipeServer& operator=(const PipeServer&) = delete;
    /// Closes no pipe handle: Disconnect has to come first.
    virtual ~PipeServer();

    /// Blocks without time-out until a client comes or Disconnect releases it. True when a client is now served.
    bool Connect();
    /// Any thread. Frees a waiting Connect, drops the client, closes the pipe instance. Repeatable.
    void Disconnect();
    /// Queues one JSON frame. Any thread; lost without a word while no client is served.
    void SendMsg(const std::string& msg);

private:
    friend struct PipeServerAccess;

    void CreateServerPipe();
    /// The connection's PipeIO on pipe_, in place of any old one.
    void CreatePipeIO();
    /// Takes the PipeIO out of its field and deletes it, which ends its threads.
    void DeletePipeIO();
    void OnPipeDataReceived(const PipeData& data);

    // The instance; the invalid handle when none exists. Disconnect and Connect may meet here, without a lock.
    std::atomic<PipeHandle> pipe_{InvalidPipeHandle()};
    std::atomic<EventHandle> connect_event_{nullptr};
    // Owned; null while no client is served. Nulled before deletion, and tested without a lock just before use.
    std::atomic<PipeIO*> pipe_io_{nullptr};
    MsgCallback msg_callback_;
    PingCallback ping_callback_;
    ReadErrorCallback read_error_callback_;
};

}  // namespace vdipc
