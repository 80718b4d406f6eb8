// The base station through the real DLL: commands down, keys up, the watch over the station, and its script.

#include "tests/system/support/SystemTest.h"

namespace vdipc::test {
namespace {

class BaseStationSystem : public SystemTest {};

TEST_F(BaseStationSystem, Init_OpensTheSocketInOrder) {
    Start();
    TestClient client;
    Init(client);
    std::vector<std::string> station;
    for (const Json::Value& call : Saw()) {
        if (call["library"] == "SocketVoteDeck" && call["call"].asString().rfind("->", 0) != 0) {
            station.push_back(call["call"].asString());
        }
    }
    EXPECT_EQ(station, (std::vector<std::string>{"CreateVoteDeckObj", "SetListener", "InitSocket",
                                                 "SetSessionMode", "StartSession", "SetSessionEnabled"}));
    const Json::Value socket = Calls("InitSocket").at(0)["args"];
    EXPECT_EQ(socket["address"].asUInt(), 0xC0A8EA0AU);
    EXPECT_EQ(socket["port"], 4567);
    EXPECT_EQ(socket["timeout"], 10000);
    EXPECT_EQ(Calls("SetSessionMode").at(0)["args"]["mode"], 6);
    EXPECT_EQ(Calls("SetSessionMode").at(0)["args"]["option"], 0);
}

TEST_F(BaseStationSystem, RepeatedInit_IsAFullRestartAndKeepsTheKeypads) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 2);
    client.Send("init audio");
    client.Expect("device-inited");
    EXPECT_EQ(Calls("CreateVoteDeckObj").size(), 1U);
    EXPECT_EQ(Calls("SetListener").size(), 1U);
    EXPECT_EQ(Calls("InitSocket").size(), 2U);
    client.Send("hi 0 beep:1:2:3");
    ASSERT_TRUE(WaitForCalls("SendAlarm", 2));
}

TEST_F(BaseStationSystem, InitWithNonAudio_LeavesTheStationAlone) {
    Start();
    TestClient client;
    client.Connect();
    client.Send("init non-audio");
    const Json::Value event = client.Expect("device-inited");
    EXPECT_EQ(event["ready"], false);
    // No reason of the base station's, which isn't asked: the value that the look at all kinds starts from.
    EXPECT_EQ(event["info"], "not-connected");
    EXPECT_TRUE(event["avaliable-device"].isNull());
    EXPECT_TRUE(event["avaliable-device-info"].isNull());
    EXPECT_TRUE(Calls("CreateVoteDeckObj").empty());
}

TEST_F(BaseStationSystem, StationWithoutPower_IsToldInTheAnswer) {
    environment_["CLASSROOM_STATION"] = "no-power";
    Start();
    TestClient client;
    client.Connect();
    client.Send("init audio");
    const Json::Value event = client.Expect("device-inited");
    EXPECT_EQ(event["ready"], false);
    EXPECT_EQ(event["info"], "no-power");
    ASSERT_TRUE(WaitForStatus([](const Json::Value& statuses) { return statuses["RV2"] == 120; }));
}

TEST_F(BaseStationSystem, SocketRefused_IsToldAsIpNotSet) {
    Start();
    TestClient client;
    client.Connect();
    Do(R"({"do":"station","socket":"refuse"})");
    client.Send("init audio");
    const Json::Value event = client.Expect("device-inited");
    EXPECT_EQ(event["info"], "ip-not-set");
    ASSERT_TRUE(WaitForStatus([](const Json::Value& statuses) { return statuses["RV2"] == 112; }));
}

