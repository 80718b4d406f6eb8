// Reasons that lie with clients, receivers, messages and runs, and events that come though nobody expects them: each planted
// through the real DLL and read back out of its log.

#include "tests/system/support/WhyTest.h"
#include "tools/common/WideText.h"
#include "vdipc/client/Frame.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::test {
namespace {

const std::string kHeard = "OnKeypadEvent:";

TEST_F(WhySystem, KeypadThatIsNotThere_IsToldFromOneThatWas) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 3);
    Do(R"({"do":"leave","keypad":1})");
    client.Expect("inactivated", R"({"device":"1"})");
    Command(client, "ask 0 single-choice custom=q1");
    Press(1, "A");  // logged off, and asked nothing before
    Command(client, "stop 0");
    Press(2, "A");
    Command(client, "ask 50 single-choice custom=nobody");
    Stop();
    Explain();
    Expect(Reason::LoggedOff, "1", "it had logged off at", {kHeard, "found=false", "bConnect=false"});
    Expect(Reason::ClosedByStopForAll, "2", "by the \"stop\" for all", {kHeard, "found=true"});
    Expect(Reason::NeverLoggedOn, "50", "has never logged on at any receiver in this run",
           {"task begin msg={\"command\":\"ask\""});
    ExpectNothingElse();
    // The same press, where the log begins behind the "stop".
    Explain("stop question record for device 3");
    Expect(Reason::ClosedUnknown, "2", "the log can't tell, since it begins later", {kHeard, "found=true"});
}

TEST_F(WhySystem, OlderQuestion_TakesTheSecondKeyToo) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    Command(client, "ask 0 single-choice custom=old");
    Do(R"({"do":"leave","keypad":1})");
    Command(client, "ask 0 true-false custom=new");
    Connect(R"("keypad":1)");
    Press(1, "T");
    Press(1, "A");
    client.Expect("key-pressed", R"({"custom":"old"})");
    Press(1, "B");
    Stop();
    Explain();
    const std::string asked = "cover question record for device";
    Expect(Reason::OlderQuestion, "1", "took the key: T doesn't count",
           {kHeard, "need_send=false", asked + " 1"});
    Expect(Reason::OlderQuestion, "1", "its event answers the older question",
           {kHeard, "need_send=true", asked + " 0", asked + " 1", "SendMsg"});
    Expect(Reason::OlderQuestion, "1", "took the key: it had answered",
           {kHeard, "answer_finished=true", asked + " 0", asked + " 1", "SendMsg"});
    ExpectNothingElse();
}

TEST_F(WhySystem, LibraryThatIsBusy_LetsEventsComeLate) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    Command(client, "ask 0 single-choice custom=q1");
    // Each of these keeps the library waiting for two seconds.
    Do(R"({"do":"station","state":"hang","notice":false})");
    Do(R"({"do":"notice","what":"nodes"})");
    Do(R"({"do":"notice","what":"nodes"})");
    Press(1, "A");
    client.Expect("key-pressed", R"({"device":"1"})");
    Do(R"({"do":"station","state":"up","notice":false})");
    Stop();
    Explain();
    Expect(Reason::EventLate, "1", "because the library was busy",
           {kHeard, "task begin ushDeviceId=1", "SendMsg"});
    ExpectNothingElse({Reason::DeviceInitedAgain});
}

TEST_F(WhySystem, PressWithoutAClient_IsLostOrNeverHasItsTurn) {
    const auto press = [this](std::size_t run) {
        TestClient client;
        Init(client);
        ConnectKeypads(client, "RV2", 1, 2);
        Command(client, "ask 1 single-choice custom=keys");
        Command(client, "ask 2 audio custom=words");
        Do(R"({"do":"speech","engine":"recognizer","mode":"hand"})");
        client.Disconnect();
        ASSERT_TRUE(WaitForLog("terminate ReadThread", run));
        Press(1, "A");
        Speak(2);
        ASSERT_TRUE(WaitForLog("OnKeypadAudioEvent:", run));
    };
    Start();
    press(1);
    Stop();
    Explain();
    // A stop lets what waits have its turn.
    Expect(Reason::EventLost, "1", "is lost, because the client was gone since",
           {kHeard, "need_send=true", "terminate ReadThread", "SendMsg"});
    Expect(Reason::SpeechNeverAnswered, "2", " later; whether it refused it the log can't tell",
           {"OnKeypadAudioEvent:", "recognize request_id"});
    ExpectNothingElse({Reason::EventMaybeLost});

    expect_clean_end_ = false;
    Start();
    press(2);
    TheHost().TheProcess().Kill();
    WaitForHostEnd();
    Explain("task loop end");
    Expect(Reason::NeverRun, "1", "waited for a client since", {kHeard, "terminate ReadThread"});
    Expect(Reason::NeverRun, "2", "waited for a client since",
           {"OnKeypadAudioEvent:", "terminate ReadThread"});
    ExpectNothingElse({Reason::EventMaybeLost, Reason::HostEnded});
}

