// What only the real pipe shows.
#include "Recorder.h"
#include "ServerFixture.h"
#include "pipe/OverlappedOperation_win32.h"
#include "support/Endings.h"

#include <windows.h>

#include <cstdlib>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

using test::ConnectClient;
using test::JsonFrame;
using test::PingFrame;
using test::PingReplyFrame;
using test::PipeServerTest;

TEST_F(PipeServerTest, Instance_HasTheTableOfParameters) {
    PipeServerAccess::CreateServerPipe(server_);
    DWORD flags = 0;
    DWORD out = 0;
    DWORD in = 0;
    DWORD most = 0;
    ASSERT_TRUE(GetNamedPipeInfo(PipeServerAccess::Pipe(server_), &flags, &out, &in, &most));
    EXPECT_EQ(flags, static_cast<DWORD>(PIPE_SERVER_END | PIPE_TYPE_BYTE));
    EXPECT_EQ(out, 524288u);
    EXPECT_EQ(in, 524288u);
    EXPECT_GE(most, static_cast<DWORD>(PIPE_UNLIMITED_INSTANCES));  // or, in Wine's words, all ones
    DWORD state = 1;
    DWORD instances = 0;
    ASSERT_TRUE(GetNamedPipeHandleStateA(PipeServerAccess::Pipe(server_), &state, &instances, nullptr,
                                         nullptr, nullptr, 0));
    EXPECT_EQ(state, static_cast<DWORD>(PIPE_READMODE_BYTE | PIPE_WAIT));
    EXPECT_EQ(instances, 1u);
}