TEST_F(BaseStationSystem, QuestionForAll_GoesOutOnceAndEveryAnswerComesBackOnce) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 30);
    client.Send("ask 0 single-choice custom=q1");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    EXPECT_EQ(Calls("StartQuestion").at(0)["args"]["type"], 2);
    EXPECT_EQ(Calls("StartQuestion").at(0)["args"]["device"], 0);
    Do(R"({"do":"key","kind":"RV2","from":1,"to":30,"key":"C","times":3})");
    for (int keypad = 1; keypad <= 30; ++keypad) {
        client.Expect("key-pressed",
                      R"({"key":"C","custom":"q1","device":")" + std::to_string(keypad) + R"("})");
    }
    ASSERT_TRUE(WaitForLog("OnKeypadEvent", 90));
    client.Settle();
    EXPECT_TRUE(client.Rest().empty());
}

TEST_F(BaseStationSystem, HiForAll_GoesToEachKeypadInTheOrderOfItsText) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 9, 10);
    client.Send("hi 0 beep:1:2:3 motor:4:5:6 led:red:7:8:9");
    ASSERT_TRUE(WaitForCalls("SendFlashing", 2));
    std::vector<std::string> sends;
    for (const Json::Value& call : Saw()) {
        const std::string name = call["call"].asString();
        if (name.rfind("Send", 0) == 0) {
            sends.push_back(name + " " + call["args"]["device"].asString());
        }
    }
    EXPECT_EQ(sends, (std::vector<std::string>{"SendAlarm 10", "SendVibrate 10", "SendFlashing 10",
                                               "SendAlarm 9", "SendVibrate 9", "SendFlashing 9"}));
    const Json::Value flashing = Calls("SendFlashing").at(0)["args"];
    EXPECT_EQ(flashing["color"], 4);
    EXPECT_EQ(flashing["times"], 7);
    EXPECT_EQ(flashing["interval"], 8);
    EXPECT_EQ(flashing["duration"], 9);
}

TEST_F(BaseStationSystem, HiForAllWithoutKeypads_SendsNothing) {
    Start();
    TestClient client;
    Init(client);
    client.Send("hi 0 beep:1:2:3");
    client.Send("text 5 row1=after");
    ASSERT_TRUE(WaitForCalls("SendContext", 1));
    EXPECT_TRUE(Calls("SendAlarm").empty());
}

TEST_F(BaseStationSystem, EmptyRow_GoesOutAsABlankAndOthersAreKept) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 4, 4);
    client.Send("text 4 row1=one row2=two row3=three");
    client.Send(R"(text 4 row2="")");
    ASSERT_TRUE(WaitForCalls("SendContext", 2));
    const Json::Value args = Calls("SendContext").at(1)["args"];
    EXPECT_EQ(args["row1"]["text"], "one");
    EXPECT_EQ(args["row2"]["text"], " ");
    EXPECT_EQ(args["row3"]["text"], "three");
}

TEST_F(BaseStationSystem, StopAndDropClearDisplaysAtTheEnd) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 2);
    client.Send("drop 2");
    client.Send("text 1 row1=last");
    ASSERT_TRUE(WaitForCalls("SendContext", 1));
    Stop();
    // One call for each activated keypad, and one for the dropped one, with blanks or the empty rows given.
    EXPECT_EQ(CountInLog("rv2.0 SendContext device_id=1, row1=' ', row2=' ', row3=' '"), 1U);
    EXPECT_EQ(
        CountInLog("device has been dropped but still SetContext device_id=2, row1=' ', row2=' ', row3=' '"),
        1U);
}

TEST_F(BaseStationSystem, DroppedKeypad_IsHeardNoMoreUntilItsOwnQuestion) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 2);
    client.Send("ask 0 single-choice custom=q1");
    client.Send("drop 2");
    client.Send("ask 0 single-choice custom=q2");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 2));
    Do(R"({"do":"key","kind":"RV2","keypad":2,"key":"A"})");
    Do(R"({"do":"key","kind":"RV2","keypad":1,"key":"A"})");
    client.Expect("key-pressed", R"({"device":"1","custom":"q2"})");
    client.Settle();
    EXPECT_TRUE(client.Rest().empty());
    client.Send("ask 2 single-choice custom=q3");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 3));
    Do(R"({"do":"key","kind":"RV2","keypad":2,"key":"B"})");
    client.Expect("key-pressed", R"({"device":"2","custom":"q3","key":"B"})");
}

