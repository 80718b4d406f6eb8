// A teaching application's end of the pipe: connects and comes back, reads all the time, sends without waiting. Stands on
// the standard library alone.
#pragma once

#include "vdipc/client/Connection.h"
#include "vdipc/client/Messages.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace vdipc::client {

struct ClientOptions {
    std::string pipe_name = PipeName();
    /// How long Connect waits for the pipe.
    std::chrono::milliseconds connect_timeout{10000};
    /// How long the reply to the ping behind connecting may take. The library answers pings at once, whatever it does.
    std::chrono::milliseconds ping_timeout{5000};
    /// Whether a lost connection is made anew, for as long as it takes.
    bool reconnect = true;
    /// The pause between losing a connection and looking for the pipe again.
    std::chrono::milliseconds reconnect_pause{250};
    /// Bytes of frames that wait to be written. Above it Send refuses.
    std::size_t send_limit = std::size_t{1} << 20U;
};

enum class SendResult {
    Queued,        // it goes out in its turn
    Full,          // the library's side doesn't take what waits already: wait, or send less
    NotConnected,  // nothing is kept for the next connection: questions of a lost one are mostly over
    Invalid        // the command can't be said in the protocol: see ToJson
};

/// The connection is gone. `unsent` frames were queued and not written.
struct ConnectionLost {
    std::string reason;
    std::size_t unsent = 0;
};

/// It is there again. The library keeps receivers, questions and keypads as they were, and sends what came up meanwhile.
struct ConnectionBack {};

/// No further tries: the pipe was opened, and nobody serves it (see ConnectResult::NotServed).
struct ConnectionGivenUp {
    ConnectResult result = ConnectResult::NotServed;
};

/// One thing that has come. `frame` is as it came over the pipe, empty where nothing came.
struct Incoming {
    std::variant<Event, ConnectionLost, ConnectionBack, ConnectionGivenUp> what;
    Frame frame;

    /// The event of this type, or null.
    template <typename Type>
    const Type* As() const {
        const Event* const event = std::get_if<Event>(&what);
        return event == nullptr ? nullptr : std::get_if<Type>(event);
    }
};

/// Any thread may call any operation. A thread of its own reads without a pause, so the library never queues for a slow
/// application; what Next hasn't taken yet waits here, and Waiting tells how much that is.
class Client {
public:
    explicit Client(ClientOptions options = {});
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    /// As Close.
    ~Client();

    /// Waits for the pipe, opens it, and pings once: Connected means that the library answers. Ends at once when another
    /// thread calls Close.
    ConnectResult Connect();
    /// The system's words about the last failure.
    std::string LastError() const;
    bool IsConnected() const;

    /// Queues one frame. Never blocks.
    SendResult Send(const Command& command);
    SendResult SendJson(const std::string& json);
    /// Bytes as they stand, in one write. For tests of a library, not for lessons.
    SendResult SendBytes(std::string bytes);
    /// Bytes that are queued and not yet written.
    std::size_t Unsent() const;
    /// Waits until everything that was queued is written, whatever becomes of the connection behind that; false when the
    /// time is over, or some of it is lost with the connection.
    bool Flush(std::chrono::milliseconds timeout);

    /// Sends a ping, waits for its reply, and says how long that took; nothing when none came in time. When it has come,
    /// everything that the library had sent before is in Next.
    std::optional<std::chrono::duration<double, std::milli>>
    Ping(std::chrono::milliseconds timeout = std::chrono::seconds(5));

    /// The next thing that has come, waiting for it so long at most; nothing when the time is over, and when nothing more
    /// can come: after Close, and once there are no further tries.
    std::optional<Incoming> Next(std::chrono::milliseconds timeout = kForever);
    /// How many things have come and weren't taken.
    std::size_t Waiting() const;

    /// Hangs up. What isn't written yet is thrown away: Flush first. Frees whoever waits in another operation.
    void Close();

private:
    class Engine;
    std::unique_ptr<Engine> engine_;
};

}  // namespace vdipc::client