TEST_F(WhySystem, ClientThatGoesInTheMiddle_MayHaveMissedTheLastEvents) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    Command(client, "ask 0 general custom=q1");
    // Presses go on while the client leaves: one of them is the last before its loss is noticed.
    std::string steps;
    for (int i = 0; i < 60; ++i) {
        steps += (i > 0 ? "," : "") + std::string(R"({"at_ms":)") + std::to_string(i * 50) +
                 R"(,"do":"key","keypad":1,"key":"A"})";
    }
    Do(R"({"do":"script","steps":[)" + steps + "]}");
    for (int i = 0; i < 5; ++i) {
        client.Expect("key-pressed", R"({"device":"1"})");
    }
    client.Disconnect();
    ASSERT_TRUE(WaitForLog("terminate ReadThread"));
    ASSERT_TRUE(WaitForLog("OnKeypadEvent:", 60));
    Stop();
    Explain();
    Expect(Reason::EventMaybeLost, "1", "whether the client still read it the log can't tell",
           {"SendMsg", "terminate ReadThread"});
    ExpectNothingElse({Reason::EventMaybeLost, Reason::EventLost, Reason::NeverRun});
}

TEST_F(WhySystem, NextClient_GetsWhatWasMeantForTheFormerOne) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 2);
    Command(client, "ask 1 voice-record custom=q1");
    Command(client, "ask 2 audio custom=q2");
    Do(R"({"do":"speech","engine":"recognizer","mode":"hand"})");
    Speak(2);
    ASSERT_TRUE(WaitForLog("recognize request_id="));
    client.Disconnect();
    ASSERT_TRUE(WaitForLog("Connect begin", 2));
    Speak(1);
    TestClient next;
    next.Connect();
    next.Expect("voice-record", R"({"device":"1"})");
    Do(R"({"do":"speech-answer","engine":"recognizer"})");
    next.Expect("audio-recognized", R"({"device":"2"})");
    Stop();
    Explain();
    const std::vector<std::string> evidence = {"OnKeypadAudioEvent:", "terminate ReadThread",
                                               "ConnectNamedPipe success", "SendMsg"};
    Expect(Reason::NextClient, "1", "while no client was connected (the former one was lost at", evidence);
    Expect(Reason::NextClient, "2", "and its client was lost at", evidence);
    ExpectNothingElse({Reason::EventMaybeLost});
}

TEST_F(WhySystem, ReceiversThatComeAndGo_AreNamed) {
    Start();
    Do(R"({"do":"plug","kind":"LW"})");
    TestClient client;
    Init(client, "any");
    ConnectKeypads(client, "RV2", 1, 1);
    ConnectKeypads(client, "LW", 2, 2);
    Command(client, "ask 0 single-choice custom=q1");
    Do(R"({"do":"unplug","kind":"LW"})");
    client.Expect("device-inited");
    Do(R"({"do":"station","state":"no-usb"})");
    client.Expect("device-inited", R"({"ready":false})");
    // The check comes every ten seconds.
    client.Expect("device-inited", R"({"ready":false})");
    Stop();
    Explain();
    Expect(Reason::ReceiverDown, "1", "its USB link is missing",
           {"cover question record for device 1", "SendMsg"});
    Expect(Reason::ReceiverDown, "2", "its connection is lost",
           {"cover question record for device 2", "SendMsg"});
    Expect(Reason::DeviceInitedAgain, "", "LW went down (its connection is lost)", {"SendMsg"});
    Expect(Reason::DeviceInitedAgain, "", "RV2 went down (its USB link is missing)", {"SendMsg"});
    Expect(Reason::DeviceInitedAgain, "", "still down, and its check says so every ten seconds", {"SendMsg"});
    ExpectNothingElse();
}

TEST_F(WhySystem, SpeechServicesThatRefuse_AreNotGuessedAt) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 3);
    Command(client, "ask 0 audio custom=refused");
    Do(R"({"do":"speech","engine":"recognizer","returns":-5})");
    Speak(1);
    ASSERT_TRUE(WaitForLog("recognize request_id="));
    Command(client, "ask 0 audio-single custom=silent stem=plum");
    Do(R"({"do":"speech","engine":"single","mode":"silent"})");
    Do(R"({"do":"speech","engine":"offline","mode":"silent"})");
    Speak(2);
    ASSERT_TRUE(WaitForLog("again"));
    Stop();
    Explain();
    Expect(Reason::SpeechNeverAnswered, "1", "whether it refused it the log can't tell",
           {"OnKeypadAudioEvent:", "recognize request_id"});
    Expect(Reason::SpeechNeverAnswered, "2", "made again of the offline evaluator",
           {"OnKeypadAudioEvent:", "evaluator sent online", "timeout task begin", "again"});
    ExpectNothingElse();
}

