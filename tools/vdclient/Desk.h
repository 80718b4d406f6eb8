// The teacher's desk: keeps a connection to the library, and serves the page that sends commands and shows events.
#pragma once

#include "tools/page/PageServer.h"
#include "tools/vdclient/CommandCheck.h"
#include "tools/vdclient/DeskLog.h"

#include "vdipc/client/Connection.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

namespace vdipc::tools {

/// Never destroyed once it listens: its threads run until the process ends.
class Desk {
public:
    /// `classroom` tells the port of the simulated classroom, or 0 where there is none.
    explicit Desk(std::function<int()> classroom);

    /// Returns the port. Raises std::runtime_error where it is taken.
    int Listen(int wanted_port);
    /// Connects, and connects again whenever the connection is lost; never returns.
    [[noreturn]] void Run();

private:
    void AddRoutes();
    void ReadUntilLost();
    void PingWhileOpen();
    void SendCommand(const std::string& json);
    /// Ends the connection, or lets it be made again.
    void Want(bool wanted);
    void Tell(const char* state, const std::string& words);

    const std::function<int()> classroom_;
    const CommandCheck check_;
    DeskLog log_;
    page::PageServer server_;

    client::Connection connection_;
    // Guards the connection's making and end against whoever writes.
    std::mutex writing_;

    std::mutex mutex_;  // guards all below
    std::condition_variable changed_;
    bool wanted_ = true;
    bool open_ = false;
    Json::Value status_;
    std::chrono::steady_clock::time_point ping_sent_;
};

}  // namespace vdipc::tools
