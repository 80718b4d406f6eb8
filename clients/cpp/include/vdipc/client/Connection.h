// One connection to the library's pipe: bytes out, frames in. Stands on the standard library alone; Client.h has what
// most programs want.
#pragma once

#include "vdipc/client/Frame.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace vdipc::client {

/// What came of trying to connect.
enum class ConnectResult {
    Connected,
    NobodyServes,   // no such pipe until the end of the time
    AnotherClient,  // the one instance was held by somebody else until the end of the time
    NotServed,      // connected, but no ping is answered: the host must be started again
    Cancelled,      // somebody called Cancel
    Failed          // the system refuses; LastError has its words
};

/// A sentence for the user that says what to do.
std::string Describe(ConnectResult result);

/// The name of the library's pipe.
std::string PipeName();

/// The system's words for one of its error numbers, in UTF-8, with the number behind them.
std::string SystemErrorText(std::uint32_t error);

inline constexpr std::chrono::milliseconds kForever = std::chrono::milliseconds::max();

/// One thread may read while others write.
class Connection {
public:
    explicit Connection(std::string pipe_name = PipeName());
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// Waits for the pipe, so long at most. Looks for a free instance without touching it, and opens it a moment (see
    /// kSettle) after it was first seen: the library can't serve a client that comes between the making of the pipe and
    /// its wait for one, nor anybody after that one.
    ConnectResult Open(std::chrono::milliseconds timeout);
    /// What the system said of the last failure.
    std::string LastError() const;

    /// Writes all bytes with one write, and returns when the library's side has taken them. False when the connection is
    /// gone, or the time is over; a frame that was half taken can't be mended, so close it then.
    bool Write(const std::string& bytes, std::chrono::milliseconds timeout = kForever);
    /// Reads one whole frame; false when the connection is gone, nothing came in time, or what came is no frame. What came
    /// of a frame before the end of the time is kept for the next Read.
    bool Read(Frame& frame, std::chrono::milliseconds timeout = kForever);
    /// Makes an Open, a Read or a Write on another thread return, and all that follow until Close.
    void Cancel();
    /// Not while another thread is in one of the others.
    void Close();
    bool IsOpen() const;

    /// The moment that a pipe which has come into being is given. The library needs well below a millisecond, and some
    /// more where the machine is busy.
    static constexpr std::chrono::milliseconds kSettle{60};
    /// The pause between two looks at the pipe. Looking doesn't open it.
    static constexpr std::chrono::milliseconds kLookAgain{20};

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vdipc::client
