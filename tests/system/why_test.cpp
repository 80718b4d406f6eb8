// Each reason for a silent keypad, planted through the real DLL and read back out of its log.

#include "tests/system/support/WhyTest.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace vdipc::test {
namespace {

TEST_F(WhySystem, SilentKeys_HaveTheirReasons) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 1);
    Press(1, "A");  // asked nothing
    Command(client, "ask 0 single-choice custom=early");
    Connect(R"("from":2,"to":9)");  // after the question for all
    Press(2, "B");
    Press(99, "C");  // never logged on
    Command(client, "ask 0 single-choice custom=single");
    Press(1, "T");  // doesn't count
    Press(1, "A");
    Press(1, "B");  // has answered
    Command(client, "stop 3");
    Press(3, "A");
    Command(client, "drop 4");
    Press(4, "A");
    Command(client, "stop 0");
    Press(5, "A");
    Command(client, R"({"command":"ask","device":"0","type":"Single-Choice","custom":"capitals"})");
    Press(6, "A");  // the question couldn't be decoded
    Command(client, "ask 0 single-choice custom=old");
    Do(R"({"do":"leave","keypad":7})");
    Command(client, "ask 0 single-choice custom=new");
    Connect(R"("keypad":7)");
    Press(7, "D");  // answers the older one
    Do(R"({"do":"leave","keypad":8})");
    Command(client, "stop 8");
    Press(8, "D");  // logged off, and closed
    Command(client, "ask 9 multiple-choice custom=many");
    Press(9, "C");
    Press(9, "A");  // and never T
    Command(client, "ask 0 single-choice custom=last");
    Press(1, "A");
    client.Expect("key-pressed", R"({"device":"1","custom":"last"})");
    Stop();
    Explain();
    const std::string heard = "OnKeypadEvent:";
    Expect(Reason::NotAsked, "1", "asked nothing", {heard, "found=false"});
    Expect(Reason::AskedBeforeLogon, "2", "\"early\" for all was carried out",
           {heard, "found=false", "cover question", "bConnect=true"});
    Expect(Reason::NeverLoggedOn, "99", "never logged on",
           {heard, "found=false", "cover question record for device 0"});
    Expect(Reason::KeyDoesNotCount, "1", "T doesn't count for single-choice",
           {heard, "question_type=0, enKeyValue=5", "need_send=false"});
    Expect(Reason::AnsweredAlready, "1", "had answered single-choice \"single\" for all already",
           {heard, "answer_finished=true", "SendMsg"});
    Expect(Reason::ClosedByStop, "3", "closed by the \"stop\" for the keypad",
           {heard, "found=true", "stop last_question_map_[3]"});
    Expect(Reason::ClosedByDrop, "4", "closed by the \"drop\"",
           {heard, "found=true", "stop last_question_map_[4]"});
    Expect(Reason::ClosedByStopForAll, "5", "closed by the \"stop\" for all",
           {heard, "found=true", "stop question record for device 5"});
    Expect(Reason::AskNotDecoded, "6", "capitals count", {heard, "found=true", "Single-Choice"});
    Expect(Reason::CommandNotDecoded, "", "capitals count", {"msg received", "task begin msg"});
    Expect(Reason::OlderQuestion, "7", "\"new\" for all",
           {heard, "need_send=true", "SendMsg", "cover question record for device 7"});
    Expect(Reason::ClosedByStop, "8", "closed by the \"stop\" for the keypad", {heard, "found=true"});
    Expect(Reason::NotConfirmed, "9", "pressed CA", {heard, "cover question record for device 9"});
    // Nobody else pressed for the last question, and nobody says why.
    const auto silent = std::find_if(findings_.begin(), findings_.end(), [](const Finding& finding) {
        return finding.reason == Reason::NoPress && finding.device == "2" && finding.custom == "last";
    });
    ASSERT_NE(silent, findings_.end()) << Told();
    EXPECT_NE(silent->sentence.find("the log can't tell which"), std::string::npos);
    ExpectNothingElse();
}

