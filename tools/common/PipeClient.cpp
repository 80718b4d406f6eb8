#include "tools/common/PipeClient.h"

#include "pipe/PipeData.h"
#include "pipe/PipeServer.h"
#include "tools/common/WideText.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace vdipc::tools {
namespace {

constexpr std::uint64_t kNoDeadline = ~std::uint64_t{0};
constexpr DWORD kSettleMs = 60;
constexpr DWORD kRetryMs = 20;

DWORD Remaining(std::uint64_t deadline) {
    if (deadline == kNoDeadline) {
        return INFINITE;
    }
    const std::uint64_t now = GetTickCount64();
    return now >= deadline ? 0 : static_cast<DWORD>(std::min<std::uint64_t>(deadline - now, 0x7FFFFFFF));
}

}  // namespace

struct PipeClient::Handles {
    HANDLE pipe = INVALID_HANDLE_VALUE;
    HANDLE read_event = nullptr;
    HANDLE write_event = nullptr;
    DWORD error = 0;
};

std::string FrameBytes(const Frame& frame) {
    PipeData data;
    data.type = frame.type;
    data.length = static_cast<std::int32_t>(frame.payload.size());
    data.command = frame.command;
    data.msg.assign(frame.payload.begin(), frame.payload.end());
    const std::vector<char> bytes = SerializeFrame(data);
    return {bytes.begin(), bytes.end()};
}

std::string JsonFrameBytes(const std::string& json) {
    return FrameBytes({kFrameTypeJson, kFrameCommandJson, json});
}

std::string PingBytes() {
    return FrameBytes({kFrameTypePing, kFrameCommandPing, {}});
}

PipeClient::PipeClient() : handles_(std::make_unique<Handles>()) {
    handles_->read_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    handles_->write_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

PipeClient::~PipeClient() {
    Close();
    CloseHandle(handles_->read_event);
    CloseHandle(handles_->write_event);
}

OpenResult PipeClient::Open(std::uint32_t timeout_ms) {
    Close();
    cancelled_ = false;
    const std::uint64_t deadline = GetTickCount64() + timeout_ms;
    for (;;) {
        if (WaitNamedPipeA(kPipeName, 1) != FALSE) {
            Sleep(kSettleMs);
            handles_->pipe = CreateFileA(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                         FILE_FLAG_OVERLAPPED, nullptr);
            if (handles_->pipe != INVALID_HANDLE_VALUE) {
                return OpenResult::Open;
            }
        }
        handles_->error = GetLastError();
        if (Remaining(deadline) == 0) {
            switch (handles_->error) {
            case ERROR_FILE_NOT_FOUND:
                return OpenResult::NobodyServes;
            case ERROR_PIPE_BUSY:
            case ERROR_SEM_TIMEOUT:
                return OpenResult::AnotherClient;
            default:
                return OpenResult::Failed;
            }
        }
        // Other errors pass too: an instance that is just being taken down gives some of its own.
        Sleep(kRetryMs);
    }
}

std::string PipeClient::LastError() const {
    return SystemErrorText(handles_->error);
}

bool PipeClient::Write(const std::string& bytes) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = handles_->write_event;
    DWORD written = 0;
    if (WriteFile(handles_->pipe, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped) ==
            FALSE &&
        GetLastError() != ERROR_IO_PENDING) {
        handles_->error = GetLastError();
        return false;
    }
    if (GetOverlappedResult(handles_->pipe, &overlapped, &written, TRUE) == FALSE) {
        handles_->error = GetLastError();
        return false;
    }
    return written == bytes.size();
}

bool PipeClient::ReadExactly(void* buffer, std::size_t size, std::uint64_t deadline) {
    char* next = static_cast<char*>(buffer);
    while (size > 0) {
        OVERLAPPED overlapped{};
        overlapped.hEvent = handles_->read_event;
        DWORD got = 0;
        if (ReadFile(handles_->pipe, next, static_cast<DWORD>(size), nullptr, &overlapped) == FALSE &&
            GetLastError() != ERROR_IO_PENDING) {
            handles_->error = GetLastError();
            return false;
        }
        if (cancelled_ || WaitForSingleObject(handles_->read_event, Remaining(deadline)) != WAIT_OBJECT_0) {
            CancelIoEx(handles_->pipe, &overlapped);
        }
        if (GetOverlappedResult(handles_->pipe, &overlapped, &got, TRUE) == FALSE) {
            handles_->error = GetLastError();
            return false;
        }
        next += got;
        size -= got;
    }
    return true;
}

bool PipeClient::Read(Frame& frame, std::uint32_t timeout_ms) {
    const std::uint64_t deadline = timeout_ms == INFINITE ? kNoDeadline : GetTickCount64() + timeout_ms;
    std::int32_t header[3] = {};
    static_assert(sizeof header == kFrameHeaderSize);
    if (!ReadExactly(header, sizeof header, deadline)) {
        return false;
    }
    frame.type = header[0];
    frame.command = header[2];
    frame.payload.assign(static_cast<std::size_t>(std::max(header[1], 0)), '\0');
    return frame.payload.empty() || ReadExactly(frame.payload.data(), frame.payload.size(), kNoDeadline);
}

void PipeClient::Cancel() {
    cancelled_ = true;
    if (handles_->pipe != INVALID_HANDLE_VALUE) {
        CancelIoEx(handles_->pipe, nullptr);
    }
}

void PipeClient::Close() {
    if (handles_->pipe != INVALID_HANDLE_VALUE) {
        CloseHandle(handles_->pipe);
        handles_->pipe = INVALID_HANDLE_VALUE;
    }
}

bool PipeClient::IsOpen() const {
    return handles_->pipe != INVALID_HANDLE_VALUE;
}

}  // namespace vdipc::tools
