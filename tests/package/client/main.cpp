// Brings the receivers up, asks nothing, and lets the host end. Each line that it prints is looked for.
#include <vdipc/client/Connection.h>
#include <vdipc/client/Frame.h>

#include <chrono>
#include <cstdio>

namespace {

using namespace std::chrono_literals;

/// The next frame of which the predicate holds; false where none comes.
template <typename Predicate>
bool WaitFor(vdipc::client::Connection& connection, vdipc::client::Frame& frame, Predicate holds) {
    while (connection.Read(frame, 20s)) {
        if (holds(frame)) {
            return true;
        }
    }
    std::printf("nothing came: %s\n", connection.LastError().c_str());
    return false;
}

}  // namespace

int main() {
    using namespace vdipc::client;
    Connection connection;
    const ConnectResult result = connection.Open(30s);
    if (result != ConnectResult::Connected) {
        std::printf("%s\n", Describe(result).c_str());
        return 1;
    }
    Frame frame;
    if (!connection.Write(PingBytes()) || !WaitFor(connection, frame, IsPingReply)) {
        return 1;
    }
    std::puts("the ping was answered");
    connection.Write(JsonFrameBytes(R"({"command": "init", "preferred-device-type": "non-audio"})"));
    if (!WaitFor(connection, frame, IsMessage)) {
        return 1;
    }
    std::printf("%s\n", frame.payload.c_str());
    connection.Write(JsonFrameBytes(R"({"command": "quit"})"));
    WaitFor(connection, frame, [](const Frame&) { return false; });
    return 0;
}
