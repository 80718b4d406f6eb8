#include "support/HandlerTest.h"

namespace vdipc::test {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::Field;
using testing::InSequence;
using testing::Return;

class HandlerRouting : public HandlerTest {
protected:
    void Init(const std::string& preferred) {
        Route(R"({"command":"init","id":"i","preferred-device-type":")" + preferred + R"("})");
    }
};

std::string Ask(const std::string& more = "") {
    return R"({"command":"ask","id":"a1","device":"0","type":"single-choice")" + more + "}";
}

TEST_F(HandlerRouting, MessageOnTheReaderThread_IsOnlyQueued) {
    AddAll(kDeviceStatusConnected);
    Access::OnIpcMsgReceived(handler(), "no JSON at all");
    EXPECT_FALSE(log().Contains("task begin"));
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_TRUE(log().Has(LogLevel::Debug, "task begin msg=no JSON at all"));
}

TEST_F(HandlerRouting, MessageBeforeAnyInit_IsReportedToTelemetryAndIgnored) {
    AddAll(kDeviceStatusConnected);
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), HandleText(_)).Times(0);
    }
    Route(R"({"command":"text","id":"t1","device":"0"})");
    ASSERT_EQ(TrackwireRecords("ipc_vdk_command_text").size(), 1u);
    EXPECT_EQ(TrackwireRecords("ipc_vdk_command_text")[0].Value("uniq_id"), "t1");
    EXPECT_TRUE(log().Has(LogLevel::Warn, "Cause none device is inited, ignore command"));
}

TEST_F(HandlerRouting, AnyCommandWhileNothingIsConnected_GoesToTelemetryAndIsIgnored) {
    AddAll(kDeviceStatusNotConnected);
    UseServer();
    Prefer(PreferredDeviceType::Any);
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), HandleAsk(_)).Times(0);
        EXPECT_CALL(Device(kind), HandleStop(_)).Times(0);
        EXPECT_CALL(Device(kind), HandleText(_)).Times(0);
        EXPECT_CALL(Device(kind), HandleHi(_)).Times(0);
        EXPECT_CALL(Device(kind), HandleDrop(_)).Times(0);
    }
    Route(Ask());
    Route(R"({"command":"stop","device":"0"})");
    Route(R"({"command":"text","device":"0"})");
    Route(R"({"command":"hi","device":"0","arguments":[]})");
    Route(R"({"command":"drop","device":"0"})");
    EXPECT_EQ(TrackwireRecords().size(), 5u);
    std::vector<std::string> refusals;
    for (const LogLine& line : log().Find("Cause none device is inited, ignore command")) {
        EXPECT_EQ(line.level, LogLevel::Warn) << line.function;
        refusals.push_back(line.function);
    }
    EXPECT_THAT(refusals, ElementsAre("IpcHandler::CallAsk", "IpcHandler::CallStop", "IpcHandler::CallText",
                                      "IpcHandler::CallHi", "IpcHandler::CallDrop"));
    EXPECT_TRUE(SentEvents().empty()) << "no command is ever answered with an error";
}

TEST_F(HandlerRouting, Command_ReachesEveryObjectInAscendingOrderOnceOneIsUsable) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::LW, kDeviceStatusConnected);
    Prefer(PreferredDeviceType::NonAudio);
    {
        InSequence order;
        for (const DeviceType kind : kAllKinds) {
            EXPECT_CALL(Device(kind), HandleAsk(Field(&CommandAsk::device, "7")));
        }
        for (const DeviceType kind : kAllKinds) {
            EXPECT_CALL(Device(kind), HandleStop(Field(&CommandStop::device, "8")));
        }
        for (const DeviceType kind : kAllKinds) {
            EXPECT_CALL(Device(kind), HandleText(Field(&CommandText::row1, "hello")));
        }
        for (const DeviceType kind : kAllKinds) {
            EXPECT_CALL(Device(kind), HandleHi(Field(&CommandHi::device, "10")));
        }
        for (const DeviceType kind : kAllKinds) {
            EXPECT_CALL(Device(kind), HandleDrop(Field(&CommandDrop::device, "11")));
        }
    }
    Route(R"({"command":"ask","device":"7","type":"true-false"})");
    Route(R"({"command":"stop","device":"8"})");
    Route(R"({"command":"text","device":"9","row1":"hello"})");
    Route(R"({"command":"hi","device":"10","arguments":[]})");
    Route(R"({"command":"drop","device":"11"})");
}

