// The whole handler on its pipe: start, clients that come and go, stop.
#include "support/HandlerTest.h"

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

#include <cstdio>
#include <cstdlib>
#include <future>

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;

class HandlerOnThePipe : public HandlerTest {
protected:
    ~HandlerOnThePipe() override {
        if (Access::TaskThread(handler()) != nullptr && Access::TaskThread(handler())->joinable()) {
            StopQuickly();
        }
    }

    std::size_t Index(const std::string& text) {
        const auto lines = log().Messages();
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].find(text) != std::string::npos) {
                return i;
            }
        }
        ADD_FAILURE() << "no line " << text << "\n" << log().Text();
        return lines.size();
    }
};

/// The payload of the next frame.
std::string ReadText(ClientEnd& client) {
    const std::string frame = client.ReadFrame();
    EXPECT_GT(frame.size(), 12u);
    return frame.size() > 12 ? frame.substr(12) : std::string();
}

/// The next event, held against the schema.
Json::Value ReadEvent(ClientEnd& client) {
    const std::string text = ReadText(client);
    EXPECT_EQ(CheckEvent(text), "") << text;
    return ParseJson(text);
}

TEST_F(HandlerOnThePipe, Initialize_GoesThroughItsStepsInOrder) {
    SetSpeechCallHook([](const std::string& call) { LogFormatted(LogLevel::Trace, "engine {}", call); });
    Start();
    SetSpeechCallHook(nullptr);
    const char* const steps[] = {"IpcHandler::Initialize:",
                                 "IpcHandler::ReadCommandlineForTrackwire:",
                                 "IpcHandler::LoadActiveDevices:",
                                 "PipeServer::PipeServer:",
                                 "IpcHandler::RetrieveAudioStoragePathFromRegistry:",
                                 "IpcHandler::CreateMultiDir:",
                                 "IpcHandler::CreateVoteDeckObjects:",
                                 "engine 0:recognizer(",
                                 "engine 0:start(",
                                 "engine 1:evaluator(",
                                 "engine 4:start(",
                                 "PipeServer::Connect:"};
    std::size_t last = 0;
    for (const char* const step : steps) {
        const std::size_t index = Index(step);
        EXPECT_GE(index, last) << step;
        last = index;
    }
    EXPECT_TRUE(log().Has(LogLevel::Trace, "VERSION:2.0.54"));
    const auto engines = SpeechEngines();
    ASSERT_GE(engines.size(), 2u);
    EXPECT_TRUE(engines[0].is_recognizer);
    EXPECT_FALSE(engines[1].is_recognizer);
    EXPECT_EQ(TrackwireSetters().front().first, "SetVDShellVersionW");
    EXPECT_TRUE(Access::Running(handler()));
}

TEST_F(HandlerOnThePipe, UninitializeWhileNoClientEverCame_FreesConnectAndRunsTheRest) {
    Start();
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), ClearTextForAllDevices());
        EXPECT_CALL(Device(kind), Uninitialize());
    }
    handler().Uninitialize();
    const auto lines = log().OfFunction("PipeServer::Connect");
    ASSERT_EQ(lines.size(), 3u) << log().Text();
    EXPECT_EQ(lines[1].level, LogLevel::Warn);
    EXPECT_TRUE(EndsInNumber(lines[1].rest, "ConnectNamedPipe failed after GetOverlappedResult:"))
        << lines[1].rest;
    EXPECT_EQ(log().Count("IPC connected"), 1u);
    EXPECT_TRUE(log().Has(LogLevel::Debug, "IPC connected"));
    EXPECT_TRUE(log().Has(LogLevel::Debug, "task loop end"));
    EXPECT_EQ(Access::Server(handler()).load(), nullptr);
    EXPECT_EQ(Access::QueuedTasks(handler()), 0u);
}

TEST_F(HandlerOnThePipe, TasksPostedBeforeInitialize_RunBeforeTheConnectTaskInTheirOrder) {
    std::vector<std::string> order;
    handler().PostTask([&order] { order.emplace_back("first"); });
    handler().SetVoteDecksStatusChangedCallback(
        [&order](const std::int32_t*, const std::wstring&) { order.emplace_back("status"); });
    handler().PostTask([this, &order] {
        order.emplace_back("last");
        EXPECT_TRUE(log().OfFunction("PipeServer::Connect").empty());
    });
    handler().Initialize();
    WaitUntilOffered();
    EXPECT_THAT(order, ElementsAre("first", "status", "last"));
}

TEST_F(HandlerOnThePipe, StatusCallbackSetAfterInitialize_StaysSilentUntilAClientHasConnected) {
    Start();
    const Signal reported;
    handler().SetVoteDecksStatusChangedCallback(
        [reported](const std::int32_t*, const std::wstring&) { reported.Set(); });
    EXPECT_EQ(Access::QueuedTasks(handler()), 1u);
    EXPECT_FALSE(reported.IsSet());
    ConnectClient();
    EXPECT_TRUE(reported.Wait());
}

