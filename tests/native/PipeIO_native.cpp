// One overlapped operation over a socket: what is there at once completes at once, everything else waits for the socket
// or for the event, whichever comes first.
#include "common/Log.h"
#include "native/NativeSeam.h"
#include "pipe/PipeIO.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

namespace vdipc {
namespace {

constexpr std::uint32_t kIoPending = 997;
constexpr std::uint32_t kBrokenPipe = 109;
constexpr std::uint32_t kNoData = 232;

std::atomic<std::size_t> g_pipe_waits{0};

int Descriptor(PipeHandle pipe) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(pipe));
}

/// True when the socket is ready, false when the event was signalled or is none.
bool WaitForSocket(int socket, short what, EventHandle event) {
    pollfd descriptors[] = {{socket, what, 0}, {test::NativeEventDescriptor(event), POLLIN, 0}};
    if (descriptors[1].fd < 0) {
        return false;
    }
    while (poll(descriptors, 2, -1) < 0 && errno == EINTR) {
    }
    return descriptors[1].revents == 0;
}

}  // namespace

std::size_t test::NativePipeWaits() {
    return g_pipe_waits;
}

PipeHandle InvalidPipeHandle() {
    return reinterpret_cast<PipeHandle>(std::intptr_t{-1});
}

std::uint32_t PipeIO::Read(std::vector<char>& buffer) {
    std::vector<char> operation_buffer = std::move(buffer);
    read_event_ = CreateAutoResetEvent();
    std::uint32_t transferred = 0;
    if (pipe_ == InvalidPipeHandle()) {
        VD_LOG(LogLevel::Warn, "{}:{} invalid pipe handle");
    } else {
        const auto receive = [this, &operation_buffer] {
            return recv(Descriptor(pipe_), operation_buffer.data(), operation_buffer.size(), MSG_DONTWAIT);
        };
        ssize_t got = receive();
        if (got > 0) {
            transferred = static_cast<std::uint32_t>(got);
        } else if (got == 0 || errno != EAGAIN) {
            VD_LOG(LogLevel::Warn, "{}:{} ReadFile failed, error_code={}", kBrokenPipe);
        } else {
            ++g_pipe_waits;
            const bool ready = running_ && WaitForSocket(Descriptor(pipe_), POLLIN, read_event_);
            got = ready ? receive() : -1;
            if (got > 0) {
                transferred = static_cast<std::uint32_t>(got);
            } else {
                VD_LOG(LogLevel::Warn, "{}:{} GetOverlappedResult failed, error_code={}", kIoPending);
            }
        }
    }
    CloseEvent(read_event_.exchange(nullptr));
    if (transferred > 0) {
        buffer = std::move(operation_buffer);
    }
    return transferred;
}

std::uint32_t PipeIO::Write(std::vector<char>& buffer) {
    const auto count = static_cast<std::uint32_t>(buffer.size());
    write_event_ = CreateAutoResetEvent();
    std::uint32_t transferred = 0;
    if (pipe_ == InvalidPipeHandle()) {
        VD_LOG(LogLevel::Warn, "{}:{} invalid pipe handle");
    } else {
        const char* const bytes = buffer.data();
        bool pending = false;
        while (transferred < count) {
            const ssize_t sent = send(Descriptor(pipe_), bytes + transferred, count - transferred,
                                      MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent >= 0) {
                transferred += static_cast<std::uint32_t>(sent);
                continue;
            }
            const bool broken = errno != EAGAIN;
            if (broken && !pending && transferred == 0) {
                VD_LOG(LogLevel::Warn, "{}:{} WriteFile failed, error_code={}", kNoData);
            } else if (broken || !running_ || !WaitForSocket(Descriptor(pipe_), POLLOUT, write_event_)) {
                VD_LOG(LogLevel::Warn, "{}:{} GetOverlappedResult failed, error_code={}",
                       broken ? kBrokenPipe : std::uint32_t{996});
            } else {
                pending = true;
                continue;
            }
            transferred = 0;
            break;
        }
    }
    CloseEvent(write_event_.exchange(nullptr));
    return transferred;
}

}  // namespace vdipc