TEST_F(HandlerRouting, EmptyEntryOfTheMap_IsSteppedOver) {
    AddAll(kDeviceStatusConnected);
    Access::DeviceObjects(handler())[DeviceType::TQ1].reset();
    Prefer(PreferredDeviceType::Audio);
    EXPECT_CALL(Device(DeviceType::TQ2), HandleDrop(_));
    EXPECT_CALL(Device(DeviceType::LW), HandleDrop(_));
    Route(R"({"command":"drop","device":"0"})");
}

TEST_F(HandlerRouting, InitWithNonAudio_LeavesObjects1And3DownEvenWhenTheirHardwareIsPresent) {
    AddAll(kDeviceStatusConnected);
    EXPECT_CALL(Device(DeviceType::TQ2), Initialize()).Times(0);
    EXPECT_CALL(Device(DeviceType::RV2), Initialize()).Times(0);
    EXPECT_CALL(Device(DeviceType::TQ1), Initialize());
    EXPECT_CALL(Device(DeviceType::RV1), Initialize());
    EXPECT_CALL(Device(DeviceType::LW), Initialize());
    Init("non-audio");
    EXPECT_TRUE(log().Has(LogLevel::Debug, "preferred_device_type=0"));
}

TEST_F(HandlerRouting, LaterInitWithAudio_TakesObjects0And2And4DownAgain) {
    AddAll(kDeviceStatusConnected);
    Init("non-audio");
    for (const DeviceType kind : {DeviceType::TQ1, DeviceType::RV1, DeviceType::LW}) {
        EXPECT_CALL(Device(kind), Uninitialize());
        EXPECT_CALL(Device(kind), Initialize()).Times(0);
    }
    EXPECT_CALL(Device(DeviceType::TQ2), Initialize());
    EXPECT_CALL(Device(DeviceType::RV2), Initialize());
    Init("audio");
    EXPECT_EQ(Access::Preferred(handler()), PreferredDeviceType::Audio);
}

TEST_F(HandlerRouting, InitWithAny_TakesAllDownAscendingAndBringsUpIn02413) {
    AddAll(kDeviceStatusConnected);
    InSequence order;
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), GetActivatedDeviceSet());
        EXPECT_CALL(Device(kind), Uninitialize());
    }
    EXPECT_CALL(Device(DeviceType::TQ1), Initialize());
    EXPECT_CALL(Device(DeviceType::RV1), Initialize());
    EXPECT_CALL(Device(DeviceType::LW), Initialize());
    EXPECT_CALL(Device(DeviceType::TQ2), Initialize());
    EXPECT_CALL(Device(DeviceType::RV2), Initialize());
    Init("any");
}

TEST_F(HandlerRouting, InitWithNothingConnected_IsNotRefusedAndIsAnsweredWithDeviceInited) {
    AddAll(kDeviceStatusNotConnected);
    UseServer();
    Init("audio");
    ASSERT_EQ(SentEvents().size(), 1u);
    EXPECT_EQ(SentEvents()[0]["event"], "device-inited");
    EXPECT_FALSE(log().Contains("ignore command"));
}

TEST_F(HandlerRouting, Init_TellsTelemetryThenTheClientThenTheHost) {
    AddAll(kDeviceStatusConnected);
    UseServer();
    bool event_was_sent = false;
    std::size_t setters = 0;
    Access::StatusChangedCallbackOf(handler()) = [&](const std::int32_t*, const std::wstring&) {
        event_was_sent = SentEvents().size() == 1;
        setters = TrackwireSetters().size();
    };
    Init("any");
    EXPECT_TRUE(event_was_sent);
    EXPECT_EQ(setters, 3u);
    const auto lines = log().Lines();
    std::vector<std::string> order;
    for (const LogLine& line : lines) {
        if (line.function == "IpcHandler::UpdateDeviceInfoForTrackwire" ||
            line.function == "IpcHandler::NotifyVoteDecksStatusChanged" ||
            line.function == "PipeServer::SendMsg") {
            order.push_back(line.function);
        }
    }
    EXPECT_THAT(order, ElementsAre("IpcHandler::UpdateDeviceInfoForTrackwire", "PipeServer::SendMsg",
                                   "IpcHandler::NotifyVoteDecksStatusChanged"));
}

