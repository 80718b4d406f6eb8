// The system calls under the pipe: what they are given, in which order they come, and what stays open.
#include "Recorder.h"
#include "ServerFixture.h"
#include "support/ImportHook_win32.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" {
extern void* __imp_CreateEventW;
extern void* __imp_SetEvent;
extern void* __imp_CloseHandle;
extern void* __imp_ReadFile;
extern void* __imp_WriteFile;
extern void* __imp_CreateNamedPipeA;
}

namespace vdipc {
namespace {

using test::ConnectClient;
using test::FrameBytes;
using test::ImportHook;
using test::JsonFrame;
using test::MakeFrame;
using test::Payload;
using test::PipeServerTest;

using CreateEventFunction = HANDLE(WINAPI*)(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR);
using SetEventFunction = BOOL(WINAPI*)(HANDLE);
using CloseHandleFunction = BOOL(WINAPI*)(HANDLE);
using ReadFileFunction = BOOL(WINAPI*)(HANDLE, LPVOID, DWORD, LPDWORD, LPOVERLAPPED);
using WriteFileFunction = BOOL(WINAPI*)(HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED);
using CreateNamedPipeFunction = HANDLE(WINAPI*)(LPCSTR, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD,
                                                LPSECURITY_ATTRIBUTES);

CreateEventFunction g_create_event = nullptr;
SetEventFunction g_set_event = nullptr;
CloseHandleFunction g_close_handle = nullptr;
ReadFileFunction g_read_file = nullptr;
WriteFileFunction g_write_file = nullptr;
CreateNamedPipeFunction g_create_named_pipe = nullptr;

/// What was called. The library's events reset themselves and have no name, which those of the tests don't.
struct Calls {
    std::mutex mutex;
    std::size_t events = 0;    // made
    std::vector<HANDLE> open;  // made and not closed
    std::vector<HANDLE> signalled;
    std::vector<DWORD> closers;  // the threads that closed events
    HANDLE pipe = nullptr;       // whose reads and writes are noted
    std::vector<DWORD> reads;    // bytes asked for
    std::vector<DWORD> writes;
    std::vector<std::string> pipes_made;  // the arguments of each

    std::size_t Events() {
        const std::lock_guard lock(mutex);
        return events;
    }
    std::vector<HANDLE> Open() {
        const std::lock_guard lock(mutex);
        return open;
    }
};
Calls* g_calls = nullptr;

HANDLE WINAPI NoteCreateEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL signalled, LPCWSTR name) {
    const HANDLE event = g_create_event(security, manual, signalled, name);
    if (manual == FALSE && signalled == FALSE && name == nullptr) {
        const std::lock_guard lock(g_calls->mutex);
        ++g_calls->events;
        g_calls->open.push_back(event);
    }
    return event;
}

BOOL WINAPI NoteSetEvent(HANDLE event) {
    {
        const std::lock_guard lock(g_calls->mutex);
        if (std::find(g_calls->open.begin(), g_calls->open.end(), event) != g_calls->open.end()) {
            g_calls->signalled.push_back(event);
        }
    }
    return g_set_event(event);
}

BOOL WINAPI NoteCloseHandle(HANDLE handle) {
    {
        const std::lock_guard lock(g_calls->mutex);
        if (std::erase(g_calls->open, handle) > 0) {
            g_calls->closers.push_back(GetCurrentThreadId());
        }
    }
    return g_close_handle(handle);
}

BOOL WINAPI NoteReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD done, LPOVERLAPPED overlapped) {
    {
        const std::lock_guard lock(g_calls->mutex);
        if (file == g_calls->pipe) {
            g_calls->reads.push_back(count);
        }
    }
    return g_read_file(file, buffer, count, done, overlapped);
}

BOOL WINAPI NoteWriteFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD done, LPOVERLAPPED overlapped) {
    {
        const std::lock_guard lock(g_calls->mutex);
        if (file == g_calls->pipe) {
            g_calls->writes.push_back(count);
        }
    }
    return g_write_file(file, buffer, count, done, overlapped);
}

HANDLE WINAPI NoteCreateNamedPipe(LPCSTR name, DWORD open_mode, DWORD pipe_mode, DWORD instances, DWORD out,
                                  DWORD in, DWORD timeout, LPSECURITY_ATTRIBUTES security) {
    {
        const std::lock_guard lock(g_calls->mutex);
        std::string arguments = name;
        for (const DWORD number : {open_mode, pipe_mode, instances, out, in, timeout}) {
            arguments += " " + std::to_string(number);
        }
        g_calls->pipes_made.push_back(arguments + (security == nullptr ? " null" : " security"));
    }
    return g_create_named_pipe(name, open_mode, pipe_mode, instances, out, in, timeout, security);
}