TEST_F(HandlerOnThePipe, Uninitialize_EndsTheClientAndANewInitializeReplacesRv2WithTheOthers) {
    Start();
    ClientEnd& client = ConnectClient();
    const std::weak_ptr<IVoteDeckObject> old = Access::DeviceObjects(handler())[DeviceType::RV2];
    handler().Uninitialize();
    EXPECT_TRUE(client.WaitClosed());
    EXPECT_FALSE(old.expired());
    EXPECT_FALSE(log().Contains("Read data error, terminate ReadThread")) << "a stop is no read error";
    handler().Initialize();
    WaitUntilOffered();
    EXPECT_TRUE(old.expired());
    for (const DeviceType kind : kAllKinds) {
        EXPECT_NE(Access::DeviceObjects(handler())[kind], nullptr);
    }
    ConnectClient();
}

TEST_F(HandlerOnThePipe, SecondInitializeWithoutUninitialize_IsTheStandardTermination) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            std::set_terminate([] {
                std::fputs("standard termination\n", stderr);
                std::abort();
            });
            Start();
            handler().Initialize();
        },
        "standard termination");
}

TEST_F(HandlerOnThePipe, InitOfAClient_IsAnsweredWithDeviceInited) {
    Start();
    ClientEnd& client = ConnectClient();
    SendCommand(client, R"({"command":"init","id":"1","preferred-device-type":"any"})");
    const Json::Value event = ReadEvent(client);
    EXPECT_EQ(event["event"], "device-inited");
    EXPECT_EQ(event["ready"], true);
    EXPECT_EQ(event["avaliable-device"].size(), 5u);
}

TEST_F(HandlerOnThePipe, AHundredPings_EachGetItsReplyAndArmNothing) {
    Start();
    ClientEnd& client = ConnectClient();
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(client.Write(PingFrame()));
        ASSERT_EQ(client.ReadFrame(), PingReplyFrame()) << i;
    }
    EXPECT_TRUE(
        WaitUntil([this] { return log().OfFunction("IpcHandler::OnIpcPingreceived").size() == 100; }));
    EXPECT_EQ(Access::PingListeningStopEvent(handler()).load(), nullptr);
    EXPECT_EQ(Access::PingListeningThread(handler()), nullptr);
}

TEST_F(HandlerOnThePipe, PingWhileTheTaskThreadIsBusy_IsAnswered) {
    Start();
    ClientEnd& client = ConnectClient();
    const HeldTask held(handler());
    ASSERT_TRUE(client.Write(PingFrame()));
    EXPECT_EQ(client.ReadFrame(), PingReplyFrame());
}

TEST_F(HandlerOnThePipe, ClientThatComesBack_CanSendCommandsAtOnceWithoutInit) {
    Start();
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), Initialize()).Times(1);
        EXPECT_CALL(Device(kind), Uninitialize()).Times(1);
    }
    ClientEnd& first = ConnectClient();
    SendCommand(first, R"({"command":"init","preferred-device-type":"any"})");
    EXPECT_EQ(ReadEvent(first)["event"], "device-inited");
    first.Close();
    const auto row = std::make_shared<std::promise<std::string>>();
    EXPECT_CALL(Device(DeviceType::LW), HandleText(_)).WillOnce([row](const CommandText& text) {
        row->set_value(text.row1);
    });
    SendCommand(ConnectClient(), R"({"command":"text","device":"0","row1":"again"})");
    auto received = row->get_future();
    ASSERT_EQ(received.wait_for(LogCapture::kPatience), std::future_status::ready);
    EXPECT_EQ(received.get(), "again");
    EXPECT_EQ(Access::Preferred(handler()), PreferredDeviceType::Any);
}

TEST_F(HandlerOnThePipe, WhileConnectWaitsAfterAReadFailure_NoCommandCanArrive) {
    Start();
    ConnectClient().Close();
    WaitUntilOffered();
    EXPECT_EQ(PipeServerAccess::Io(*Access::Server(handler())), nullptr) << "nobody reads";
    log().Clear();
    SendCommand(OpenClient(), R"({"command":"drop","device":"0"})");
    EXPECT_LT(Index("Connect end"), Index("task begin msg="));
}

TEST_F(HandlerOnThePipe, SecondClient_GetsTheEventsOfTasksThatWaitedDuringTheGap) {
    Start();
    ConnectClient().Close();
    WaitUntilOffered();
    for (int i = 0; i < 3; ++i) {
        handler().PostTask([this, i] { handler().SendIPCMesage("text " + std::to_string(i)); });
    }
    EXPECT_EQ(Access::QueuedTasks(handler()), 3u) << "the task thread waits for the client";
    ClientEnd& client = ConnectClient();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ReadText(client), "text " + std::to_string(i));
    }
}

