// The server's end of the pipe over a pair of sockets: an instance exists from its creation, and one client can take it.
#include "common/Log.h"
#include "native/NativeSeam.h"
#include "pipe/PipeServer.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

#include <sys/socket.h>
#include <unistd.h>

namespace vdipc {
namespace {

struct Instance {
    int server = -1;
    int client = -1;
    bool taken = false;
    EventHandle connect_event = nullptr;  // of the connection that is waited for
};

std::mutex g_mutex;
std::condition_variable g_changed;
std::map<PipeHandle, Instance> g_instances;
std::atomic<std::uint32_t> g_creation_error{0};

}  // namespace

void PipeServer::CreateServerPipe() {
    VD_LOG(LogLevel::Trace, "{}:{} CreateServerPipe begin");
    int ends[2] = {-1, -1};
    const std::uint32_t error = g_creation_error.exchange(0);
    if (error != 0 || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        pipe_ = InvalidPipeHandle();
        VD_LOG(LogLevel::Warn, "{}:{} CreateNamedPipe failed:{}", error);
    } else {
        std::lock_guard lock(g_mutex);
        pipe_ = reinterpret_cast<PipeHandle>(static_cast<std::intptr_t>(ends[0]));
        g_instances[pipe_] = {ends[0], ends[1], false, nullptr};
        g_changed.notify_all();
    }
    VD_LOG(LogLevel::Trace, "{}:{} CreateServerPipe end");
}

bool PipeServer::Connect() {
    VD_LOG(LogLevel::Trace, "{}:{} Connect begin");
    if (pipe_ == InvalidPipeHandle()) {
        CreateServerPipe();
    }
    connect_event_ = CreateAutoResetEvent();
    bool connected = false;
    std::unique_lock lock(g_mutex);
    const auto found = g_instances.find(pipe_);
    if (found == g_instances.end()) {
        VD_LOG(LogLevel::Warn, "{}:{} ConnectNamedPipe failed:{}", 6);
    } else if (!found->second.taken) {
        found->second.connect_event = connect_event_;
        lock.unlock();
        WaitForEvent(connect_event_, kWaitForever);
        lock.lock();
        const auto again = g_instances.find(pipe_);
        connected = again != g_instances.end() && again->second.taken;
        if (!connected) {
            VD_LOG(LogLevel::Warn, "{}:{} ConnectNamedPipe failed after GetOverlappedResult:{}", 996);
        }
    }
    lock.unlock();
    if (connected) {
        VD_LOG(LogLevel::Info, "{}:{} Connect ConnectNamedPipe success, create PipeIO");
        CreatePipeIO();
    }
    CloseEvent(connect_event_.exchange(nullptr));
    VD_LOG(LogLevel::Trace, "{}:{} Connect end");
    return connected;
}

void PipeServer::Disconnect() {
    VD_LOG_ENTRY();
    if (const EventHandle event = connect_event_) {
        SignalEvent(event);
    }
    DeletePipeIO();
    if (const PipeHandle pipe = pipe_.exchange(InvalidPipeHandle()); pipe != InvalidPipeHandle()) {
        std::lock_guard lock(g_mutex);
        const auto found = g_instances.find(pipe);
        close(found->second.server);
        if (!found->second.taken) {
            close(found->second.client);
        }
        g_instances.erase(found);
    }
}

namespace test {

void FailNextServerPipe(std::uint32_t error) {
    g_creation_error = error;
}

bool NativeServerWaits(PipeHandle pipe) {
    std::lock_guard lock(g_mutex);
    const auto found = g_instances.find(pipe);
    return found != g_instances.end() && found->second.connect_event != nullptr && !found->second.taken;
}

int OpenNativeServerPipe(std::uint32_t milliseconds) {
    std::unique_lock lock(g_mutex);
    Instance* free = nullptr;
    g_changed.wait_for(lock, std::chrono::milliseconds(milliseconds), [&free] {
        for (auto& [handle, instance] : g_instances) {
            if (!instance.taken) {
                free = &instance;
                return true;
            }
        }
        return false;
    });
    if (free == nullptr) {
        return -1;
    }
    free->taken = true;
    if (free->connect_event != nullptr) {
        SignalEvent(free->connect_event);
    }
    return free->client;
}

}  // namespace test
}  // namespace vdipc
