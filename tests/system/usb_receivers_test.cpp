// The USB receivers through the real DLL: plugging, links, keypads that bind, and what each kind does its own way.

#include "tests/system/support/SystemTest.h"
#include "tools/common/ChannelInRegistry.h"

#include <map>
#include <set>

namespace vdipc::test {
namespace {

class UsbSystem : public SystemTest {
protected:
    UsbSystem() { environment_["CLASSROOM_PLUGGED"] = "TQ1,TQ2,RV1,LW"; }

    /// Arguments of the calls of this name on one kind of receiver, in order.
    std::vector<Json::Value> CallsOn(const std::string& kind, const std::string& call) {
        std::vector<Json::Value> found;
        for (const Json::Value& seen : Saw(call)) {
            if (seen["object"].asString().rfind(kind + " ", 0) == 0) {
                found.push_back(seen["args"]);
            }
        }
        return found;
    }

    std::size_t CountOn(const std::string& kind, const std::string& call) {
        return CallsOn(kind, call).size();
    }

    /// Questions and rows that one kind of receiver got, in order: "question 17 to 7", "rows to 7".
    std::vector<std::string> Journal(const std::string& kind) {
        std::vector<std::string> journal;
        for (const Json::Value& seen : Saw()) {
            const Json::Value& args = seen["args"];
            if (seen["object"].asString().rfind(kind + " ", 0) != 0) {
                continue;
            }
            if (seen["call"] == "SendQuestion") {
                journal.push_back("question " + args["type"].asString() + " to " + args["device"].asString());
            } else if (seen["call"] == "SetContext") {
                journal.push_back("rows to " + args["device"].asString());
            }
        }
        return journal;
    }