TEST_F(BaseStationSystem, LeavingKeypad_IsInactivatedAndSaved) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 2);
    Do(R"({"do":"leave","kind":"RV2","keypad":1})");
    client.Expect("inactivated", R"({"device":"1"})");
    ASSERT_TRUE(WaitFor([this] {
        const std::string text = GetFile("devices.json");
        return !text.empty() && Parsed(text)["RV2"].size() == 1;
    }));
}

TEST_F(BaseStationSystem, PowerLostAndBack_IsToldAsRemovedAndArrived) {
    Start();
    TestClient client;
    Init(client);
    Do(R"({"do":"station","state":"no-power"})");
    client.Expect("removed", R"({"info":"no-power"})");
    client.Expect("device-inited", R"({"ready":false,"info":"no-power"})");
    Do(R"({"do":"station","state":"up"})");
    client.Expect("arrived");
    client.Expect("device-inited", R"({"ready":true})");
    EXPECT_EQ(Calls("CreateVoteDeckObj").size(), 1U);
    EXPECT_EQ(Calls("CloseSocket").size(), 1U);
}

TEST_F(BaseStationSystem, StationThatStaysDown_SaysSoAtTheTimedCheckToo) {
    environment_["CLASSROOM_STATION"] = "no-usb";
    Start();
    TestClient client;
    Init(client);
    // No notice is sent: the status thread's own 10 seconds bring this one.
    const auto begin = std::chrono::steady_clock::now();
    client.Expect("device-inited", R"({"ready":false,"info":"not-connected"})");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_TRUE(client.All("removed").empty());
}

TEST_F(BaseStationSystem, ScriptThatHangs_ChangesNothing) {
    Start();
    TestClient client;
    Init(client);
    Do(R"({"do":"station","state":"hang"})");
    Do(R"({"do":"notice","what":"nodes"})");
    ASSERT_TRUE(WaitForLog("CheckStatus timeout for rv2, skip."));
    client.Settle();
    EXPECT_TRUE(client.Rest().empty());
    Do(R"({"do":"station","state":"up"})");
}

TEST_F(BaseStationSystem, EveryEvent_HasATelemetryRecordWithItsIdAndTheStampLast) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 3, 3);
    client.Send("ask 3 single-choice custom=q1");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    Do(R"({"do":"key","kind":"RV2","keypad":3,"key":"B"})");
    const Json::Value event = client.Expect("key-pressed");
    ASSERT_TRUE(WaitFor([this] { return Telemetry("ipc_vdk_event_key_pressed").size() == 1; }));
    const Json::Value pairs = Telemetry("ipc_vdk_event_key_pressed").at(0)["pairs"];
    std::vector<std::string> keys;
    for (const Json::Value& pair : pairs) {
        keys.push_back(pair[0].asString());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"Action", "uniq_id", "device", "key", "extra", "custom", "rssi",
                                              "device_name", "channel", "reporttime"}));
    EXPECT_EQ(pairs[1][1], event["id"]);
    EXPECT_EQ(event["id"].asString().size(), 36U);
    EXPECT_EQ(pairs[6][1].asString(), "0");
    EXPECT_EQ(pairs[7][1], "RV2");
}

TEST_F(BaseStationSystem, CallbacksThatAreOnlyLogged_ChangeNothing) {
    Start();
    TestClient client;
    Init(client);
    for (const char* const name : {"OnKeypadStateEvent", "OnKeypadLowBatteryEvent", "OnMCUUpdateProgress",
                                   "OnRepeatedConnectionKeypad", "OnLogEvent"}) {
        Do(std::string(R"({"do":"event","kind":"RV2","name":")") + name + R"("})");
        EXPECT_TRUE(WaitForLog(std::string("VoteDeckObject_RV2::") + name + ":")) << name;
    }
    client.Settle();
    EXPECT_TRUE(client.Rest().empty());
}

}  // namespace
}  // namespace vdipc::test