TEST_F(PipeServerTest, Name_IsTheFixedOne) {
    EXPECT_STREQ(kPipeName, R"(\\.\pipe\zq-vote-deck-D27DFDD9-E25D-4976-A4D3-6179C2000B4C)");
    PipeServerAccess::CreateServerPipe(server_);
    const HANDLE client = CreateFileA(R"(\\.\pipe\zq-vote-deck-D27DFDD9-E25D-4976-A4D3-6179C2000B4C)",
                                      GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(client, INVALID_HANDLE_VALUE);
    CloseHandle(client);
}

TEST_F(PipeServerTest, CreationThatFails_IsLogged_AndConnectFailsAndReturnsFalse) {
    // Somebody else owns the name, and allows one instance.
    const HANDLE other = CreateNamedPipeA(kPipeName, PIPE_ACCESS_DUPLEX, 0, 1, 100, 100, 0, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(server_.Connect());
    CloseHandle(other);
    EXPECT_EQ(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    const auto lines = log_.OfFunction("PipeServer::CreateServerPipe");
    ASSERT_EQ(lines.size(), 3u) << log_.Text();
    EXPECT_EQ(lines[1].level, LogLevel::Warn);
    EXPECT_TRUE(test::EndsInNumber(lines[1].rest, "CreateNamedPipe failed:")) << lines[1].rest;
    EXPECT_TRUE(log_.Has(LogLevel::Warn, "ConnectNamedPipe failed:6")) << log_.Text();
    EXPECT_EQ(log_.OfFunction("PipeServer::Connect").back().rest, "Connect end");
    const auto client = ConnectClient(server_);
    EXPECT_NE(client, nullptr);
}

TEST_F(PipeServerTest, LargeFrameInOneWrite_ArrivesWhole) {
    const auto client = ConnectClient(server_);
    const std::string text(400000, 'x');
    ASSERT_TRUE(client->Write(JsonFrame(text)));
    ASSERT_TRUE(heard_.WaitForMessages(1));
    EXPECT_EQ(heard_.Messages()[0], text);
}

TEST_F(PipeServerTest, LargeEvent_LeavesWhole) {
    const auto client = ConnectClient(server_);
    const std::string text(2000000, 'y');
    server_.SendMsg(text);
    EXPECT_EQ(client->ReadFrame(), JsonFrame(text));
}

/// A client in another process: says hello, expects the answer to its ping.
[[noreturn]] void ClientProcess() {
    const auto client = test::OpenServerPipe();
    if (!client || !client->Write(JsonFrame("hello")) || !client->Write(PingFrame())) {
        std::_Exit(2);
    }
    std::_Exit(client->ReadFrame() == PingReplyFrame() ? 0 : 3);
}

TEST(PipeServerDeathTest, ClientInAnotherProcess_IsServed_AndItsEndIsAReadError) {
    test::StartDeathTestsAnew();
    test::Heard heard;
    std::optional<PipeServer> server;
    std::future<bool> connected;
    if (!testing::internal::InDeathTestChild()) {
        server.emplace([&heard](const std::string& text) { heard.Message(text); }, nullptr,
                       [&heard] { heard.Error(); });
        connected = test::Listen(*server);
    }
    EXPECT_EXIT(ClientProcess(), testing::ExitedWithCode(0), "");
    ASSERT_TRUE(connected.get());
    EXPECT_TRUE(heard.WaitForMessages(1));
    EXPECT_TRUE(heard.WaitForErrors(1));
    server->Disconnect();
}

DWORD Handles() {
    DWORD count = 0;
    EXPECT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &count));
    return count;
}

TEST_F(PipeServerTest, ManyConnections_LeaveOneEventEachAtMost) {
    ConnectClient(server_);
    server_.Disconnect();
    const DWORD before = Handles();
    constexpr DWORD kConnections = 20;
    for (DWORD i = 0; i < kConnections; ++i) {
        const auto client = ConnectClient(server_, PingFrame());
        ASSERT_EQ(client->ReadFrame(), PingReplyFrame());
        server_.Disconnect();
    }
    // One for the read that Stop ended; a write was not in progress. A few come and go with the system's own threads.
    EXPECT_LE(Handles(), before + kConnections + 10);
}

TEST(PipeOperations, ClientsThatGoWhileTheReaderIsHeld_LeaveNoOperationBehind) {
    const test::LogCapture log;
    const std::size_t before = PendingOperations();
    constexpr std::size_t kClients = 50;
    for (std::size_t i = 1; i <= kClients; ++i) {
        test::Recorder recorder;
        const auto pair = test::MakePipePair();
        PipeIO io(pair->server, recorder.OnData(), recorder.OnError());
        recorder.Block();
        ASSERT_TRUE(pair->client->Write(JsonFrame("one")));
        ASSERT_TRUE(recorder.WaitForFrames(1));
        pair->client->Close();
        io.Send(test::MakeFrame("lost"));
        ASSERT_TRUE(log.WaitForCount("WriteFile failed, error_code=", i));
        recorder.Release();
        ASSERT_TRUE(recorder.WaitForError());
    }
    EXPECT_EQ(log.Find("ReadFile failed, error_code=109").size(), kClients);
    EXPECT_LE(PendingOperations(), before);
}

TEST_F(PipeServerTest, ConnectThatFailsAtOnce_LeavesNoOperationBehind) {
    const std::size_t before = PendingOperations();
    for (int i = 0; i < 5; ++i) {
        PipeServerAccess::CreateServerPipe(server_);
        const auto client = test::OpenServerPipe();  // quicker than Connect: 535
        EXPECT_FALSE(server_.Connect());
        server_.Disconnect();
    }
    const HANDLE other = CreateNamedPipeA(kPipeName, PIPE_ACCESS_DUPLEX, 0, 1, 100, 100, 0, nullptr);
    EXPECT_FALSE(server_.Connect());  // on no instance
    CloseHandle(other);
    EXPECT_LE(PendingOperations(), before);
}

TEST(PipeOperations, OperationThatIsGivenUp_KeepsItsRecordAndBufferUntilTheSystemIsDone) {
    constexpr ULONG_PTR kPending = 0x103;  // what the system writes while it works
    const std::size_t before = PendingOperations();
    std::unique_ptr<OverlappedOperation> given_up = TakeOperation();
    given_up->overlapped.Internal = kPending;
    given_up->buffer.assign(1000, 'x');
    OverlappedOperation* const record = given_up.get();
    const char* const bytes = record->buffer.data();
    ReleaseOperation(std::move(given_up));
    EXPECT_GE(PendingOperations(), 1u);
    // Others come and go, more than are kept at a time.
    std::vector<std::unique_ptr<OverlappedOperation>> others(5);
    for (auto& other : others) {
        other = TakeOperation();
        EXPECT_NE(other.get(), record);
        other->buffer.assign(1000, 'y');
        EXPECT_NE(other->buffer.data(), bytes);
    }
    for (auto& other : others) {
        ReleaseOperation(std::move(other));
    }
    EXPECT_EQ(record->overlapped.Internal, kPending);
    EXPECT_EQ(record->buffer.data(), bytes);
    EXPECT_EQ(std::string(bytes, 1000), std::string(1000, 'x'));
    record->overlapped.Internal = 0;
    ReleaseOperation(nullptr);
    EXPECT_LE(PendingOperations(), before);
}

TEST(PipeOperations, OperationThatIsDone_IsTakenAgainAsIfItWereNew) {
    std::unique_ptr<OverlappedOperation> first = TakeOperation();
    std::unique_ptr<OverlappedOperation> second = TakeOperation();
    const std::set<OverlappedOperation*> known = {first.get(), second.get()};
    for (OverlappedOperation* const operation : known) {
        operation->overlapped.Internal = 0;
        operation->overlapped.InternalHigh = 7;
        operation->overlapped.hEvent = reinterpret_cast<HANDLE>(ULONG_PTR{4});
        operation->buffer.assign(10, 'x');
    }
    ReleaseOperation(std::move(first));
    ReleaseOperation(std::move(second));
    first = TakeOperation();
    second = TakeOperation();
    EXPECT_EQ((std::set<OverlappedOperation*>{first.get(), second.get()}), known);
    for (const OverlappedOperation* const operation : known) {
        EXPECT_EQ(operation->overlapped.InternalHigh, 0u);
        EXPECT_EQ(operation->overlapped.hEvent, nullptr);
        EXPECT_TRUE(operation->buffer.empty());
    }
    ReleaseOperation(std::move(first));
    ReleaseOperation(std::move(second));
}

TEST(PipeOperations, ReadThatStopGivesUp_IsKeptUntilItsPipeIsClosed) {
    const test::LogCapture log;
    const std::size_t before = PendingOperations();
    // Nobody can watch a read become pending; where the stop was quicker, there is another go.
    std::size_t given_up = before;
    for (int i = 0; i < 20 && given_up == before; ++i) {
        const auto pair = test::MakePipePair();
        PipeIO io(pair->server, nullptr, nullptr);
        while (PipeIOAccess::ReadEvent(io) == nullptr) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        io.Stop();
        given_up = PendingOperations();
    }
    EXPECT_EQ(given_up, before + 1) << log.Text();
    // Whatever operation is released next looks after those that are done.
    EXPECT_TRUE(log.WaitFor("ReadThread end"));
    ReleaseOperation(nullptr);
    EXPECT_LE(PendingOperations(), before);
}

}  // namespace
}  // namespace vdipc