    /// A TQ2 receiver leaves its channel in the user's registry.
    tools::ChannelInRegistry no_channel_{"none"};
};

TEST_F(UsbSystem, InitAny_NamesAllFiveInTheOrderOfTheScan) {
    Start();
    TestClient client;
    client.Connect();
    client.Send("init any");
    const Json::Value event = client.Expect("device-inited", R"({"ready":true})");
    std::vector<std::string> kinds;
    for (const Json::Value& kind : event["avaliable-device"]) {
        kinds.push_back(kind.asString());
    }
    EXPECT_EQ(kinds, (std::vector<std::string>{"TQ1", "RV1", "LW", "TQ2", "RV2"}));
    EXPECT_FALSE(event.isMember("info"));
    EXPECT_EQ(event["avaliable-device-info"].getMemberNames().size(), 5U);
    ASSERT_TRUE(WaitForStatus([](const Json::Value& statuses) {
        return statuses["RV1"] == 100 && statuses["RV2"] == 111 && statuses["TQ1"] == 100 &&
               statuses["TQ2"] == 100 && statuses["LW"] == 100;
    }));
}

TEST_F(UsbSystem, TwoHundredKeypadsOnThreeKindsAtOnce_EachAnswerComesExactlyOnceUnderItsOwnId) {
    Start();
    TestClient client;
    Init(client, "any");
    const std::map<std::string, std::pair<int, int>> ranges = {
        {"TQ1", {1001, 1070}}, {"TQ2", {2001, 2070}}, {"RV2", {3001, 3060}}};
    for (const auto& [kind, range] : ranges) {
        ConnectKeypads(client, kind, range.first, range.second);
    }
    client.Send("ask 0 single-choice custom=storm");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    ASSERT_TRUE(WaitFor([this] { return CountOn("TQ2", "SendQuestion") >= 71; }));
    std::vector<std::thread> threads;
    for (const auto& [kind, range] : ranges) {
        threads.emplace_back([this, kind = kind, range = range] {
            tools::ClassroomClient classroom(TheHost().ClassroomPort());
            classroom.Do(Parsed(R"({"do":"key","kind":")" + kind + R"(","from":)" +
                                std::to_string(range.first) + R"(,"to":)" + std::to_string(range.second) +
                                R"(,"key":"B","repeat":2,"together":true})"));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& [kind, range] : ranges) {
        for (int keypad = range.first; keypad <= range.second; ++keypad) {
            client.Expect("key-pressed",
                          R"({"key":"B","custom":"storm","device":")" + std::to_string(keypad) + R"("})");
        }
    }
    client.Settle();
    EXPECT_EQ(client.All("key-pressed").size(), 200U);
}

TEST_F(UsbSystem, ReceiverPulledOutAndPluggedIn_IsToldAsRemovedAndArrived) {
    Start();
    TestClient client;
    Init(client, "non-audio");
    Do(R"({"do":"unplug","kind":"TQ1"})");
    client.Expect("removed", R"({"info":"not-connected"})");
    client.Expect("device-inited", R"({"ready":true})");
    Do(R"({"do":"plug","kind":"TQ1"})");
    client.Expect("arrived");
    client.Expect("device-inited", R"({"ready":true})");
    // The notices of the system reached the library's link level too, with the kind of an interface.
    ASSERT_TRUE(WaitForCalls("DeviceRemoved", 1, R"({"device_kind":0})"));
    ASSERT_TRUE(WaitForCalls("DeviceArrived", 1, R"({"device_kind":0})"));
}

TEST_F(UsbSystem, LastReceiverGone_GivesDeviceInitedNotReadyOnItsOwn) {
    environment_["CLASSROOM_PLUGGED"] = "TQ1";
    Start();
    TestClient client;
    Init(client, "non-audio");
    Do(R"({"do":"link","kind":"TQ1","state":"down"})");
    client.Expect("removed");
    client.Expect("device-inited", R"({"ready":false,"info":"not-connected"})");
}

TEST_F(UsbSystem, IoError_IsHandledAndTheLinkComesBack) {
    Start();
    TestClient client;
    Init(client, "non-audio");
    Do(R"({"do":"io-error","kind":"TQ1"})");
    ASSERT_TRUE(WaitForCalls("HandleIOError", 1));
    client.Expect("removed");
    client.Expect("arrived");
    Do(R"({"do":"io-error","kind":"TQ1","other":true})");
    ASSERT_TRUE(WaitForLog("VoteDeckObject_TQ::OnDeviceIOError:", 2));
    client.Send("hi 5");
    ASSERT_TRUE(WaitForCalls("Activate", 1));
    EXPECT_EQ(Calls("HandleIOError").size(), 1U);
}

TEST_F(UsbSystem, BoundKeypad_TQ2LocksItBeforeTheClientHears) {
    Start();
    TestClient client;
    Init(client, "audio");
    ConnectKeypads(client, "TQ2", 7, 7);
    const std::vector<Json::Value> questions = CallsOn("TQ2", "SendQuestion");
    ASSERT_EQ(questions.size(), 1U);
    EXPECT_EQ(questions[0]["type"], 17);
    EXPECT_EQ(questions[0]["device"], 7);
    Do(R"({"do":"leave","kind":"TQ2","keypad":7})");
    client.Expect("inactivated", R"({"device":"7"})");
    EXPECT_EQ(CallsOn("TQ2", "SendQuestion").at(1)["type"], 18);
}

TEST_F(UsbSystem, TextForOneKeypad_TQ2LocksItFirstAndTheOthersDoNot) {
    Start();
    TestClient client;
    Init(client, "any");
    ConnectKeypads(client, "TQ2", 7, 7);
    ConnectKeypads(client, "TQ1", 8, 8);
    client.Send("text 7 row1=locked");
    client.Send("text 8 row1=free");
    ASSERT_TRUE(WaitFor([this] { return CountOn("TQ1", "SetContext") >= 2; }));
    ASSERT_TRUE(WaitFor([this] { return CountOn("TQ2", "SetContext") >= 2; }));
    // The first lock is that of the binding. Nobody knows keypad 8 there, nor 7 on the other one.
    EXPECT_EQ(Journal("TQ2"),
              (std::vector<std::string>{"question 17 to 7", "question 17 to 7", "rows to 7", "rows to 8"}));
    EXPECT_EQ(Journal("TQ1"), (std::vector<std::string>{"rows to 7", "rows to 8"}));
}

TEST_F(UsbSystem, KeyOnRV1_ActivatesEveryTimeAndSendsTheTextAgain) {
    Start();
    TestClient client;
    Init(client, "non-audio");
    Do(R"({"do":"key","kind":"RV1","keypad":5,"key":"A"})");
    client.Expect("activated", R"({"device":"5"})");
    client.Send("ask 5 single-choice custom=rv1");
    ASSERT_TRUE(WaitFor([this] { return CountOn("RV1", "SendQuestion") >= 1; }));
    Do(R"({"do":"key","kind":"RV1","keypad":5,"key":"A"})");
    client.Expect("activated", R"({"device":"5"})");
    client.Expect("key-pressed", R"({"device":"5","custom":"rv1"})");
    ASSERT_TRUE(WaitForLog("recover context for rv1.0", 2));
}

TEST_F(UsbSystem, DroppedKeypadOnLW_ComesBackWithKeyNine) {
    Start();
    TestClient client;
    Init(client, "non-audio");
    ConnectKeypads(client, "LW", 5, 5);
    client.Send("ask 0 red-envelope custom=lw");
    client.Send("drop 5");
    // All keypads go over to one general question, for good.
    ASSERT_TRUE(WaitFor([this] {
        const std::vector<Json::Value> questions = CallsOn("LW", "SendQuestion");
        return !questions.empty() && questions.back()["type"] == 6 && questions.back()["device"] == 0;
    }));
    Do(R"({"do":"key","kind":"LW","keypad":5,"key":9})");
    client.Expect("activated", R"({"device":"5"})");
    // Behind the task of the key.
    client.Send("hi 5");
    ASSERT_TRUE(WaitFor([this] { return CountOn("LW", "Activate") >= 1; }));
    client.Settle();
    EXPECT_TRUE(client.All("key-pressed").empty()) << "the key only brings the keypad back";
    Do(R"({"do":"key","kind":"LW","keypad":5,"key":9})");
    client.Expect("key-pressed", R"({"device":"5","key":"G","custom":"lw"})");
    const std::size_t before = CountOn("LW", "SendQuestion");
    client.Send("ask 0 true-false custom=later");
    ASSERT_TRUE(WaitForLog("LW donot start question"));
    EXPECT_EQ(CountOn("LW", "SendQuestion"), before);
}

TEST_F(UsbSystem, RowsOnLW_GoOutAsUtf8WithTheSecondInThePlaceOfTheThird) {
    Start();
    TestClient client;
    Init(client, "non-audio");
    ConnectKeypads(client, "LW", 5, 5);
    client.Send("text 5 row1=été row2=two row3=three");
    ASSERT_TRUE(WaitFor([this] { return CountOn("LW", "SetContext") >= 1; }));
    const Json::Value args = CallsOn("LW", "SetContext").at(0);
    EXPECT_EQ(args["row1"]["hex"], "c3a974c3a9");
    EXPECT_EQ(args["row2"]["text"], "");
    EXPECT_EQ(args["row3"]["text"], "two");
}

TEST_F(UsbSystem, DeviceInformation_GoesToTheClientAndToTelemetry) {
    environment_["CLASSROOM_PLUGGED"] = "TQ1";
    Start();
    TestClient client;
    client.Connect();
    Do(R"({"do":"device-info","kind":"TQ1","text":"{\"UID\":\"u-1\",\"SoftWare\":\"1.2\",\"HardWare\":\"B\",\"Company\":\"acme\",\"Channel\":\"9\",\"TX_POWER\":\"3\"}"})");
    client.Send("init non-audio");
    const Json::Value info = client.Expect("device-inited")["avaliable-device-info"]["TQ1"];
    EXPECT_EQ(info["uid"], "u-1");
    EXPECT_EQ(info["software-version"], "1.2");
    EXPECT_EQ(info["hardware-version"], "B");
    EXPECT_EQ(info["company"], "acme");
    EXPECT_EQ(info["channel"], "9");
    EXPECT_EQ(info["tx-power"], "3");
    Do(R"({"do":"get-device-info","kind":"TQ1","text":"abc","number":4})");
    ASSERT_TRUE(WaitFor([this] { return Telemetry("vdk_get_device_info").size() == 1; }));
    const Json::Value pairs = Telemetry("vdk_get_device_info").at(0)["pairs"];
    EXPECT_EQ(pairs[1][1], "abc");
    EXPECT_EQ(pairs[2][1].asString(), "4");
    EXPECT_EQ(pairs[3][1], "TQ1");
    EXPECT_EQ(pairs[4][1], "9");
}

TEST_F(UsbSystem, ChosenChannel_IsSetOnAReceiverOnAnotherOneAndToldAtOnce) {
    const tools::ChannelInRegistry chosen("5");
    environment_["CLASSROOM_PLUGGED"] = "TQ2";
    Start();
    TestClient client;
    client.Connect();
    Do(R"({"do":"device-info","kind":"TQ2","text":"{\"Channel\":\"7\"}"})");
    client.Send("init audio");
    EXPECT_EQ(client.Expect("device-inited")["avaliable-device-info"]["TQ2"]["channel"], "5");
    EXPECT_EQ(CountOn("TQ2", "SetChannel"), 1U);
    EXPECT_EQ(CallsOn("TQ2", "SetChannel").at(0)["channel"], 5);
    EXPECT_EQ(State()["receivers"]["TQ2"]["channel"], "5");
}

TEST_F(UsbSystem, InformationThatIsNoJson_HarmsNothing) {
    environment_["CLASSROOM_PLUGGED"] = "TQ1";
    Start();
    TestClient client;
    client.Connect();
    Do(R"({"do":"device-info","kind":"TQ1","hex":"ff00fe7b7b7b"})");
    client.Send("init non-audio");
    EXPECT_EQ(client.Expect("device-inited")["avaliable-device-info"]["TQ1"]["uid"], "");
}

TEST_F(UsbSystem, LinesOfTheReceiversLibrary_LandInTheSameLog) {
    Start();
    Do(R"({"do":"log","text":"a line of the receivers' library","level":2})");
    EXPECT_TRUE(WaitForLog("a line of the receivers' library"));
}

TEST_F(UsbSystem, SignalStrength_IsReportedToTelemetryAsANumber) {
    Start();
    TestClient client;
    Init(client, "non-audio");
    ConnectKeypads(client, "TQ1", 5, 5);
    client.Send("ask 5 general custom=x");
    ASSERT_TRUE(WaitFor([this] { return CountOn("TQ1", "SendQuestion") >= 1; }));
    Do(R"({"do":"key","kind":"TQ1","keypad":5,"key":"A","rssi":77})");
    client.Expect("key-pressed");
    ASSERT_TRUE(WaitFor([this] { return Telemetry("ipc_vdk_event_key_pressed").size() == 1; }));
    const Json::Value rssi = Telemetry("ipc_vdk_event_key_pressed").at(0)["pairs"][6];
    EXPECT_EQ(rssi[0], "rssi");
    EXPECT_EQ(rssi[1].asString(), "77");
    EXPECT_EQ(rssi[2], "u32");
}

TEST_F(UsbSystem, CallbacksThatAreOnlyLogged_ChangeNothing) {
    Start();
    TestClient client;
    Init(client, "non-audio");
    for (const char* const name : {"OnSetContextSuccess", "OnSendToDevice", "OnDataSentFailed",
                                   "OnReSendCommend", "OnSendData", "OnReceiveData"}) {
        Do(std::string(R"({"do":"event","kind":"TQ1","name":")") + name + R"("})");
        EXPECT_TRUE(WaitForLog(std::string("VoteDeckObject_TQ::") + name + ":")) << name;
    }
    client.Settle();
    EXPECT_TRUE(client.Rest().empty());
}

}  // namespace
}  // namespace vdipc::test
