#include "unit/standin/support/Classroom.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace vdipc::classroom::test {
namespace {

using Words = std::vector<std::string>;

class ReceiverTest : public ClassroomTest {
protected:
    ReceiverListener listener;
};

class EachReceiver : public ClassroomTest, public testing::WithParamInterface<Kind> {
protected:
    std::string Name() const { return KindName(GetParam()); }
    std::string Action(const std::string& name, const std::string& rest = "") const {
        return "{\"do\":\"" + name + "\",\"kind\":\"" + Name() + "\"" + (rest.empty() ? "" : ",") + rest +
               "}";
    }
    ReceiverListener listener;
};

INSTANTIATE_TEST_SUITE_P(Kinds, EachReceiver, testing::ValuesIn(kUsbKinds),
                         [](const auto& kind) { return std::string(KindName(kind.param)); });

TEST_P(EachReceiver, Keypads_BindPressSpeakAndUnbind) {
    OpenReceiver(GetParam(), listener);
    Do(Action("connect", R"("keypad":70000)"));
    Do(Action("key", R"("keypad":70000,"key":"T2","times":3,"recv":2,"rssi":12)"));
    Do(Action("audio", R"("keypad":70000,"bytes":100,"first":"abc","lost":0.25)"));
    Do(Action("leave", R"("keypad":70000)"));
    EXPECT_EQ((Words{"bind 70000", "key 70000 7 x3 of 2 at 12", "audio 70000 abc 100 25%", "unbind 70000"}),
              listener.heard.All());
    EXPECT_TRUE(world.graveyard.Holds(listener.last_audio));
    EXPECT_EQ(0xDD, *listener.last_audio);
    EXPECT_TRUE(Misuses().empty());
}

TEST_P(EachReceiver, PlugAndUnplug_NotifyAndCallBack) {
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    Do(Action("unplug"));
    EXPECT_FALSE(receiver.IsConnected());
    EXPECT_EQ(0, Do(Action("key", R"("keypad":1,"key":1)"))["callbacks"].asInt());
    Do(Action("plug"));
    EXPECT_TRUE(receiver.IsConnected());
    EXPECT_EQ((Words{"disconnected", "connected"}), listener.heard.All());
    ASSERT_EQ(4U, notices.notices.size());
    const bool port = GetParam() == Kind::RV1;
    EXPECT_EQ(kNoticeRemoved, notices.notices[0].what);
    EXPECT_EQ(kNoticeNodes, notices.notices[1].what);
    EXPECT_EQ(UsbNotice::Type::None, notices.notices[1].type);
    EXPECT_EQ(kNoticeArrival, notices.notices[2].what);
    EXPECT_EQ(port ? UsbNotice::Type::Port : UsbNotice::Type::Interface, notices.notices[2].type);
    EXPECT_EQ(port ? "COM7" : "\\\\?\\HID#SIMULATED_" + Name() + "#1#{4d1e55b2-f16f-11cf-88cb-001111000030}",
              notices.notices[2].name);
}

TEST_P(EachReceiver, PlugTwice_IsPlugOnce) {
    OpenReceiver(GetParam(), listener);
    EXPECT_EQ(0, Do(Action("plug"))["callbacks"].asInt());
    EXPECT_TRUE(notices.notices.empty());
}

TEST_P(EachReceiver, Link_FailsAndComesBackWithoutANotice) {
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    Do(Action("link", R"("state":"down")"));
    EXPECT_FALSE(receiver.IsConnected());
    Do(Action("link", R"("state":"up")"));
    EXPECT_TRUE(receiver.IsConnected());
    EXPECT_EQ((Words{"disconnected", "connected"}), listener.heard.All());
    EXPECT_TRUE(notices.notices.empty());
}

TEST_P(EachReceiver, LinkInParts_MovesOnlyThePartThatIsNamed) {
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    Do(Action("link", R"("state":"down","callback":false)"));
    EXPECT_FALSE(receiver.IsConnected());
    EXPECT_EQ(Words(), listener.heard.All());
    Do(Action("link", R"("connected":true)"));
    EXPECT_FALSE(receiver.IsConnected());
    EXPECT_EQ(Words{"connected"}, listener.heard.All());
}

TEST_P(EachReceiver, KeypadsThatMustNotAnnounce_WaitForTheirLeave) {
    Do(Action("connect", R"("from":1,"to":2)"));
    Do(Action("link", R"("announce":false)"));
    EXPECT_TRUE(OpenReceiver(GetParam(), listener).IsConnected());
    Do(Action("link", R"("state":"up","announce":true)"));
    EXPECT_EQ((Words{"connected", "bind 1", "bind 2"}), listener.heard.Await(3));
}

TEST_P(EachReceiver, IOError_EndsInAReconnectionOnceItIsHandled) {
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    Do(Action("io-error"));
    receiver.HandleIOError();
    EXPECT_EQ((Words{"io error", "disconnected", "connected"}), listener.heard.Await(3));
    EXPECT_TRUE(receiver.IsConnected());
    Do(Action("io-error", R"("stays_down":true)"));
    receiver.HandleIOError();
    EXPECT_EQ("disconnected", listener.heard.Await(5).at(4));
    EXPECT_FALSE(receiver.IsConnected());
    Do(Action("io-error", R"("other":true)"));
    EXPECT_EQ("io error elsewhere", listener.heard.All().at(5));
}

TEST_P(EachReceiver, DeviceInfo_IsAnyTextAndOldTextIsOverwritten) {
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    const char* const first = receiver.QueryDeviceInfo();
    EXPECT_EQ(Name(), Parse(first)["DeviceType"].asString());
    Do(Action("device-info", R"("text":"no JSON")"));
    EXPECT_STREQ("no JSON", receiver.QueryDeviceInfo());
    EXPECT_EQ('\xDD', *first);
    Do(Action("device-info", R"("hex":"ff")"));
    EXPECT_STREQ("\xFF", receiver.QueryDeviceInfo());
    Do(Action("get-device-info", R"("text":"u-1","number":-4)"));
    EXPECT_EQ(Words{"info u-1 -4"}, listener.heard.All());
}

TEST_P(EachReceiver, Channel_IsTakenOrSilentlyIsNot) {
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    receiver.SetChannel(nullptr, 5);
    EXPECT_EQ("5", State()["receivers"][Name()]["channel"].asString());
    EXPECT_EQ("5", Parse(receiver.QueryDeviceInfo())["Channel"].asString());
    Do(Action("channel", R"("accepts":false)"));
    receiver.SetChannel(nullptr, 6);
    EXPECT_EQ("5", Parse(receiver.QueryDeviceInfo())["Channel"].asString());
}

TEST_P(EachReceiver, EventsWithoutMeaning_AreCalledByName) {
    OpenReceiver(GetParam(), listener);
    const Words names = {"OnSetContextSuccess", "OnSendToDevice", "OnDataSentFailed",
                         "OnReSendCommend",     "OnSendData",     "OnReceiveData"};
    for (const std::string& name : names) {
        EXPECT_EQ(1, Do(Action("event", "\"name\":\"" + name + "\""))["callbacks"].asInt());
    }
    EXPECT_EQ(names, listener.heard.All());
    EXPECT_NE("done", Refusal(Action("event", R"("name":"OnLogEvent")")));
}

TEST_P(EachReceiver, ListenerTakenAway_EndsAllCallbacksAndWaitsForTheLast) {
    struct Slow : ReceiverListener {
        void OnUnbindCard(std::uint32_t) override {
            inside = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            left = true;
        }
        std::atomic<bool> inside{false};
        std::atomic<bool> left{false};
    } slow;
    ReceiverObject& receiver = OpenReceiver(GetParam(), slow);
    Do(Action("leave", R"("keypad":1,"wait":false)"));
    while (!slow.inside) {
        std::this_thread::yield();
    }
    receiver.SetListener(static_cast<IVoteDeckEventOld*>(nullptr));
    EXPECT_TRUE(slow.left);
    EXPECT_EQ(0, Do(Action("key", R"("keypad":1,"key":1)"))["callbacks"].asInt());
    EXPECT_EQ(0, Do(Action("event", R"("name":"OnSendData")"))["callbacks"].asInt());
    EXPECT_TRUE(Misuses().empty());
}

TEST_P(EachReceiver, KeypadThatWasOnBefore_AnnouncesItselfOnce) {
    Do(Action("connect", R"("from":1,"to":2)"));
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    EXPECT_EQ((Words{"bind 1", "bind 2"}), listener.heard.Await(2));
    receiver.EnableBindCard(nullptr);
    Do(Action("unplug"));
    Do(Action("plug"));
    EXPECT_EQ((Words{"bind 1", "bind 2", "disconnected", "connected"}), listener.heard.All());
}

TEST_P(EachReceiver, Deleted_EveryCallIsMisuse) {
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    receiver.SetListener(static_cast<IVoteDeckEventOld*>(nullptr));
    receiver.DeletingDestructor(1);
    EXPECT_TRUE(Misuses().empty());
    receiver.IsConnected();
    receiver.SendQuestion(nullptr, EnumQuestionType{1}, 0);
    receiver.HandleIOError();
    receiver.DeletingDestructor(1);
    EXPECT_EQ(
        (Words{"IsConnected: the receiver was deleted", "SendQuestion: the receiver was deleted",
               "HandleIOError: the receiver was deleted", "DeletingDestructor: the receiver was deleted"}),
        Misuses());
}

TEST_P(EachReceiver, Locks_AreForTQ2Alone) {
    ReceiverObject& receiver = OpenReceiver(GetParam(), listener);
    Do(Action("connect", R"("keypad":3)"));
    receiver.SendQuestion(nullptr, EnumQuestionType{17}, 3);
    if (GetParam() == Kind::TQ2) {
        EXPECT_TRUE(Keypad(Kind::TQ2, 3)["locked"].asBool());
        receiver.SendQuestion(nullptr, EnumQuestionType{18}, 3);
        EXPECT_FALSE(Keypad(Kind::TQ2, 3)["locked"].asBool());
        EXPECT_TRUE(Misuses().empty());
    } else {
        EXPECT_EQ(Words{"SendQuestion: only a TQ2 can lock keypads"}, Misuses());
    }
}

TEST_F(ReceiverTest, Commands_MoveTheKeypads) {
    ReceiverObject& receiver = OpenReceiver(Kind::LW, listener);
    Do(R"({"do":"connect","kind":"LW","from":1,"to":2})");
    receiver.SendQuestion(nullptr, EnumQuestionType{6}, 0);
    receiver.SetContext(0, 1, "\xE4\xBD\xA0", "", "c", 0);
    receiver.Activate(2, 1, 2, 3, 4, 5, 6, 7, 8, 9, 3);
    const Json::Value first = Keypad(Kind::LW, 1);
    EXPECT_EQ("\xE4\xBD\xA0", first["rows"][0]["text"].asString());
    EXPECT_EQ("e4bda0", first["rows"][0]["hex"].asString());
    EXPECT_EQ("general", first["question"]["name"].asString());
    Json::Value second = Keypad(Kind::LW, 2);
    for (const char* const signal : {"beeper", "motor", "lamp"}) {
        Json::Value ms;
        EXPECT_TRUE(second[signal].removeMember("ms", &ms));
        EXPECT_LE(0.0, ms.asDouble());
    }
    EXPECT_EQ(CompactJson(Parse(R"({"duration":2,"interval":3,"times":1,"count":1})")),
              CompactJson(second["beeper"]));
    EXPECT_EQ(CompactJson(Parse(R"({"duration":5,"interval":6,"times":4,"count":1})")),
              CompactJson(second["motor"]));
    EXPECT_EQ(
        CompactJson(Parse(R"({"duration":8,"interval":9,"times":7,"count":1,"color":3,"name":"blue"})")),
        CompactJson(second["lamp"]));
    receiver.SendQuestion(nullptr, EnumQuestionType{128}, 0);
    EXPECT_TRUE(Keypad(Kind::LW, 1)["question"].isNull());
    EXPECT_TRUE(State()["receivers"]["LW"]["question"].isNull());
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(ReceiverTest, CompletionCallback_ComesOnAThreadOfTheLibrary) {
    ReceiverObject& receiver = OpenReceiver(Kind::TQ1, listener);
    Heard done;
    receiver.SendQuestion([&done](const CallBackInfo&) { done.Add("done"); }, EnumQuestionType{1}, 0);
    EXPECT_EQ(1U, done.Await(1).size());
    EXPECT_EQ(0U, done.Threads().count(std::this_thread::get_id()));
}

TEST_F(ReceiverTest, WrongValues_AreMisuse) {
    ReceiverObject& receiver = OpenReceiver(Kind::LW, listener);
    receiver.SendQuestion(nullptr, EnumQuestionType{7}, 0);
    receiver.SetContext(1, 1, "", "", "", 0);
    receiver.SetContext(0, 1, nullptr, "", "", 0);
    receiver.SetContext(0, 1, "\xFF", "", "", 0);
    receiver.Activate(1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    receiver.DeviceArrived(0, nullptr);
    receiver.Reserved5();
    receiver.DeletingDestructor(0);
    EXPECT_EQ((Words{"SendQuestion: there is no question type 7",
                     "SetContext: the first and the last argument are 0", "SetContext: a row is null",
                     "SetContext: LW takes rows in UTF-8", "Activate: there is no colour 0",
                     "DeviceArrived: the path is null", "control slot 5: a reserved slot was called",
                     "DeletingDestructor: the flags are 1",
                     "DeletingDestructor: the listener was not taken away before"}),
              Misuses());
}

TEST_F(ReceiverTest, DevicePaths_AreSeenAsUtf8) {
    ReceiverObject& receiver = OpenReceiver(Kind::TQ1, listener);
    receiver.DeviceArrived(0, L"\u4f60");
    const Json::Value seen = LastCall();
    EXPECT_EQ("DeviceArrived", seen["call"].asString());
    EXPECT_EQ("TQ1 1", seen["object"].asString());
    EXPECT_EQ("\xE4\xBD\xA0", seen["args"]["path"].asString());
}

TEST_F(ReceiverTest, ReceiverThatIsUnplugged_TakesNoCommands) {
    ReceiverObject& receiver = OpenReceiver(Kind::TQ1, listener);
    Do(R"([{"do":"connect","kind":"TQ1","keypad":1},{"do":"unplug","kind":"TQ1"}])");
    receiver.SetContext(0, 1, "a", "b", "c", 0);
    EXPECT_EQ(0, Keypad(Kind::TQ1, 1)["texts"].asInt());
    EXPECT_STREQ("", receiver.QueryDeviceInfo());
    EXPECT_TRUE(Misuses().empty());
}

TEST_F(ReceiverTest, LogLine_ReachesTheInstalledHandler) {
    static Heard* const lines = new Heard;
    world.SetLogHandler(
        [](std::int32_t level, const char* text) { lines->Add(std::to_string(level) + " " + text); });
    EXPECT_EQ(1, Do(R"({"do":"log","text":"50% {}","level":3})")["callbacks"].asInt());
    EXPECT_EQ(1, Do(R"({"do":"log","hex":"ff"})")["callbacks"].asInt());
    EXPECT_EQ((Words{"3 50% {}", "2 \xFF"}), lines->All());
    EXPECT_TRUE(State()["log_handler"].asBool());
    world.SetLogHandler(nullptr);
    EXPECT_EQ(0, Do(R"({"do":"log","text":"x"})")["callbacks"].asInt());
}

}  // namespace
}  // namespace vdipc::classroom::test