TEST_F(HandlerOnThePipe, ClientsThatDie_NeverEndTheHost) {
    Start();
    std::atomic<int> quits{0};
    handler().SetQuitCallback([&quits] { ++quits; });
    for (int i = 0; i < 5; ++i) {
        ClientEnd& client = ConnectClient();
        if (i % 2 == 1) {
            EXPECT_TRUE(client.Write(JsonFrame(R"({"command":"init"})").substr(0, 4 + i)));
        }
        client.Close();
        EXPECT_TRUE(
            log().WaitForCount("Read data error, terminate ReadThread", static_cast<std::size_t>(i) + 1));
    }
    ClientEnd& client = ConnectClient();
    ASSERT_TRUE(client.Write(PingFrame()));
    EXPECT_EQ(client.ReadFrame(), PingReplyFrame());
    EXPECT_EQ(quits, 0);
    EXPECT_TRUE(TrackwireRecords().empty()) << "no telemetry for a loss";
    EXPECT_TRUE(SentEvents().empty()) << "no event either";
    EXPECT_TRUE(log().WaitForCount("IPC connected", 6));
    EXPECT_EQ(log().Find("IPC connected").size(), 6u);
}

TEST_F(HandlerOnThePipe, LossOfAClient_MakesNoSpeechCall) {
    Start();
    EvaluateRequest request;
    request.audio_data = new std::uint8_t[1]{1};
    request.audio_size = 1;
    ClientEnd& client = ConnectClient();
    handler().PostTask([this, request] { handler().RequestMultipleEvaluation("k", request, 0); });
    ASSERT_TRUE(WaitUntil([] { return SpeechCalls().back() == "2:evaluate"; }));
    const auto calls = SpeechCalls();
    client.Close();
    ConnectClient();
    EXPECT_EQ(SpeechCalls(), calls);
    EXPECT_EQ(Access::EvaluateRequests(handler()).count("k"), 1u) << "it can still be answered";
    delete[] request.audio_data;
}

TEST_F(HandlerOnThePipe, ReadFailureDuringALongTask_IsHandledOnlyAfterThatTask) {
    Start();
    ClientEnd& client = ConnectClient();
    HeldTask held(handler());
    client.Close();
    EXPECT_TRUE(log().WaitFor("Read data error, terminate ReadThread"));
    EXPECT_TRUE(WaitUntil([this] { return Access::QueuedTasks(handler()) == 1; }));
    EXPECT_TRUE(log().OfFunction("PipeServer::Disconnect").empty());
    held.Release();
    ConnectClient();
    EXPECT_EQ(log().OfFunction("PipeServer::Disconnect").size(), 1u);
}

TEST_F(HandlerOnThePipe, Quit_CallsTheHostsCallbackAndNothingElse) {
    Start();
    const Signal quit;
    handler().SetQuitCallback([quit] { quit.Set(); });
    ClientEnd& client = ConnectClient();
    SendCommand(client, R"({"command":"quit"})");
    EXPECT_TRUE(quit.Wait());
    ASSERT_TRUE(client.Write(PingFrame()));
    EXPECT_EQ(client.ReadFrame(), PingReplyFrame()) << "the library goes on serving";
}

#if !defined(_WIN32)
TEST_F(HandlerOnThePipe, FailedCreationOfThePipe_IsLoggedAsConnectedAllTheSame) {
    FailNextServerPipe(5);
    handler().Initialize();
    EXPECT_TRUE(log().WaitFor("IPC connected"));
    EXPECT_TRUE(log().Has(LogLevel::Warn, "CreateNamedPipe failed:5"));
    const Signal ran;
    handler().PostTask([ran] { ran.Set(); });
    EXPECT_TRUE(ran.Wait());
}

TEST_F(HandlerOnThePipe, FailedCreationOfTheNextInstance_LeavesNoPipe_AndTasksRunAndEventsAreLost) {
    Start();
    ClientEnd& client = ConnectClient();
    EXPECT_TRUE(log().WaitForCount("IPC connected", 1));
    log().Clear();
    FailNextServerPipe(231);
    client.Close();
    ASSERT_TRUE(log().WaitFor("IPC connected"));
    EXPECT_TRUE(log().Has(LogLevel::Warn, "CreateNamedPipe failed:231"));
    EXPECT_TRUE(log().Has(LogLevel::Warn, "ConnectNamedPipe failed:6"));
    const Signal ran;
    handler().PostTask([this, ran] {
        handler().SendIPCMesage("lost");
        ran.Set();
    });
    ASSERT_TRUE(ran.Wait());
    PipeServer& server = *Access::Server(handler());
    EXPECT_EQ(PipeServerAccess::Pipe(server), InvalidPipeHandle());
    EXPECT_EQ(PipeServerAccess::Io(server), nullptr);
    EXPECT_EQ(log().OfFunction("PipeServer::SendMsg").size(), 1u);
    // Nobody tries again: there is nothing to open, and nothing waits to be run.
    EXPECT_EQ(OpenServerPipe(std::chrono::milliseconds(300)), nullptr);
    EXPECT_EQ(log().Count("CreateServerPipe begin"), 1u);
    EXPECT_EQ(log().Count("Connect begin"), 1u);
    EXPECT_EQ(Access::QueuedTasks(handler()), 0u);
}
#endif

}  // namespace
}  // namespace vdipc::test