TEST_F(HandlerRouting, SecondInit_OnlyCopiesTheActivatedSets) {
    AddAll(kDeviceStatusConnected);
    ON_CALL(Device(DeviceType::TQ1), GetActivatedDeviceSet())
        .WillByDefault(Return(std::set<std::string>{"12", "345"}));
    Access::ActiveDevices(handler())[DeviceType::TQ1] = {"77"};
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), SetActivatedDeviceSet(_)).Times(0);
    }
    Init("any");
    EXPECT_THAT(Access::ActiveDevices(handler())[DeviceType::TQ1], ElementsAre("12", "345"));
    Init("any");
    EXPECT_THAT(Access::ActiveDevices(handler())[DeviceType::TQ1], ElementsAre("12", "345"));
}

TEST_F(HandlerRouting, SecondInitOfRealObjects_LeavesTheActivatedDevicesAsTheyWere) {
    Access::ActiveDevices(handler())[DeviceType::LW] = {"12", "345"};
    Access::CreateVoteDeckObjects(handler());
    Init("non-audio");
    Init("non-audio");
    EXPECT_THAT(Access::DeviceObjects(handler())[DeviceType::LW]->GetActivatedDeviceSet(),
                ElementsAre("12", "345"));
    EXPECT_THAT(Access::ActiveDevices(handler())[DeviceType::LW], ElementsAre("12", "345"));
}

TEST_F(HandlerRouting, FailedDecodingOfInit_LeavesTheOldPreferredType) {
    AddAll(kDeviceStatusConnected);
    UseServer();
    Init("any");
    ASSERT_EQ(SentEvents().size(), 1u);
    log().Clear();
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), Uninitialize()).Times(0);
        EXPECT_CALL(Device(kind), Initialize()).Times(0);
    }
    Init("Audio");
    EXPECT_EQ(Access::Preferred(handler()), PreferredDeviceType::Any);
    EXPECT_TRUE(SentEvents().empty());
    EXPECT_EQ(TrackwireRecords("ipc_vdk_command_init").size(), 1u);
}

class HandlerRoutingBadInput : public HandlerTest, public testing::WithParamInterface<const char*> {};

TEST_P(HandlerRoutingBadInput, Message_IsDroppedAfterOneLogLine) {
    AddAll(kDeviceStatusConnected);
    UseServer();
    Prefer(PreferredDeviceType::Any);
    log().Clear();
    Route(GetParam());
    ASSERT_EQ(log().Lines().size(), 1u) << log().Text();
    EXPECT_EQ(log().Lines()[0].level, LogLevel::Debug);
    EXPECT_EQ(log().Lines()[0].function, "IpcHandler::RouteMessage");
    EXPECT_EQ(log().Lines()[0].rest, std::string("task begin msg=") + GetParam());
    EXPECT_TRUE(TrackwireRecords().empty());
    EXPECT_TRUE(SentEvents().empty());
    EXPECT_EQ(Access::Preferred(handler()), PreferredDeviceType::Any);
}

INSTANTIATE_TEST_SUITE_P(All, HandlerRoutingBadInput,
                         testing::Values("", "hello", "[]", "7", "null", "{}", R"({"command":1})",
                                         R"({"command":"Init"})", R"({"command":"dance"})",
                                         R"({"command":"init"})",
                                         R"({"command":"init","preferred-device-type":"Audio"})", R"("init")",
                                         R"({"command":"ask","device":"0"})", R"({"command":"stop"})",
                                         R"({"command":"text","device":3})",
                                         R"({"command":"hi","device":"0"})", R"({"command":"drop"})"));

struct TelemetryRow {
    const char* text;
    std::vector<std::string> keys;
    std::vector<std::string> values;
};

class HandlerCommandTelemetry : public HandlerTest, public testing::WithParamInterface<TelemetryRow> {};

