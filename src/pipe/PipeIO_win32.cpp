#include "pipe/PipeIO.h"

#include "common/Log.h"
#include "pipe/OverlappedOperation_win32.h"

#include <windows.h>

#include <utility>

namespace vdipc {

PipeHandle InvalidPipeHandle() {
    return INVALID_HANDLE_VALUE;
}

void PipeIO::WaitForOperation(const std::atomic<EventHandle>& event) {
    if (running_) {
        WaitForEvent(event, kWaitForever);
    }
}

std::uint32_t PipeIO::Read(std::vector<char>& buffer) {
    std::unique_ptr<OverlappedOperation> operation = TakeOperation();
    operation->buffer = std::move(buffer);
    const auto count = static_cast<DWORD>(operation->buffer.size());
    DWORD transferred = 0;
    operation->overlapped.hEvent = CreateAutoResetEvent();
    read_event_ = operation->overlapped.hEvent;
    if (pipe_ == InvalidPipeHandle()) {
        VD_LOG(LogLevel::Warn, "{}:{} invalid pipe handle");
    } else if (!ReadFile(pipe_, operation->buffer.data(), count, &transferred, &operation->overlapped)) {
        transferred = 0;
        const DWORD error_code = GetLastError();
        if (error_code != ERROR_IO_PENDING) {
            VD_LOG(LogLevel::Warn, "{}:{} ReadFile failed, error_code={}", error_code);
            operation.reset();
        } else {
            WaitForOperation(read_event_);
            DWORD completed = 0;
            if (GetOverlappedResult(pipe_, &operation->overlapped, &completed, FALSE)) {
                transferred = completed;
            } else {
                // The number is the pending state, on purpose, and not the reason.
                VD_LOG(LogLevel::Warn, "{}:{} GetOverlappedResult failed, error_code={}", error_code);
            }
        }
    }
    CloseEvent(read_event_.exchange(nullptr));
    if (transferred > 0) {
        buffer = std::move(operation->buffer);
    }
    ReleaseOperation(std::move(operation));
    return transferred;
}

std::uint32_t PipeIO::Write(std::vector<char>& buffer) {
    std::unique_ptr<OverlappedOperation> operation = TakeOperation();
    operation->buffer = std::move(buffer);
    const auto count = static_cast<DWORD>(operation->buffer.size());
    DWORD transferred = 0;
    operation->overlapped.hEvent = CreateAutoResetEvent();
    write_event_ = operation->overlapped.hEvent;
    if (pipe_ == InvalidPipeHandle()) {
        VD_LOG(LogLevel::Warn, "{}:{} invalid pipe handle");
    } else if (!WriteFile(pipe_, operation->buffer.data(), count, &transferred, &operation->overlapped)) {
        transferred = 0;
        const DWORD error_code = GetLastError();
        if (error_code != ERROR_IO_PENDING) {
            VD_LOG(LogLevel::Warn, "{}:{} WriteFile failed, error_code={}", error_code);
            operation.reset();
        } else {
            WaitForOperation(write_event_);
            DWORD completed = 0;
            if (GetOverlappedResult(pipe_, &operation->overlapped, &completed, FALSE)) {
                transferred = completed;
            } else {
                VD_LOG(LogLevel::Warn, "{}:{} GetOverlappedResult failed, error_code={}", GetLastError());
            }
        }
    }
    CloseEvent(write_event_.exchange(nullptr));
    if (transferred > 0) {
        buffer = std::move(operation->buffer);
    }
    ReleaseOperation(std::move(operation));
    return transferred;
}

}  // namespace vdipc
