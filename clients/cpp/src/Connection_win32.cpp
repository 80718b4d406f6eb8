#include "vdipc/client/Connection.h"

#include "pipe/PipeServer.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace vdipc::client {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kReadSize = 65536;

Clock::time_point DeadlineAfter(std::chrono::milliseconds timeout) {
    return timeout == kForever ? Clock::time_point::max() : Clock::now() + timeout;
}

DWORD Remaining(Clock::time_point deadline) {
    if (deadline == Clock::time_point::max()) {
        return INFINITE;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<DWORD>(std::clamp<decltype(left + 0)>(left, 0, 0x7FFFFFFF));
}

std::string Utf8(const wchar_t* text, int length) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(std::max(size, 0)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, length, utf8.data(), size, nullptr, nullptr);
    return utf8;
}

}  // namespace

struct Connection::State {
    explicit State(std::string pipe_name)
        : name(std::move(pipe_name)), read_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          write_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          cancel_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)), buffer(kReadSize) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        CloseHandle(read_event);
        CloseHandle(write_event);
        CloseHandle(cancel_event);
    }

    /// Waits for the end of one operation, and takes it back when the time is over or somebody cancels.
    bool Finish(OVERLAPPED& operation, Clock::time_point deadline, DWORD& transferred) {
        const HANDLE handles[] = {operation.hEvent, cancel_event};
        const DWORD waited = WaitForMultipleObjects(2, handles, FALSE, Remaining(deadline));
        if (waited != WAIT_OBJECT_0) {
            CancelIoEx(pipe, &operation);
        }
        if (GetOverlappedResult(pipe, &operation, &transferred, TRUE) == FALSE) {
            error = waited == WAIT_TIMEOUT ? ERROR_TIMEOUT : GetLastError();
            return false;
        }
        return true;
    }

    const std::string name;
    HANDLE pipe = INVALID_HANDLE_VALUE;
    const HANDLE read_event;
    const HANDLE write_event;
    const HANDLE cancel_event;
    std::atomic<DWORD> error{0};
    std::mutex write_mutex;
    FrameReader frames;
    std::vector<char> buffer;
};

std::string PipeName() {
    return kPipeName;
}

std::string SystemErrorText(std::uint32_t error) {
    wchar_t* words = nullptr;
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                            FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, error, 0, reinterpret_cast<wchar_t*>(&words), 0, nullptr);
    std::string text = Utf8(words, static_cast<int>(length));
    LocalFree(words);
    text.erase(text.find_last_not_of(" \r\n.") + 1);
    return text + " (error " + std::to_string(error) + ")";
}

Connection::Connection(std::string pipe_name) : state_(std::make_unique<State>(std::move(pipe_name))) {}

Connection::~Connection() {
    Close();
}

ConnectResult Connection::Open(std::chrono::milliseconds timeout) {
    const Clock::time_point deadline = DeadlineAfter(timeout);
    const auto pause = [this](std::chrono::milliseconds time) {
        return WaitForSingleObject(state_->cancel_event, static_cast<DWORD>(time.count())) == WAIT_TIMEOUT;
    };
    const char* const name = state_->name.c_str();
    for (;;) {
        if (WaitNamedPipeA(name, 1) != FALSE) {
            if (!pause(kSettle)) {
                return ConnectResult::Cancelled;
            }
            state_->pipe = CreateFileA(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_OVERLAPPED, nullptr);
            if (state_->pipe != INVALID_HANDLE_VALUE) {
                state_->frames.Clear();
                return ConnectResult::Connected;
            }
        }
        state_->error = GetLastError();
        if (Remaining(deadline) == 0) {
            switch (state_->error) {
            case ERROR_FILE_NOT_FOUND:
                return ConnectResult::NobodyServes;
            case ERROR_PIPE_BUSY:
            case ERROR_SEM_TIMEOUT:
                return ConnectResult::AnotherClient;
            default:
                return ConnectResult::Failed;
            }
        }
        // Other errors pass too: an instance that is just being taken down gives some of its own.
        if (!pause(kLookAgain)) {
            return ConnectResult::Cancelled;
        }
    }
}

std::string Connection::LastError() const {
    return SystemErrorText(state_->error);
}

bool Connection::Write(const std::string& bytes, std::chrono::milliseconds timeout) {
    const std::lock_guard lock(state_->write_mutex);
    OVERLAPPED operation{};
    operation.hEvent = state_->write_event;
    if (WriteFile(state_->pipe, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &operation) ==
            FALSE &&
        GetLastError() != ERROR_IO_PENDING) {
        state_->error = GetLastError();
        return false;
    }
    DWORD written = 0;
    return state_->Finish(operation, DeadlineAfter(timeout), written) && written == bytes.size();
}

bool Connection::Read(Frame& frame, std::chrono::milliseconds timeout) {
    const Clock::time_point deadline = DeadlineAfter(timeout);
    for (;;) {
        switch (state_->frames.Take(frame)) {
        case FrameReader::Result::Frame:
            return true;
        case FrameReader::Result::Broken:
            state_->error = ERROR_INVALID_DATA;
            return false;
        case FrameReader::Result::More:
            break;
        }
        OVERLAPPED operation{};
        operation.hEvent = state_->read_event;
        if (ReadFile(state_->pipe, state_->buffer.data(), static_cast<DWORD>(kReadSize), nullptr,
                     &operation) == FALSE &&
            GetLastError() != ERROR_IO_PENDING) {
            state_->error = GetLastError();
            return false;
        }
        DWORD got = 0;
        if (!state_->Finish(operation, deadline, got)) {
            return false;
        }
        state_->frames.Add(state_->buffer.data(), got);
    }
}

void Connection::Cancel() {
    SetEvent(state_->cancel_event);
}

void Connection::Close() {
    if (state_->pipe != INVALID_HANDLE_VALUE) {
        CloseHandle(state_->pipe);
        state_->pipe = INVALID_HANDLE_VALUE;
    }
    ResetEvent(state_->cancel_event);
}

bool Connection::IsOpen() const {
    return state_->pipe != INVALID_HANDLE_VALUE;
}

}  // namespace vdipc::client