TEST_P(HandlerCommandTelemetry, Record_HasItsPairsInOrder) {
    AddAll(kDeviceStatusNotConnected);
    Route(GetParam().text);
    ASSERT_FALSE(TrackwireRecords().empty());
    const TrackwireRecord record = TrackwireRecords().front();
    std::vector<std::string> values;
    for (const auto& pair : record.pairs) {
        values.push_back(pair.value);
        EXPECT_EQ(pair.kind, 's') << pair.key;
    }
    std::vector<std::string> keys = {"Action", "uniq_id"};
    keys.insert(keys.end(), GetParam().keys.begin(), GetParam().keys.end());
    keys.emplace_back("reporttime");
    EXPECT_EQ(record.Keys(), keys);
    values.pop_back();
    EXPECT_EQ(values, GetParam().values);
}

const char kFullAsk[] =
    R"({"command":"ask","id":"2","device":"5","type":"audio-multiple-chn","row1":"a","row2":"",)"
    R"("row3":"c","custom":"cu","context":{"audio-file-name-prefix":"pre"}})";
const char kPlainAsk[] = R"({"command":"ask","device":"0","type":"general"})";
const char kHi[] = R"({"command":"hi","id":"5","device":"0","arguments":[]})";

INSTANTIATE_TEST_SUITE_P(
    All, HandlerCommandTelemetry,
    testing::Values(
        TelemetryRow{R"({"command":"init","id":"1","preferred-device-type":"non-audio"})",
                     {"preferred-device-type"},
                     {"ipc_vdk_command_init", "1", "non-audio"}},
        TelemetryRow{
            kFullAsk,
            {"type", "device", "row1", "row2", "row3", "custom", "audio-file-name-prefix", "full_msg"},
            {"ipc_vdk_command_ask", "2", "audio-multiple-chn", "5", "a", "", "c", "cu", "pre", kFullAsk}},
        TelemetryRow{kPlainAsk,
                     {"type", "device", "custom", "audio-file-name-prefix", "full_msg"},
                     {"ipc_vdk_command_ask", "", "general", "0", "", "", kPlainAsk}},
        TelemetryRow{R"({"command":"stop","id":"3","device":"0","row2":"b"})",
                     {"device", "row2"},
                     {"ipc_vdk_command_stop", "3", "0", "b"}},
        TelemetryRow{R"({"command":"text","id":"4","device":"9","row1":"a","row2":"b","row3":"c"})",
                     {"device", "row1", "row2", "row3"},
                     {"ipc_vdk_command_text", "4", "9", "a", "b", "c"}},
        TelemetryRow{kHi, {"device", "full_msg"}, {"ipc_vdk_command_hi", "5", "0", kHi}},
        TelemetryRow{
            R"({"command":"drop","id":"6","device":"3"})", {"device"}, {"ipc_vdk_command_drop", "6", "3"}},
        TelemetryRow{R"({"command":"quit","id":"7"})", {}, {"ipc_vdk_command_quit", "7"}}));

TEST_F(HandlerRouting, AskWithHasRow1False_HasNoRow1InTelemetry) {
    Route(Ask(R"(,"row1":7,"row2":"x")"));
    const auto records = TrackwireRecords("ipc_vdk_command_ask");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].Value("row1"), "<missing>");
    EXPECT_EQ(records[0].Value("row2"), "x");
}

TEST_F(HandlerRouting, Telemetry_GoesOutBeforeTheCommandHasAnyEffect) {
    AddAll(kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Any);
    std::size_t records = 0;
    EXPECT_CALL(Device(DeviceType::TQ1), HandleDrop(_)).WillOnce([&records](const CommandDrop&) {
        records = TrackwireRecords("ipc_vdk_command_drop").size();
    });
    Route(R"({"command":"drop","device":"0"})");
    EXPECT_EQ(records, 1u);
}

TEST_F(HandlerRouting, Quit_LogsButNotHandleAndThenCallsTheQuitCallback) {
    bool called = false;
    handler().SetQuitCallback([&called] { called = true; });
    Route(R"({"command":"quit","id":"q"})");
    const auto lines = log().Lines();
    std::size_t warned = lines.size();
    std::size_t reported = lines.size();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].rest == "Quit command received, but not handle") {
            warned = i;
            EXPECT_EQ(lines[i].level, LogLevel::Warn);
        } else if (lines[i].function == "IpcHandler::SendTrackwire") {
            reported = i;
        }
    }
    EXPECT_LT(warned, reported) << "the line stands before the telemetry";
    EXPECT_LT(reported, lines.size());
    EXPECT_FALSE(called) << "the callback waits behind what is queued";
    Access::RunTasks(handler());
    EXPECT_TRUE(called);
}

