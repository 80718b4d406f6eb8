#include "pipe/PipeServer.h"

#include "Recorder.h"
#include "ServerFixture.h"
#include "support/LogCapture.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc {
namespace {

using test::ConnectClient;
using test::FrameBytes;
using test::JsonFrame;
using test::LogLine;
using test::PingFrame;
using test::PingReplyFrame;
using test::PipeServerTest;

constexpr std::chrono::milliseconds kLittleWhile{200};

/// Level, and text without the source line, of what one function logged.
std::vector<std::string> Said(const test::LogCapture& log, const std::string& function) {
    std::vector<std::string> said;
    for (const LogLine& line : log.OfFunction(function)) {
        said.push_back(line.level_name + " " + line.rest);
    }
    return said;
}

using Lines = std::vector<std::string>;

TEST_F(PipeServerTest, Construction_LogsAndTouchesNoPipe) {
    EXPECT_EQ(Said(log_, "PipeServer::PipeServer"), Lines{"Trace "});
    EXPECT_EQ(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    EXPECT_EQ(PipeServerAccess::Io(server_), nullptr);
    EXPECT_EQ(test::OpenServerPipe(kLittleWhile), nullptr);
}

TEST_F(PipeServerTest, Connect_BlocksUntilAClientComes_AndThenServesIt) {
    std::future<bool> connected = test::Listen(server_);
    EXPECT_EQ(connected.wait_for(kLittleWhile), std::future_status::timeout);
    EXPECT_NE(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    EXPECT_EQ(PipeServerAccess::Io(server_), nullptr);
    const auto client = test::OpenServerPipe();
    ASSERT_TRUE(connected.get());
    EXPECT_NE(PipeServerAccess::Io(server_), nullptr);
    EXPECT_EQ(PipeServerAccess::ConnectEvent(server_), nullptr);
    EXPECT_EQ(Said(log_, "PipeServer::CreateServerPipe"),
              (Lines{"Trace CreateServerPipe begin", "Trace CreateServerPipe end"}));
    EXPECT_EQ(Said(log_, "PipeServer::Connect"),
              (Lines{"Trace Connect begin", "Info Connect ConnectNamedPipe success, create PipeIO",
                     "Trace Connect end"}));
}

TEST_F(PipeServerTest, JsonFrame_ReachesTheHandlerAndTheLog) {
    const auto client = ConnectClient(server_);
    ASSERT_TRUE(client->Write(JsonFrame("{\"type\":\"hi\"}")));
    ASSERT_TRUE(heard_.WaitForMessages(1));
    EXPECT_EQ(heard_.Messages()[0], "{\"type\":\"hi\"}");
    EXPECT_EQ(Said(log_, "PipeServer::OnPipeDataReceived"), Lines{"Debug msg received:{\"type\":\"hi\"}"});
}

TEST_F(PipeServerTest, JsonFrameWithAnotherCommand_IsStillDelivered) {
    const auto client = ConnectClient(server_);
    ASSERT_TRUE(client->Write(JsonFrame("{}", 7) + JsonFrame("[]", 0)));
    ASSERT_TRUE(heard_.WaitForMessages(2));
    EXPECT_EQ(heard_.Messages(), (Lines{"{}", "[]"}));
}

TEST_F(PipeServerTest, EmptyJsonFrame_IsDeliveredAsAnEmptyText) {
    const auto client = ConnectClient(server_);
    ASSERT_TRUE(client->Write(JsonFrame("")));
    ASSERT_TRUE(heard_.WaitForMessages(1));
    EXPECT_EQ(heard_.Messages()[0], "");
}

TEST_F(PipeServerTest, Payload_IsTakenAndLoggedWithItsLengthNeverPastItsEnd) {
    PipeData data = test::MakeFrame("abc");
    data.msg.shrink_to_fit();
    PipeServerAccess::OnPipeDataReceived(server_, data);
    PipeServerAccess::OnPipeDataReceived(server_, test::MakeFrame(std::string("a\0b", 3)));
    EXPECT_EQ(heard_.Messages(), (Lines{"abc", std::string("a\0b", 3)}));
    EXPECT_EQ(Said(log_, "PipeServer::OnPipeDataReceived")[0], "Debug msg received:abc");
}

TEST_F(PipeServerTest, FrameOfAnotherType_IsIgnoredWithoutALine) {
    const auto client = ConnectClient(server_);
    ASSERT_TRUE(client->Write(FrameBytes(999, 2, 2018, "{}") + FrameBytes(0, 0, 201) + JsonFrame("last")));
    ASSERT_TRUE(heard_.WaitForMessages(1));
    EXPECT_EQ(heard_.Messages(), Lines{"last"});
    EXPECT_EQ(heard_.Pings(), 0);
    EXPECT_EQ(Said(log_, "PipeServer::OnPipeDataReceived"), Lines{"Debug msg received:last"});
}

TEST_F(PipeServerTest, Ping_GetsItsReplyAndReachesTheHandler) {
    const auto client = ConnectClient(server_);
    ASSERT_TRUE(client->Write(PingFrame()));
    EXPECT_EQ(client->ReadFrame(), PingReplyFrame());
    EXPECT_TRUE(heard_.WaitForPings(1));
    EXPECT_EQ(heard_.Messages().size(), 0u);
}

TEST_F(PipeServerTest, PingFrameWithAnotherCommand_GetsNoReplyAndNoCallback) {
    const auto client = ConnectClient(server_);
    ASSERT_TRUE(client->Write(FrameBytes(8, 0, 202) + FrameBytes(8, 0, 0) + PingFrame()));
    ASSERT_TRUE(heard_.WaitForPings(1));
    EXPECT_EQ(client->ReadFrame(), PingReplyFrame());
    EXPECT_EQ(client->Read(1, kLittleWhile), "");
    EXPECT_EQ(heard_.Pings(), 1);
}

TEST_F(PipeServerTest, PingFrameWithAnotherCommand_WritesNothingIntoPipeOrLog) {
    const auto client = ConnectClient(server_);
    ASSERT_TRUE(log_.WaitFor("WriteThread begin"));
    ASSERT_TRUE(log_.WaitFor("ReadThread begin"));
    const std::size_t lines = log_.Lines().size();
    for (const std::int32_t command : {0, 200, 202, 2018, -1}) {
        PipeData data = test::MakeFrame("text");
        data.type = kFrameTypePing;
        data.command = command;
        PipeServerAccess::OnPipeDataReceived(server_, data);
    }
    server_.SendMsg("behind");
    EXPECT_EQ(client->ReadFrame(), JsonFrame("behind"));
    EXPECT_EQ(log_.Lines().size(), lines + 1) << log_.Text();
    EXPECT_EQ(heard_.Pings(), 0);
    EXPECT_TRUE(heard_.Messages().empty());
}

TEST(PipeServer, Ping_WhileNoHandlerCallbackIsSet_StillGetsItsReply) {
    const test::LogCapture log;
    PipeServer server(nullptr, nullptr, nullptr);
    const auto client = ConnectClient(server);
    ASSERT_TRUE(client->Write(JsonFrame("{}") + PingFrame()));
    EXPECT_EQ(client->ReadFrame(), PingReplyFrame());
    EXPECT_FALSE(log.Contains("msg received"));
    server.Disconnect();
}

TEST(PipeServer, PingReply_IsQueuedBeforeTheHandlerHearsOfThePing) {
    std::promise<void> replied;
    std::shared_future<void> reply = replied.get_future().share();
    std::atomic<bool> in_time{false};
    PipeServer server(
        nullptr, [&] { in_time = reply.wait_for(std::chrono::seconds(30)) == std::future_status::ready; },
        nullptr);
    const auto client = ConnectClient(server);
    ASSERT_TRUE(client->Write(PingFrame()));
    EXPECT_EQ(client->ReadFrame(), PingReplyFrame());
    replied.set_value();
    server.Disconnect();
    EXPECT_TRUE(in_time);
}

TEST_F(PipeServerTest, PingThatIsInThePipeAtTheMomentOfConnecting_GetsItsReplyToo) {
    for (int i = 0; i < 20; ++i) {
        const auto client = ConnectClient(server_, PingFrame());
        ASSERT_EQ(client->ReadFrame(), PingReplyFrame()) << i << "\n" << log_.Text();
        server_.Disconnect();
    }
}

TEST_F(PipeServerTest, SendMsg_LeavesAsAJsonFrameWithoutATerminator) {
    const auto client = ConnectClient(server_);
    server_.SendMsg("{\"a\":1}");
    server_.SendMsg("");
    EXPECT_EQ(client->ReadFrame(), std::string("\xE2\x07\0\0\x07\0\0\0\xE2\x07\0\0", 12) + "{\"a\":1}");
    EXPECT_EQ(client->ReadFrame(), JsonFrame(""));
    EXPECT_EQ(Said(log_, "PipeServer::SendMsg"), (Lines{"Trace {\"a\":1}", "Trace "}));
}

TEST_F(PipeServerTest, SendMsgBeforeAnyClient_LosesTheMessageWithoutAWord_ApartFromItsTraceLine) {
    server_.SendMsg("lost");
    EXPECT_EQ(Said(log_, "PipeServer::SendMsg"), Lines{"Trace lost"});
    EXPECT_EQ(log_.Lines().size(), 2u);  // the other one is the constructor's
    const auto client = ConnectClient(server_);
    server_.SendMsg("first");
    EXPECT_EQ(client->ReadFrame(), JsonFrame("first"));
}

TEST_F(PipeServerTest, ClientThatGoes_ReachesTheHandlerAsOneReadError_AndTheObjectStays) {
    const auto client = ConnectClient(server_);
    client->Close();
    ASSERT_TRUE(heard_.WaitForErrors(1));
    EXPECT_NE(PipeServerAccess::Io(server_), nullptr);
    EXPECT_NE(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    server_.SendMsg("into the void");
    server_.Disconnect();
    EXPECT_EQ(heard_.Errors(), 1);
}

TEST_F(PipeServerTest, ClientThatComesBack_GetsANewPipeIO_AndTheOldQueueIsGone) {
    auto client = ConnectClient(server_);
    client->Close();
    ASSERT_TRUE(heard_.WaitForErrors(1));
    server_.SendMsg("for nobody");
    server_.SendMsg("for nobody either");
    server_.Disconnect();
    EXPECT_EQ(PipeServerAccess::Io(server_), nullptr);
    client = ConnectClient(server_);
    ASSERT_NE(PipeServerAccess::Io(server_), nullptr);
    EXPECT_EQ(PipeIOAccess::Queued(*PipeServerAccess::Io(server_)), 0u);
    server_.SendMsg("for the new one");
    EXPECT_EQ(client->ReadFrame(), JsonFrame("for the new one"));
    ASSERT_TRUE(client->Write(PingFrame()));
    EXPECT_EQ(client->ReadFrame(), PingReplyFrame());
}

TEST_F(PipeServerTest,
       DisconnectFromAnotherThread_WhileConnectWaits_MakesItReturnFalseAndLeavesThePipeInvalid) {
    std::future<bool> connected = test::Listen(server_);
    server_.Disconnect();
    ASSERT_EQ(connected.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_FALSE(connected.get());
    EXPECT_EQ(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    EXPECT_EQ(PipeServerAccess::Io(server_), nullptr);
    EXPECT_EQ(PipeServerAccess::ConnectEvent(server_), nullptr);
    const Lines said = Said(log_, "PipeServer::Connect");
    ASSERT_EQ(said.size(), 3u) << log_.Text();
    EXPECT_TRUE(test::EndsInNumber(said[1], "Warn ConnectNamedPipe failed after GetOverlappedResult:"))
        << said[1];
    EXPECT_EQ(said[2], "Trace Connect end");
}

TEST_F(PipeServerTest, DisconnectWhileServing_DropsTheClient) {
    const auto client = ConnectClient(server_);
    server_.Disconnect();
    EXPECT_TRUE(client->WaitClosed());
    EXPECT_EQ(heard_.Errors(), 0);
    EXPECT_EQ(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    EXPECT_EQ(Said(log_, "PipeServer::Disconnect").back(), "Trace ");
}

TEST_F(PipeServerTest, DisconnectOnAnIdleObject_DoesNothingHarmful_AlsoRepeated) {
    server_.Disconnect();
    server_.Disconnect();
    const auto client = ConnectClient(server_);
    ASSERT_NE(client, nullptr);
    server_.Disconnect();
    server_.Disconnect();
    EXPECT_EQ(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
}

TEST_F(PipeServerTest, TwoThreadsThatDisconnectAtOnce_CloseOneInstanceOnce) {
    std::atomic<int> ready{0};
    const auto disconnect = [this, &ready] {
        for (++ready; ready < 2;) {
            std::this_thread::yield();
        }
        server_.Disconnect();
    };
    for (int i = 0; i < 200; ++i) {
        // Now and then with a client that has gone: the handler's task and the host's stop meet behind its loss.
        if (i % 20 == 0) {
            ConnectClient(server_)->Close();
            ASSERT_TRUE(heard_.WaitForErrors(i / 20 + 1));
        } else {
            PipeServerAccess::CreateServerPipe(server_);
        }
        ready = 0;
        std::thread first(disconnect);
        std::thread second(disconnect);
        first.join();
        second.join();
        ASSERT_EQ(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
        ASSERT_EQ(PipeServerAccess::Io(server_), nullptr);
    }
    EXPECT_NE(ConnectClient(server_), nullptr);
}

TEST_F(PipeServerTest, ClientThatWasQuickerThanConnect_IsNeverServed_AndNobodyIsTold) {
    PipeServerAccess::CreateServerPipe(server_);
    const auto client = test::OpenServerPipe();
    ASSERT_NE(client, nullptr);
    log_.Clear();
    EXPECT_FALSE(server_.Connect());
    EXPECT_EQ(PipeServerAccess::Io(server_), nullptr);
    EXPECT_NE(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    EXPECT_EQ(PipeServerAccess::ConnectEvent(server_), nullptr);
    EXPECT_EQ(Said(log_, "PipeServer::Connect"), (Lines{"Trace Connect begin", "Trace Connect end"}));
    EXPECT_FALSE(log_.Contains("CreateServerPipe"));
}

TEST_F(PipeServerTest, SecondClientWhileOneIsServed_GetsNoInstance) {
    const auto client = ConnectClient(server_);
    EXPECT_EQ(test::OpenServerPipe(kLittleWhile), nullptr);
    ASSERT_TRUE(client->Write(PingFrame()));
    EXPECT_EQ(client->ReadFrame(), PingReplyFrame());
}

TEST_F(PipeServerTest, NegativeLength_RaisesTheStandardLengthErrorWhenTheTextIsBuilt) {
    PipeData data;
    data.type = kFrameTypeJson;
    data.length = -5;
    EXPECT_THROW(PipeServerAccess::OnPipeDataReceived(server_, data), std::length_error);
    EXPECT_EQ(Said(log_, "PipeServer::OnPipeDataReceived"), Lines{"Debug msg received:"});
    EXPECT_TRUE(heard_.Messages().empty());
}

TEST(PipeServer, Destruction_LogsAndEndsTheConnectionsThreads) {
    const test::LogCapture log;
    auto server = std::make_unique<PipeServer>(nullptr, nullptr, nullptr);
    const auto client = ConnectClient(*server);
    log.WaitFor("WriteThread begin");
    server->Disconnect();
    server.reset();
    EXPECT_EQ(Said(log, "PipeServer::~PipeServer"), Lines{"Trace "});
    EXPECT_EQ(log.Count("ReadThread end"), 1u);
    EXPECT_EQ(log.Count("WriteThread end"), 1u);
}

TEST(PipeServer, DestructionWithoutDisconnect_EndsTheThreadsAndClosesNoHandle) {
    const test::LogCapture log;
    auto server = std::make_unique<PipeServer>(nullptr, nullptr, nullptr);
    const auto client = ConnectClient(*server);
    const PipeHandle pipe = PipeServerAccess::Pipe(*server);
    ASSERT_TRUE(log.WaitFor("WriteThread begin"));
    server.reset();
    EXPECT_EQ(log.Count("ReadThread end"), 1u);
    EXPECT_EQ(log.Count("WriteThread end"), 1u);
    EXPECT_TRUE(log.OfFunction("PipeServer::Disconnect").empty());
    EXPECT_FALSE(client->WaitClosed(kLittleWhile)) << "the instance is still there";
    EXPECT_TRUE(test::CloseServerEnd(pipe));
    EXPECT_TRUE(client->WaitClosed());
}

TEST_F(PipeServerTest, ManyThreadsThatSend_GiveWholeFrames) {
    const auto client = ConnectClient(server_);
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'e'; ++letter) {
        threads.emplace_back([this, letter] {
            for (int i = 0; i < 25; ++i) {
                server_.SendMsg(std::string(300, letter));
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        const std::string frame = client->ReadFrame();
        ASSERT_EQ(frame.size(), 312u);
        EXPECT_EQ(frame, JsonFrame(std::string(300, frame[12])));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

#if !defined(_WIN32)
TEST_F(PipeServerTest, CreationThatFails_IsLogged_AndConnectFailsAndReturnsFalse) {
    test::FailNextServerPipe(231);
    EXPECT_FALSE(server_.Connect());
    EXPECT_EQ(PipeServerAccess::Pipe(server_), InvalidPipeHandle());
    EXPECT_TRUE(log_.Has(LogLevel::Warn, "CreateNamedPipe failed:231"));
    EXPECT_TRUE(log_.Has(LogLevel::Warn, "ConnectNamedPipe failed:6"));
}
#endif

}  // namespace
}  // namespace vdipc
