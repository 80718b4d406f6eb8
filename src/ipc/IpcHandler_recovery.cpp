// A client that falls silent, and a client that goes.
#include "common/Log.h"
#include "ipc/IpcHandler.h"

namespace vdipc {

namespace {

constexpr std::uint32_t kPingTimeout = 3000;  // milliseconds

}  // namespace

void IpcHandler::OnIpcPingreceived() {
    VD_LOG_ENTRY();
    if (ping_listening_stop_event_ == nullptr) {
        // Unarmed on purpose: given to a thread, the watchdog would end the host of every client that doesn't ping.
        [[maybe_unused]] const Task watchdog = [this] { ListenPing(); };
    } else {
        VD_LOG(LogLevel::Debug, "{}:{} ping received, set event");
        SignalEvent(ping_received_event_);
    }
}

void IpcHandler::ListenPing() {
    ping_received_event_ = CreateAutoResetEvent();
    ping_listening_stop_event_ = CreateAutoResetEvent();
    if (ping_received_event_ == nullptr || ping_listening_stop_event_ == nullptr) {
        VD_LOG(LogLevel::Warn, "{}:{} CreateEvent failed error={}", GetLastSystemError());
        return;
    }
    // "exit process" means no more than the call of the quit callback: how the host ends is its own affair.
    const auto quit = [this] {
        if (quit_callback_) {
            quit_callback_();
        }
    };
    std::uint32_t result = kWaitSignalled;
    while ((result = WaitForEitherEvent(ping_received_event_, ping_listening_stop_event_, kPingTimeout)) ==
           kWaitSignalled) {
        VD_LOG(LogLevel::Debug, "{}:{} ping_received_event_ set, continue");
    }
    if (result == kWaitSignalled + 1) {
        VD_LOG(LogLevel::Debug, "{}:{} ping_listening_stop_event_ set, stop");
    } else if (result == kWaitTimeout) {
        VD_LOG(LogLevel::Debug, "{}:{} WaitForMultipleObjects result=WAIT_TIMEOUT, exit process");
        CTrackwire record;
        record.Push(action_key_, listening_ping_timeout_key_);
        SendTrackwire(record);
        quit();
    } else if (result == kWaitFailed) {
        VD_LOG(LogLevel::Warn, "{}:{} WaitForMultipleObjects result=WAIT_FAILED, error={}, exit process",
               GetLastSystemError());
        quit();
    } else {
        VD_LOG(LogLevel::Debug, "{}:{} WaitForMultipleObjects result={}, exit process", result);
        quit();
    }
    CloseEvent(ping_received_event_);
    CloseEvent(ping_listening_stop_event_);
    ping_received_event_ = nullptr;
    ping_listening_stop_event_ = nullptr;
}

void IpcHandler::OnIpcReadError() {
    VD_LOG_ENTRY();
    // A task, because Disconnect joins the reader thread, on which this runs.
    PostTask([this] {
        PipeServer* const pipe_server = pipe_server_;
        if (pipe_server == nullptr) {
            return;
        }
        pipe_server->Disconnect();
        pipe_server->Connect();
        VD_LOG(LogLevel::Debug, "{}:{} IPC connected");
    });
}

}  // namespace vdipc
