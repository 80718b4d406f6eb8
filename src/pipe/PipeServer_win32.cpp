#include "pipe/PipeServer.h"

#include "common/Log.h"
#include "pipe/OverlappedOperation_win32.h"

#include <windows.h>

#include <utility>

namespace vdipc {
namespace {

constexpr DWORD kBufferSize = 524288;
constexpr DWORD kPipeMode = PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_ACCEPT_REMOTE_CLIENTS;
static_assert((PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED) == 0x40000003 && kPipeMode == 0);

}  // namespace

void PipeServer::CreateServerPipe() {
    VD_LOG(LogLevel::Trace, "{}:{} CreateServerPipe begin");
    pipe_ = CreateNamedPipeA(kPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, kPipeMode,
                             PIPE_UNLIMITED_INSTANCES, kBufferSize, kBufferSize, 0, nullptr);
    if (pipe_ == InvalidPipeHandle()) {
        VD_LOG(LogLevel::Warn, "{}:{} CreateNamedPipe failed:{}", GetLastError());
    }
    VD_LOG(LogLevel::Trace, "{}:{} CreateServerPipe end");
}

bool PipeServer::Connect() {
    VD_LOG(LogLevel::Trace, "{}:{} Connect begin");
    if (pipe_ == InvalidPipeHandle()) {
        CreateServerPipe();
    }
    auto operation = std::make_unique<OverlappedOperation>();
    connect_event_ = CreateAutoResetEvent();
    operation->overlapped.hEvent = connect_event_;
    bool connected = ConnectNamedPipe(pipe_, &operation->overlapped) != FALSE;
    if (!connected) {
        const DWORD error_code = GetLastError();
        if (error_code == ERROR_PIPE_CONNECTED) {
            // A client that was quicker than this call is not served, and nobody is told: no success.
            operation.reset();
        } else if (error_code == ERROR_IO_PENDING) {
            WaitForEvent(connect_event_, kWaitForever);
            DWORD transferred = 0;
            connected = GetOverlappedResult(pipe_, &operation->overlapped, &transferred, FALSE) != FALSE;
            if (!connected) {
                VD_LOG(LogLevel::Warn, "{}:{} ConnectNamedPipe failed after GetOverlappedResult:{}",
                       GetLastError());
            }
        } else {
            VD_LOG(LogLevel::Warn, "{}:{} ConnectNamedPipe failed:{}", error_code);
            operation.reset();
        }
    }
    if (connected) {
        VD_LOG(LogLevel::Info, "{}:{} Connect ConnectNamedPipe success, create PipeIO");
        CreatePipeIO();
    }
    CloseEvent(connect_event_.exchange(nullptr));
    ReleaseOperation(std::move(operation));
    VD_LOG(LogLevel::Trace, "{}:{} Connect end");
    return connected;
}

void PipeServer::Disconnect() {
    VD_LOG_ENTRY();
    // Frees a Connect that waits on another thread; the event is closed there.
    if (const EventHandle event = connect_event_) {
        SignalEvent(event);
    }
    DeletePipeIO();
    // Taken at once: of two callers at a time one closes the handle.
    if (const PipeHandle pipe = pipe_.exchange(InvalidPipeHandle()); pipe != InvalidPipeHandle()) {
        DisconnectNamedPipe(pipe);
        CloseHandle(pipe);
    }
}

}  // namespace vdipc