TEST_F(WhySystem, SilentRecordings_HaveTheirReasons) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 9);
    const auto say = [&](const std::string& settings) { Do(R"({"do":"speech",)" + settings + "}"); };
    Command(client, "ask 0 audio-multiple custom=words stem=pear");
    Speak(1, R"("make":"tone","bytes":3000)");
    Speak(2, R"("make":"tone","bytes":6444,"error":true)");
    Speak(3, R"("make":"fill","bytes":6444)");
    Speak(9, R"("make":"tone","bytes":6444,"valid":false)");
    for (const char* const keypad : {"1", "2", "3"}) {
        client.Expect("voice-evaluated", std::string(R"({"device":")") + keypad + "\"}");
    }
    Command(client, "ask 0 audio-multiple custom=bare");
    Speak(5);  // no stems
    Command(client, "ask 0 evaluation custom=numberless");
    Speak(6);  // no parameters
    Command(client, "ask 0 single-choice custom=keys");
    Speak(7);  // takes no recordings
    say(R"("engine":"recognizer","mode":"fail","error_code":-7)");
    Command(client, "ask 0 audio custom=refused");
    Speak(8);
    client.Expect("audio-recognized", R"({"custom":"refused"})");
    say(R"("engine":"recognizer","mode":"hand")");
    Command(client, "ask 0 audio custom=closed");
    Speak(1);
    ASSERT_TRUE(WaitForLog("recognize request_id=", 2));
    Command(client, "stop 0");
    Do(R"({"do":"speech-answer","engine":"recognizer"})");
    Command(client, "ask 0 audio custom=replaced");
    Speak(2);
    ASSERT_TRUE(WaitForLog("recognize request_id=", 3));
    Command(client, "ask 0 audio custom=never");
    Do(R"({"do":"speech-answer","engine":"recognizer"})");
    Speak(3);  // never answered
    ASSERT_TRUE(WaitForLog("recognize request_id=", 4));
    say(R"("engine":"single","mode":"hand")");
    Command(client, "ask 0 audio-single custom=late stem=plum");
    Speak(4);
    Speak(5);
    client.Expect("voice-evaluated", R"({"custom":"late"})");  // one of them, of the offline evaluator
    ASSERT_TRUE(WaitForLog("current evaluator is offline do not request again"));
    Do(R"({"do":"speech-answer","engine":"single","every":true})");
    ASSERT_TRUE(WaitForLog("evaluator not match, return.", 2));
    Stop();
    Explain();
    const std::string heard = "OnKeypadAudioEvent:";
    Expect(Reason::RecordingTooShort, "1", "-203", {heard, "audio error", "SendMsg"});
    Expect(Reason::RecordingError, "2", "-202", {heard, "audio error", "SendMsg"});
    Expect(Reason::RecordingFillPattern, "3", "-201", {heard, "CheckAudioData", "audio error", "SendMsg"});
    Expect(Reason::RecordingInvalid, "9", "wasn't valid", {heard, "task begin ushDeviceID="});
    Expect(Reason::NoStems, "5", "no stems", {heard, "stems is empty"});
    Expect(Reason::NoParam, "6", "no parameters", {heard, "param stringify is empty"});
    Expect(Reason::RecordingNotWanted, "7", "takes no recordings",
           {heard, "last question found, custom=keys"});
    Expect(Reason::SpeechRefused, "8", "error -7", {heard, "recognize request_id", "custom match"});
    Expect(Reason::SpeechTooLate, "1", "had been closed",
           {heard, "event not match", "stop question record for device 1"});
    Expect(Reason::SpeechTooLate, "2", "\"never\" had taken the place of \"replaced\"",
           {heard, "event not match", "cover question record for device 2"});
    Expect(Reason::SpeechNeverAnswered, "3", "whether it refused it the log can't tell",
           {heard, "recognize request_id"});
    const bool fifth = Told().find("speech-after-offline: Keypad 5") != std::string::npos;
    Expect(Reason::SpeechAfterOffline, fifth ? "5" : "4", "after the switch to the offline evaluator",
           {heard, "evaluator sent online", "timeout task begin", "do not request again",
            "evaluator not match"});
    ExpectNothingElse();
}

TEST_F(WhySystem, StationThatIsDown_HasItsReasons) {
    environment_["CLASSROOM_STATION"] = "no-power";
    Start();
    TestClient client;
    client.Connect();
    client.Send("ask 0 single-choice custom=first");  // before any "init"
    client.Send("init audio");
    client.Expect("device-inited", R"({"ready":false})");
    Command(client, "ask 0 single-choice custom=ignored");
    Do(R"({"do":"station","state":"up"})");
    client.Expect("arrived");
    ConnectKeypads(client, "RV2", 1, 3);
    Press(1, "A");
    Command(client, "ask 0 single-choice custom=held");
    Do(R"({"do":"station","state":"no-power"})");
    client.Expect("removed");
    client.Expect("device-inited", R"({"ready":false})");
    Press(2, "A");  // nobody hears it
    Command(client, "drop 3");
    Do(R"({"do":"station","state":"up","announce":false})");
    client.Expect("arrived");
    Press(3, "A");
    client.Expect("key-pressed", R"({"device":"3"})");
    client.Send("ask 2 single-choice custom=taken");
    client.Send("init non-audio");
    client.Expect("device-inited", R"({"ready":false})");
    Press(2, "A");
    Stop();
    Explain();
    const std::string heard = "OnKeypadEvent:";
    Expect(Reason::CommandIgnored, "", "there had been no \"init\"", {"custom\":\"first", "ignore command"});
    Expect(Reason::CommandIgnored, "", "no receiver was ready.", {"custom\":\"ignored", "ignore command"});
    Expect(Reason::AskIgnored, "1", "no receiver was ready then", {heard, "found=false", "ignore command"});
    Expect(Reason::CommandIgnored, "3", "\"drop\"", {"ignore command"});
    Expect(Reason::DropIgnored, "3", "an event came although", {heard, "SendMsg", "\"drop\""});
    Expect(Reason::ReceiverDown, "2", "it has no power", {"cover question record for device 2"});
    Expect(Reason::ReceiverTakenDown, "2", "\"taken\"",
           {"cover question record for device 2", "VoteDeckObject_RV2::Uninitialize"});
    ExpectNothingElse({Reason::DeviceInitedAgain, Reason::ReceiverDown});
}