/// Notes the calls while it lives. What it notes is never freed, since a thread may still be inside a hook.
class CallNotes {
public:
    Calls& calls = Begin();

private:
    static Calls& Begin() {
        g_calls = new Calls();
        return *g_calls;
    }

    ImportHook create_event_{&__imp_CreateEventW, &NoteCreateEvent, &g_create_event};
    ImportHook set_event_{&__imp_SetEvent, &NoteSetEvent, &g_set_event};
    ImportHook close_handle_{&__imp_CloseHandle, &NoteCloseHandle, &g_close_handle};
    ImportHook read_file_{&__imp_ReadFile, &NoteReadFile, &g_read_file};
    ImportHook write_file_{&__imp_WriteFile, &NoteWriteFile, &g_write_file};
    ImportHook create_named_pipe_{&__imp_CreateNamedPipeA, &NoteCreateNamedPipe, &g_create_named_pipe};
};

TEST(PipeCalls, FrameWithoutPayload_IsThreeReads_WithPayloadFour_AndEachReadAndWriteHasAnEventOfItsOwn) {
    CallNotes notes;
    const auto pair = test::MakePipePair();
    notes.calls.pipe = pair->server;
    std::vector<std::size_t> events;
    std::promise<void> behind;
    std::promise<void> go_on;
    {
        PipeIO io(
            pair->server,
            [&](const PipeData& data) {
                events.push_back(notes.calls.Events());
                if (Payload(data) == "last") {
                    behind.set_value();
                    go_on.get_future().wait();
                }
            },
            nullptr);
        ASSERT_TRUE(pair->client->Write(FrameBytes(8, 0, 0) + JsonFrame("text!") + JsonFrame("last")));
        behind.get_future().wait();
        EXPECT_EQ(events, (std::vector<std::size_t>{3, 7, 11}));
        EXPECT_EQ(notes.calls.reads, (std::vector<DWORD>{4, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4}));
        // The reader is held, so that what comes is the writer's.
        io.Send(MakeFrame("answer"));
        io.Send(MakeFrame(""));
        EXPECT_EQ(pair->client->ReadFrame(), JsonFrame("answer"));
        EXPECT_EQ(pair->client->ReadFrame(), JsonFrame(""));
        EXPECT_EQ(notes.calls.Events(), 13u);
        EXPECT_EQ(notes.calls.writes, (std::vector<DWORD>{18, 12})) << "one write for a whole frame";
        go_on.set_value();
    }
}

