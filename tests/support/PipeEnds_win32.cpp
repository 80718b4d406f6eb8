#include "support/PipeEnds.h"

#include "pipe/PipeServer.h"
#include "support/ImportHook_win32.h"

#include <windows.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

extern "C" {
extern void* __imp_ConnectNamedPipe;
extern void* __imp_CreateNamedPipeA;
}

namespace vdipc::test {
namespace {

using Clock = std::chrono::steady_clock;

class WindowsClientEnd : public ClientEnd {
public:
    explicit WindowsClientEnd(HANDLE pipe) : pipe_(pipe) {}
    ~WindowsClientEnd() override { Close(); }

    bool Write(const std::string& bytes, std::chrono::milliseconds timeout) override {
        Operation operation;
        DWORD done = 0;
        if (!WriteFile(pipe_, bytes.data(), static_cast<DWORD>(bytes.size()), &done, &operation.overlapped)) {
            done = GetLastError() == ERROR_IO_PENDING ? Finish(operation.overlapped, timeout) : 0;
        }
        return done == bytes.size();
    }

    std::string Read(std::size_t count, std::chrono::milliseconds timeout) override {
        const auto deadline = Clock::now() + timeout;
        std::string bytes(count, '\0');
        std::size_t got = 0;
        while (got < count) {
            Operation operation;
            DWORD done = 0;
            if (!ReadFile(pipe_, bytes.data() + got, static_cast<DWORD>(count - got), &done,
                          &operation.overlapped)) {
                if (GetLastError() != ERROR_IO_PENDING) {
                    closed_by_other_ = true;
                    break;
                }
                const auto left =
                    std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
                done = Finish(operation.overlapped, left);
            }
            if (done == 0) {
                break;
            }
            got += done;
        }
        bytes.resize(got);
        return bytes;
    }

    void Close() override {
        if (const HANDLE pipe = pipe_.exchange(INVALID_HANDLE_VALUE); pipe != INVALID_HANDLE_VALUE) {
            CloseHandle(pipe);
        }
    }

private:
    /// An event for each operation: one that is used again may still be signalled for the last one.
    struct Operation {
        Operation() { overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr); }
        ~Operation() { CloseHandle(overlapped.hEvent); }
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;
        OVERLAPPED overlapped = {};
    };

    /// Collects an operation that is pending, and cancels it when the time is over.
    DWORD Finish(OVERLAPPED& overlapped, std::chrono::milliseconds timeout) {
        const auto milliseconds = timeout.count() > 0 ? static_cast<DWORD>(timeout.count()) : 0;
        const bool in_time = WaitForSingleObject(overlapped.hEvent, milliseconds) == WAIT_OBJECT_0;
        if (!in_time) {
            CancelIoEx(pipe_, &overlapped);
        }
        DWORD done = 0;
        if (!GetOverlappedResult(pipe_, &overlapped, &done, TRUE)) {
            closed_by_other_ = closed_by_other_ || GetLastError() != ERROR_OPERATION_ABORTED;
            return 0;
        }
        return done;
    }

    std::atomic<HANDLE> pipe_;
};

HANDLE OpenClient(const char* name) {
    return CreateFileA(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED,
                       nullptr);
}

/// Server's ends on which the system waits for a client, or has waited for the one that came. Nothing but the call itself
/// tells when that has begun.
struct Waits {
    std::mutex mutex;
    std::set<HANDLE> pipes;
};
Waits g_waits;

decltype(&CreateNamedPipeA) g_create = nullptr;
decltype(&ConnectNamedPipe) g_connect = nullptr;

HANDLE WINAPI NoteCreation(const char* name, DWORD open_mode, DWORD pipe_mode, DWORD most, DWORD out,
                           DWORD in, DWORD timeout, SECURITY_ATTRIBUTES* security) {
    const HANDLE pipe = g_create(name, open_mode, pipe_mode, most, out, in, timeout, security);
    const DWORD error = GetLastError();
    {
        std::lock_guard lock(g_waits.mutex);
        g_waits.pipes.erase(pipe);
    }
    SetLastError(error);
    return pipe;
}

BOOL WINAPI NoteWait(HANDLE pipe, OVERLAPPED* overlapped) {
    const BOOL connected = g_connect(pipe, overlapped);
    const DWORD error = GetLastError();
    if (connected == FALSE && error == ERROR_IO_PENDING) {
        std::lock_guard lock(g_waits.mutex);
        g_waits.pipes.insert(pipe);
    }
    SetLastError(error);
    return connected;
}

const ImportHook g_creation_hook(&__imp_CreateNamedPipeA, &NoteCreation, &g_create);
const ImportHook g_wait_hook(&__imp_ConnectNamedPipe, &NoteWait, &g_connect);

class WindowsPipePair : public PipePair {
public:
    WindowsPipePair() {
        static std::atomic<int> number{0};
        const std::string name = "\\\\.\\pipe\\vdipc-test-" + std::to_string(GetCurrentProcessId()) + "-" +
                                 std::to_string(++number);
        server = CreateNamedPipeA(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, 0,
                                  PIPE_UNLIMITED_INSTANCES, 524288, 524288, 0, nullptr);
        const HANDLE opened = OpenClient(name.c_str());
        OVERLAPPED overlapped = {};
        ConnectNamedPipe(server, &overlapped);
        client = std::make_unique<WindowsClientEnd>(opened);
    }
    ~WindowsPipePair() override { CloseServer(); }

    void CloseServer() override {
        if (server != INVALID_HANDLE_VALUE) {
            CloseServerEnd(server);
            server = INVALID_HANDLE_VALUE;
        }
    }
};

}  // namespace

std::unique_ptr<PipePair> MakePipePair() {
    return std::make_unique<WindowsPipePair>();
}

bool CloseServerEnd(PipeHandle server) {
    DisconnectNamedPipe(server);
    return CloseHandle(server) != FALSE;
}

bool WaitsForClient(PipeHandle server) {
    std::lock_guard lock(g_waits.mutex);
    return g_waits.pipes.count(server) != 0;
}

std::unique_ptr<ClientEnd> OpenServerPipe(std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    do {
        const HANDLE pipe = OpenClient(kPipeName);
        if (pipe != INVALID_HANDLE_VALUE) {
            return std::make_unique<WindowsClientEnd>(pipe);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    } while (Clock::now() < deadline);
    return nullptr;
}

}  // namespace vdipc::test