TEST_F(HandlerRouting, TelemetryOfQuit_GoesOutAheadOfTheCallAndOfTheCallback) {
    std::size_t records = 0;
    handler().SetQuitCallback([&records] { records = TrackwireRecords("ipc_vdk_command_quit").size(); });
    Route(R"({"command":"quit","id":"q"})");
    EXPECT_EQ(TrackwireRecords("ipc_vdk_command_quit").size(), 1u);
    std::vector<std::string> order;
    for (const LogLine& line : log().Lines()) {
        if (line.function == "IpcHandler::SendTrackwire" || line.function == "IpcHandler::CallQuit") {
            order.push_back(line.function);
        }
    }
    EXPECT_THAT(order, ElementsAre("IpcHandler::SendTrackwire", "IpcHandler::CallQuit"));
    Access::RunTasks(handler());
    EXPECT_EQ(records, 1u);
}

TEST_F(HandlerRouting, NoCommand_ClearsTheDisplays) {
    AddAll(kDeviceStatusConnected);
    for (const DeviceType kind : kAllKinds) {
        EXPECT_CALL(Device(kind), ClearTextForAllDevices()).Times(0);
    }
    Init("any");
    Route(Ask());
    Route(R"({"command":"stop","device":"0"})");
    Route(R"({"command":"text","device":"0","row1":"a"})");
    Route(R"({"command":"hi","device":"0","arguments":[]})");
    Route(R"({"command":"drop","device":"0"})");
    Route(R"({"command":"quit"})");
    EXPECT_EQ(TrackwireRecords().size(), 7u);
    Access::RunTasks(handler());
}

TEST_F(HandlerRouting, QuitCallback_RunsAfterEverythingThatWasQueued) {
    std::vector<std::string> order;
    handler().SetQuitCallback([&order] { order.emplace_back("quit"); });
    Access::OnIpcMsgReceived(handler(), R"({"command":"quit"})");
    handler().PostTask([&order] { order.emplace_back("queued before"); });
    Access::RunTasks(handler());
    EXPECT_THAT(order, ElementsAre("queued before", "quit"));
}

TEST_F(HandlerRouting, QuitWithoutCallback_DoesNothingElse) {
    Route(R"({"command":"quit"})");
    EXPECT_EQ(Access::RunTasks(handler()), 1u);
    EXPECT_EQ(TrackwireRecords("ipc_vdk_command_quit").size(), 1u);
}

TEST_F(HandlerRouting, CommandsInARow_AreHandledInOrderEvenWhenADeviceCallTakesLong) {
    AddAll(kDeviceStatusNotConnected);
    SetStatus(DeviceType::TQ1, kDeviceStatusConnected);
    Prefer(PreferredDeviceType::NonAudio);
    const Signal entered;
    const Signal release;
    std::vector<std::string> order;
    EXPECT_CALL(Device(DeviceType::TQ1), HandleAsk(_)).WillOnce([&](const CommandAsk&) {
        entered.Set();
        release.Wait();
        order.emplace_back("ask");
    });
    EXPECT_CALL(Device(DeviceType::TQ1), HandleText(_)).WillOnce([&](const CommandText&) {
        order.emplace_back("text");
    });
    EXPECT_CALL(Device(DeviceType::TQ1), HandleStop(_)).WillOnce([&](const CommandStop&) {
        order.emplace_back("stop");
    });
    StartTaskThread();
    Access::OnIpcMsgReceived(handler(), Ask());
    EXPECT_TRUE(entered.Wait());
    Access::OnIpcMsgReceived(handler(), R"({"command":"text","device":"0"})");
    Access::OnIpcMsgReceived(handler(), R"({"command":"stop","device":"0"})");
    EXPECT_EQ(Access::QueuedTasks(handler()), 2u);
    EXPECT_EQ(TrackwireRecords().size(), 1u) << "a later command isn't even looked at";
    release.Set();
    StopTaskThread();
    EXPECT_THAT(order, ElementsAre("ask", "text", "stop"));
}

}  // namespace
}  // namespace vdipc::test