TEST(PipeCalls, EventOfEachOperation_IsClosed_ApartFromTheReadsThatStopSignals) {
    CallNotes notes;
    const auto pair = test::MakePipePair();
    test::Recorder recorder;
    std::optional<PipeIO> io(std::in_place, pair->server, recorder.OnData(), recorder.OnError());
    ASSERT_TRUE(pair->client->Write(JsonFrame("one") + JsonFrame("two")));
    ASSERT_TRUE(recorder.WaitForFrames(2));
    io->Send(MakeFrame("answer"));
    EXPECT_EQ(pair->client->ReadFrame(), JsonFrame("answer"));
    const auto end = std::chrono::steady_clock::now() + test::Recorder::kPatience;
    while ((notes.calls.Events() < 10 || notes.calls.Open().size() > 1 ||
            PipeIOAccess::ReadEvent(*io) == nullptr) &&
           std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(notes.calls.Events(), 10u)
        << "eight of the frames, one of the answer, one of the read in progress";
    const EventHandle in_progress = PipeIOAccess::ReadEvent(*io);
    EXPECT_EQ(notes.calls.Open(), std::vector<HANDLE>{in_progress});
    io.reset();
    EXPECT_EQ(notes.calls.signalled, std::vector<HANDLE>{in_progress});
    EXPECT_EQ(notes.calls.Open(), std::vector<HANDLE>{in_progress}) << "nobody closes what Stop has taken";
}

TEST(PipeCalls, StopDuringAWriteAndARead_SignalsThemInThisOrder_AndLeavesBothEventsOpen) {
    CallNotes notes;
    const auto pair = test::MakePipePair();
    test::Recorder recorder;
    std::optional<PipeIO> io(std::in_place, pair->server, recorder.OnData(), recorder.OnError());
    io->Send(MakeFrame(std::string(4000000, 'x')));
    ASSERT_EQ(pair->client->Read(1).size(), 1u);  // the write is under way, and more than the pipe holds
    while (PipeIOAccess::ReadEvent(*io) == nullptr) {
        std::this_thread::yield();
    }
    const std::vector<HANDLE> in_progress = {PipeIOAccess::WriteEvent(*io), PipeIOAccess::ReadEvent(*io)};
    io->Stop();
    EXPECT_EQ(notes.calls.signalled, in_progress);
    EXPECT_THAT(notes.calls.Open(), testing::UnorderedElementsAreArray(in_progress));
}

/// A system that takes each write and is never done with it.
struct TakenWrite {
    const char* bytes;
    std::string seen;
    OVERLAPPED* record;
};
std::mutex g_taken_mutex;
std::vector<TakenWrite> g_taken;

BOOL WINAPI TakeWrite(HANDLE, LPCVOID buffer, DWORD count, LPDWORD, LPOVERLAPPED overlapped) {
    const std::lock_guard lock(g_taken_mutex);
    const auto* const bytes = static_cast<const char*>(buffer);
    g_taken.push_back({bytes, std::string(bytes, count), overlapped});
    overlapped->Internal = 0x103;
    SetLastError(ERROR_IO_PENDING);
    return FALSE;
}

std::size_t TakenWrites() {
    const std::lock_guard lock(g_taken_mutex);
    return g_taken.size();
}

TEST(PipeCalls, WriteThatStopGivesUp_KeepsItsBufferWhileTheSystemMayReadIt) {
    g_taken.clear();
    {
        const ImportHook hook(&__imp_WriteFile, &TakeWrite, &g_write_file);
        // Each of these servers is stopped inside a write; the frames behind are as long, and would fit its buffer.
        for (std::size_t i = 0; i < 3; ++i) {
            const auto pair = test::MakePipePair();
            PipeIO io(pair->server, nullptr, nullptr);
            io.Send(MakeFrame(std::string(1000, static_cast<char>('a' + i))));
            const auto end = std::chrono::steady_clock::now() + test::Recorder::kPatience;
            while (TakenWrites() <= i && std::chrono::steady_clock::now() < end) {
                std::this_thread::yield();
            }
            io.Stop();
        }
    }
    ASSERT_EQ(g_taken.size(), 3u);
    for (std::size_t i = 0; i < g_taken.size(); ++i) {
        const TakenWrite& taken = g_taken[i];
        EXPECT_EQ(taken.seen, JsonFrame(std::string(1000, static_cast<char>('a' + i))));
        EXPECT_EQ(taken.record->Internal, 0x103u) << i;
        EXPECT_EQ(std::string(taken.bytes, taken.seen.size()), taken.seen) << i;
        for (std::size_t other = 0; other < i; ++other) {
            EXPECT_NE(taken.bytes, g_taken[other].bytes);
            EXPECT_NE(taken.record, g_taken[other].record);
        }
        taken.record->Internal = 0;  // the system is done, and the next release frees it
    }
}

TEST_F(PipeServerTest, Creation_PassesTheTableOfArguments) {
    CallNotes notes;
    PipeServerAccess::CreateServerPipe(server_);
    EXPECT_EQ(notes.calls.pipes_made,
              std::vector<std::string>{R"(\\.\pipe\zq-vote-deck-D27DFDD9-E25D-4976-A4D3-6179C2000B4C)"
                                       " 1073741827 0 255 524288 524288 0 null"});
}

TEST_F(PipeServerTest, SecondServerOfTheSameName_IsAllowed) {
    PipeServerAccess::CreateServerPipe(server_);
    ASSERT_NE(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    PipeServer second(nullptr, nullptr, nullptr);
    PipeServerAccess::CreateServerPipe(second);
    EXPECT_NE(PipeServerAccess::Pipe(second), InvalidPipeHandle()) << log_.Text();
    EXPECT_FALSE(log_.Contains("CreateNamedPipe failed"));
    second.Disconnect();
}

TEST_F(PipeServerTest, DisconnectWhileConnectWaits_SignalsItsEventAndLeavesItToConnect) {
    CallNotes notes;
    std::future<bool> connected = test::Listen(server_);
    const EventHandle event = PipeServerAccess::ConnectEvent(server_);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(notes.calls.Open(), std::vector<HANDLE>{event});
    server_.Disconnect();
    EXPECT_FALSE(connected.get());
    EXPECT_EQ(notes.calls.signalled, std::vector<HANDLE>{event});
    EXPECT_EQ(notes.calls.Events(), 1u);
    EXPECT_EQ(notes.calls.Open(), std::vector<HANDLE>{});
    ASSERT_EQ(notes.calls.closers.size(), 1u);
    EXPECT_NE(notes.calls.closers[0], GetCurrentThreadId()) << "Connect closes what it finds in its field";
    EXPECT_EQ(PipeServerAccess::ConnectEvent(server_), nullptr);
}

TEST_F(PipeServerTest, Connection_ClosesItsEventWhateverComesOfIt) {
    CallNotes notes;
    {
        const auto client = ConnectClient(server_);
        server_.Disconnect();
    }
    // Quicker than Connect, and no instance at all.
    PipeServerAccess::CreateServerPipe(server_);
    const auto client = test::OpenServerPipe();
    const std::size_t before = notes.calls.Open().size();
    EXPECT_FALSE(server_.Connect());
    EXPECT_EQ(notes.calls.Open().size(), before);
}

}  // namespace
}  // namespace vdipc