TEST_F(WhySystem, ClientThatGoes_LeavesItsReasons) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 3);
    Command(client, "ask 0 single-choice custom=q1");
    Press(1, "A");
    client.Expect("key-pressed");
    // The library is busy with a station that doesn't answer, and the client goes meanwhile.
    Do(R"({"do":"station","state":"hang","notice":false})");
    Do(R"({"do":"notice","what":"nodes"})");
    Press(2, "B");
    client.Disconnect();
    ASSERT_TRUE(WaitForLog("terminate ReadThread"));
    ASSERT_TRUE(WaitForLog("need_send=true", 2));
    Do(R"({"do":"station","state":"up","notice":false})");
    ASSERT_TRUE(WaitForLog("Connect begin", 2));
    Press(3, "C");
    TestClient next;
    next.Connect();
    next.Expect("key-pressed", R"({"device":"3","key":"C"})");
    next.Disconnect();
    ASSERT_TRUE(WaitForLog("Connect begin", 3));
    Stop();
    Explain();
    Expect(Reason::EventLost, "2", "is lost, because the client was gone",
           {"OnKeypadEvent:", "need_send=true", "terminate ReadThread", "SendMsg"});
    Expect(Reason::NextClient, "3", "its event went to the next client",
           {"OnKeypadEvent:", "terminate ReadThread", "ConnectNamedPipe success", "SendMsg"});
    ExpectNothingElse({Reason::EventMaybeLost, Reason::DeviceInitedAgain, Reason::EventLost});
}

TEST_F(WhySystem, OtherReceivers_HaveTheirReasons) {
    Start();
    Do(R"({"do":"plug","kind":"LW"})");
    TestClient client;
    Init(client, "any");
    ConnectKeypads(client, "RV2", 5, 5);
    ConnectKeypads(client, "LW", 6, 7);
    Command(client, "ask 0 single-choice custom=q1");
    Press(5, "A", "LW");  // of that number there is one at the station
    Command(client, "drop 6");
    Press(6, "G", "LW");  // comes back by it
    client.Expect("activated", R"({"device":"6"})");
    Press(7, "A", "LW");
    client.Expect("key-pressed", R"({"device":"7"})");
    Stop();
    Explain();
    Expect(Reason::AskedAtAnotherReceiver, "5", "keypad 5 of RV2; this press came from LW",
           {"OnKeyEvent:", "found=false", "cover question record for device 5", "bConnect=true"});
    Expect(Reason::BroughtBack, "6", "brings it back", {"OnKeyEvent:", "has been droped"});
    ExpectNothingElse();
}

TEST_F(WhySystem, HostThatEndsInTheMiddle_NamesWhatEndedIt) {
    expect_clean_end_ = false;
    {
        Start();
        TestClient client;
        Init(client);
        client.Send("ask keypad-7 single-choice custom=x");
        EXPECT_NE(WaitForHostEnd(), 0U);
    }
    {
        Start();
        TestClient client;
        Init(client);
        // Type, length -1, command.
        std::string frame(12, '\0');
        const std::array<std::int32_t, 3> fields = {2018, -1, 2018};
        std::copy_n(reinterpret_cast<const char*>(fields.data()), frame.size(), frame.begin());
        client.SendBytes(frame);
        EXPECT_NE(WaitForHostEnd(), 0U);
    }
    Explain();
    Expect(Reason::HostEndedByDeviceId, "keypad-7", "\"keypad-7\", which is no number",
           {"task begin msg=", "device_id=keypad-7"});
    Expect(Reason::HostEndedByNegativeLength, "", "a message of negative length looks so", {"msg received:"});
    ExpectNothingElse({Reason::EventMaybeLost});
}

}  // namespace
}  // namespace vdipc::test
