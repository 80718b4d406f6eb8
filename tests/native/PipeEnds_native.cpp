#include "native/NativeSeam.h"
#include "support/PipeEnds.h"

#include <atomic>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vdipc::test {
namespace {

using Clock = std::chrono::steady_clock;

class SocketClientEnd : public ClientEnd {
public:
    explicit SocketClientEnd(int socket) : socket_(socket) {}
    ~SocketClientEnd() override { Close(); }

    bool Write(const std::string& bytes, std::chrono::milliseconds timeout) override {
        const auto deadline = Clock::now() + timeout;
        std::size_t sent = 0;
        while (sent < bytes.size() && Wait(POLLOUT, deadline)) {
            const ssize_t done =
                send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (done < 0) {
                return false;
            }
            sent += static_cast<std::size_t>(done);
        }
        return sent == bytes.size();
    }

    std::string Read(std::size_t count, std::chrono::milliseconds timeout) override {
        const auto deadline = Clock::now() + timeout;
        std::string bytes(count, '\0');
        std::size_t got = 0;
        while (got < count && Wait(POLLIN, deadline)) {
            const ssize_t done = recv(socket_, bytes.data() + got, count - got, MSG_DONTWAIT);
            if (done <= 0) {
                closed_by_other_ = true;
                break;
            }
            got += static_cast<std::size_t>(done);
        }
        bytes.resize(got);
        return bytes;
    }

    void Close() override {
        if (const int socket = socket_.exchange(-1); socket >= 0) {
            close(socket);
        }
    }

private:
    bool Wait(short what, Clock::time_point deadline) const {
        pollfd descriptor = {socket_, what, 0};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        return poll(&descriptor, 1, left > 0 ? static_cast<int>(left) : 0) > 0;
    }

    std::atomic<int> socket_;
};

class SocketPair : public PipePair {
public:
    SocketPair() {
        int ends[2] = {-1, -1};
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends);
        server = reinterpret_cast<PipeHandle>(static_cast<std::intptr_t>(ends[0]));
        client = std::make_unique<SocketClientEnd>(ends[1]);
    }
    ~SocketPair() override { CloseServer(); }

    void CloseServer() override {
        if (server != InvalidPipeHandle()) {
            CloseServerEnd(server);
            server = InvalidPipeHandle();
        }
    }
};

}  // namespace

std::unique_ptr<PipePair> MakePipePair() {
    return std::make_unique<SocketPair>();
}

bool CloseServerEnd(PipeHandle server) {
    return close(static_cast<int>(reinterpret_cast<std::intptr_t>(server))) == 0;
}

bool WaitsForClient(PipeHandle server) {
    return NativeServerWaits(server);
}

std::unique_ptr<ClientEnd> OpenServerPipe(std::chrono::milliseconds timeout) {
    const int socket = OpenNativeServerPipe(static_cast<std::uint32_t>(timeout.count()));
    return socket < 0 ? nullptr : std::make_unique<SocketClientEnd>(socket);
}

}  // namespace vdipc::test