TEST_F(WhySystem, MessagesThatCannotBeDecoded_AreToldApart) {
    log_is_uncut_ = false;
    const std::string hi = R"({"command":"hi","device":"1","arguments":)";
    const std::vector<std::pair<std::string, std::string>> bad = {
        {"", "it has no text"},
        {"ask all of them", "its text is no JSON"},
        {R"({"command":"quit")", "its text is no JSON"},
        {std::string(1200, '[') + std::string(1200, ']'), "nested too deep"},
        {"[7]", "no object"},
        {"7", "no object"},
        {"{}", "it has no \"command\""},
        {R"({"command":7})", "its \"command\" is no text"},
        {R"({"command":"dance"})", "there is no command \"dance\""},
        {R"({"command":"Init"})", "there is no command \"Init\" (capitals count: \"init\")"},
        {R"({"command":"init"})", "it has no \"preferred-device-type\""},
        {R"({"command":"init","preferred-device-type":2})", "\"preferred-device-type\" is no text"},
        {R"({"command":"init","preferred-device-type":"all"})", "\"all\" is none of the known words"},
        {R"({"command":"ask","type":"general"})", "it has no \"device\""},
        {R"({"command":"ask","device":7,"type":"general"})", "a number and not a text: \"7\" is meant"},
        {R"({"command":"ask","device":["7"],"type":"general"})", "its \"device\" is no text"},
        {R"({"command":"ask","device":"0"})", "it has no \"type\""},
        {R"({"command":"ask","device":"0","type":"Audio"})", "capitals count: \"audio\""},
        {R"({"command":"ask","device":"0","type":"continuous-red-envelope"})",
         "is spelled \"continous-red-envelope\""},
        {R"({"command":"stop"})", "it has no \"device\""},
        {R"({"command":"text","device":null})", "it has no \"device\""},
        {R"({"command":"drop","device":1.5})", "a number and not a text"},
        {R"({"command":"hi","device":"1"})", "it has no \"arguments\""},
        {hi + "{}}", "its \"arguments\" are no array"},
        {hi + "[7]}", "element 1 of its \"arguments\": it is no object"},
        {hi + R"([{"type":"siren"}]})", "\"siren\" is none of the known words"},
        {hi + R"([{"type":"beep","times":1,"interval":1,"duration":1},{"type":"beep","times":1.5}]})",
         "element 2 of its \"arguments\": its \"times\" is no whole number"},
        {hi + R"([{"type":"led","times":1,"interval":1,"duration":1}]})", "it has no \"color\""},
        {hi + R"([{"type":"led","times":1,"interval":1,"duration":1,"color":"pink"}]})", "\"pink\" is none"},
        {R"({"command":"ask","device":"0","custom":")" + std::string(20000, 'x') + "\"}",
         "it has only the beginning of its text"},
    };
    // What looks odd, and is decoded all the same.
    const std::vector<std::string> good = {
        R"({"command":"ask","device":"0","type":"general","custom":7,"row1":[],"context":"none"})",
        R"(/* soon */ {"command":"stop","device":"0"})",
        R"({"command":"stop","device":"0"} and so on)",
        R"({"command":"drop","command":"stop","device":"0"})",
        R"({"command":"hi","device":"1","arguments":[]})",
        R"({"command":"stop","device":"0","row1":")" + std::string(20000, 'x') + "\"}",
    };
    Start();
    TestClient client;
    Init(client);
    for (std::size_t i = 0; i < std::max(bad.size(), good.size()); ++i) {
        if (i < bad.size()) {
            EXPECT_TRUE(client.SendBytes(client::JsonFrameBytes(bad[i].first)));
            client.Settle();
        }
        if (i < good.size()) {
            EXPECT_TRUE(client.SendBytes(client::JsonFrameBytes(good[i])));
            client.Settle();
        }
    }
    Stop();
    Explain();
    ASSERT_EQ(findings_.size(), bad.size()) << Told();
    for (std::size_t i = 0; i < bad.size(); ++i) {
        EXPECT_EQ(findings_[i].reason, Reason::CommandNotDecoded);
        EXPECT_NE(findings_[i].sentence.find(bad[i].second), std::string::npos)
            << bad[i].first.substr(0, 100) << "\n"
            << findings_[i].sentence;
    }
    Expect(Reason::CommandNotDecoded, "", "there is no command \"dance\"",
           {"msg received:", "task begin msg="});
}

TEST_F(WhySystem, HostThatIsKilled_IsNotExplained) {
    expect_clean_end_ = false;
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    TheHost().TheProcess().Kill();
    WaitForHostEnd();
    Explain();
    Expect(Reason::HostEnded, "", "the log can't tell why", {"][Trace]["});
    ExpectNothingElse({Reason::EventMaybeLost});
}

}  // namespace
}  // namespace vdipc::test
