#include "unit/clients/support/Server.h"

#include <windows.h>

#include <atomic>
#include <vector>

namespace vdipc::test {
namespace {

// Small, so that a client that writes to a server which doesn't read has to wait soon.
constexpr DWORD kBuffer = 4096;
constexpr std::size_t kGreatestWrite = std::size_t{1} << 20U;

}  // namespace

struct Server::Pipe {
    HANDLE handle = INVALID_HANDLE_VALUE;
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    OVERLAPPED connecting{};
    bool listening = false;
    bool connected = false;

    ~Pipe() { CloseHandle(event); }
};

Server::Server() : pipe_(std::make_shared<Pipe>()) {
    static std::atomic<int> count{0};
    name_ =
        "\\\\.\\pipe\\client-test-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++count);
}

Server::~Server() {
    HangUp();
}

void Server::Make() {
    // One instance and no more, as long as it lives: as with the library, a second client finds none free.
    pipe_->handle = CreateNamedPipeA(name_.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                     PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1, kBuffer,
                                     kBuffer, 0, nullptr);
}

void Server::Listen() {
    if (pipe_->handle == INVALID_HANDLE_VALUE) {
        Make();
    }
    pipe_->connecting = {};
    pipe_->connecting.hEvent = pipe_->event;
    pipe_->listening =
        ConnectNamedPipe(pipe_->handle, &pipe_->connecting) != FALSE || GetLastError() == ERROR_IO_PENDING;
}

bool Server::WaitForClient(std::chrono::milliseconds timeout) {
    if (!pipe_->connected && pipe_->listening) {
        DWORD none = 0;
        pipe_->connected =
            WaitForSingleObject(pipe_->event, static_cast<DWORD>(timeout.count())) == WAIT_OBJECT_0 &&
            GetOverlappedResult(pipe_->handle, &pipe_->connecting, &none, FALSE) != FALSE;
    }
    return pipe_->connected;
}

std::optional<std::string> Server::TakeWrite(std::chrono::milliseconds timeout) {
    std::string bytes(kGreatestWrite, '\0');
    OVERLAPPED reading{};
    reading.hEvent = pipe_->event;
    DWORD got = 0;
    if (ReadFile(pipe_->handle, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &reading) == FALSE &&
        GetLastError() != ERROR_IO_PENDING) {
        return {};
    }
    if (WaitForSingleObject(pipe_->event, static_cast<DWORD>(timeout.count())) != WAIT_OBJECT_0) {
        CancelIoEx(pipe_->handle, &reading);
    }
    if (GetOverlappedResult(pipe_->handle, &reading, &got, TRUE) == FALSE) {
        return {};
    }
    bytes.resize(got);
    return bytes;
}

void Server::Write(const std::string& bytes) {
    OVERLAPPED writing{};
    writing.hEvent = pipe_->event;
    DWORD written = 0;
    if (WriteFile(pipe_->handle, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &writing) !=
            FALSE ||
        GetLastError() == ERROR_IO_PENDING) {
        GetOverlappedResult(pipe_->handle, &writing, &written, TRUE);
    }
}

void Server::HangUp() {
    if (pipe_->handle != INVALID_HANDLE_VALUE) {
        if (pipe_->connected) {
            // What was written last is read before the pipe goes.
            FlushFileBuffers(pipe_->handle);
        }
        DisconnectNamedPipe(pipe_->handle);
        CloseHandle(pipe_->handle);
        pipe_->handle = INVALID_HANDLE_VALUE;
    }
    pipe_->listening = false;
    pipe_->connected = false;
}

}  // namespace vdipc::test
