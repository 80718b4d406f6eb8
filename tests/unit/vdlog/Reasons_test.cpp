// Reasons on logs that are written here; tests/system has them through the real library.
#include "tools/vdlog/Reasons.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vdipc::log::test {
namespace {

std::vector<Finding> Explain(const LogText& log, Reasons::Counts* counts = nullptr) {
    const Text text;
    std::vector<Finding> findings;
    Reasons reasons(text, [&findings](const Finding& finding) { findings.push_back(finding); });
    Story story(reasons);
    reasons.Follow(story);
    LineReader reader(story);
    reader.Feed(log.Text().data(), log.Text().size());
    reader.EndFile();
    story.End();
    if (counts != nullptr) {
        *counts = reasons.Totals();
    }
    return findings;
}

/// The one finding of this reason.
Finding Only(const LogText& log, Reason reason) {
    std::vector<Finding> found = Explain(log);
    std::string all;
    for (const Finding& finding : found) {
        all += std::string(NameOf(finding.reason)) + ": " + finding.sentence + "\n";
    }
    std::erase_if(found, [reason](const Finding& finding) { return finding.reason != reason; });
    EXPECT_EQ(found.size(), 1U) << NameOf(reason) << " among:\n" << all;
    return found.empty() ? Finding() : found[0];
}

/// The text of the log's lines that a finding points at.
std::string LinesOf(const LogText& log, const Finding& finding) {
    std::string lines;
    std::uint64_t number = 1;
    std::size_t begin = 0;
    while (begin < log.Text().size()) {
        const std::size_t end = log.Text().find('\n', begin);
        for (const Mark& mark : finding.lines) {
            lines += mark.line == number ? log.Text().substr(begin, end - begin) + "\n" : "";
        }
        begin = end + 1;
        ++number;
    }
    return lines;
}

LogText Station() {
    LogText log;
    return log.Start().Client().Init(1, "\"RV2\"");
}

TEST(Reasons, QuestionBeforeLogon_SaysByHowLong) {
    LogText log = Station();
    log.Ask(AskJson("single-choice", "q1"), "0").Pass(30).StationLogon("2").Pass(1000);
    log.StationKey("2", 2).Found("2", false);
    const Finding finding = Only(log, Reason::AskedBeforeLogon);
    EXPECT_EQ(finding.device, "2");
    EXPECT_EQ(finding.custom, "q1");
    EXPECT_NE(finding.sentence.find("ms before the keypad logged on"), std::string::npos) << finding.sentence;
    const std::string lines = LinesOf(log, finding);
    EXPECT_NE(lines.find("OnKeypadEvent:76 ushDeviceId=2, enKeyValue=2"), std::string::npos) << lines;
    EXPECT_NE(lines.find("found=false"), std::string::npos) << lines;
    EXPECT_NE(lines.find("cover question record for device 0"), std::string::npos) << lines;
    EXPECT_NE(lines.find("bConnect=true"), std::string::npos) << lines;
}

TEST(Reasons, KeypadThatIsAskedNothing_IsToldFromOneThatNeverLoggedOn) {
    LogText log = Station();
    log.StationLogon("2").StationKey("2", 2).Found("2", false).StationKey("3", 2).Found("3", false);
    EXPECT_EQ(Only(log, Reason::NotAsked).device, "2");
    EXPECT_EQ(Only(log, Reason::NeverLoggedOn).device, "3");
}

TEST(Reasons, LogThatBeginsLater_ClaimsNoMissingLogon) {
    LogText log;
    log.Client().Init(1, "\"RV2\"").StationKey("3", 2).Found("3", false);
    const Finding finding = Only(log, Reason::NotAsked);
    EXPECT_NE(finding.sentence.find("before the log begins"), std::string::npos) << finding.sentence;
}

TEST(Reasons, LogThatBeginsLater_CallsNoEventLostWithoutProof) {
    LogText log;
    const auto answer = [&log](const std::string& device) {
        log.StationKey(device, 2).Found(device, true).Finished(device, false).Filtered(0, 2, true);
        log.KeyEvent(device, "B", "q1");
    };
    answer("1");
    EXPECT_TRUE(std::ranges::none_of(Explain(log), [](const Finding& finding) { return finding.event; }));
    EXPECT_EQ(Vdlog({"summary"}, log.Text()).out.find("no client was there"), std::string::npos);
    EXPECT_EQ(Vdlog({"pipe"}, log.Text()).out.find(R"("lost":true)"), std::string::npos);
    // Its loss proves that it was there, and that it isn't any more.
    log.Pass(1000).LoseClient();
    answer("2");
    EXPECT_EQ(Only(log, Reason::EventLost).device, "2");
    EXPECT_NE(Vdlog({"summary"}, log.Text()).out.find("2; 1 while no client was there"), std::string::npos);
    EXPECT_NE(Vdlog({"pipe"}, log.Text()).out.find(R"("lost":true)"), std::string::npos);
}

TEST(Reasons, LogThatBeginsLater_KnowsItsClientByALine) {
    for (const char* const line :
         {"IpcHandler::OnIpcPingreceived:70", "PipeServer::OnPipeDataReceived:61 msg received:{}"}) {
        LogText log;
        log.Line(line, 0x2cc).Line("PipeServer::Disconnect:80").StationLogon("3");
        log.Event("\t\"device\" : \"3\",\n\t\"event\" : \"activated\",\n\t\"id\" : \"7\"");
        EXPECT_EQ(Only(log, Reason::EventLost).device, "3") << line;
    }
    // A wait for a client: nobody is there, and what was heard before may have been for a former one.
    LogText log;
    log.Line("VoteDeckObject_RV2::OnKeypadEvent:76 ushDeviceId=1, enKeyValue=2", 0x300, "Info").Client();
    log.Line(
        "VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():78 task begin ushDeviceId=1, enKeyValue=2");
    log.Found("1", true).Finished("1", false).Filtered(0, 2, true).KeyEvent("1", "B", "q1");
    const Finding finding = Only(log, Reason::NextClient);
    EXPECT_EQ(finding.sentence.find("no client"), std::string::npos) << finding.sentence;
}

TEST(Reasons, IgnoredAsk_IsTheReasonOfThePress) {
    LogText log = Station();
    log.StationLogon("2").Command(AskJson("single-choice", "q1"), "CallAsk");
    log.Line("IpcHandler::CallAsk:214 Cause none device is inited, ignore command", LogText::kTaskThread,
             "Warn");
    log.StationKey("2", 2).Found("2", false);
    EXPECT_NE(LinesOf(log, Only(log, Reason::AskIgnored)).find("ignore command"), std::string::npos);
    EXPECT_EQ(Only(log, Reason::CommandIgnored).custom, "q1");
}

TEST(Reasons, AskThatCouldNotBeDecoded_SaysWhatIsWrong) {
    LogText log = Station();
    const std::string json = AskJson("Single-Choice", "q1");
    log.StationLogon("2").Line("IpcHandler::RouteMessage:78 task begin msg=" + json);
    log.StationKey("2", 2).Found("2", false);
    EXPECT_NE(Only(log, Reason::AskNotDecoded).sentence.find("capitals count: \"single-choice\""),
              std::string::npos);
    EXPECT_EQ(Only(log, Reason::CommandNotDecoded).custom, "q1");
}

TEST(Reasons, ClosedQuestions_NameTheCommandThatClosedThem) {
    const std::string ask = AskJson("single-choice", "q1");
    LogText for_all = Station();
    for_all.StationLogon("2").Ask(ask, "0", {"2"}).Command(R"({"command":"stop","device":"0"})", "CallStop");
    for (int block = 0; block < 5; ++block) {
        for_all.Line("VoteDeckObjectBase::HandleStop:38", LogText::kTaskThread, "Trace");
        for_all.Line("VoteDeckObjectBase::StopLastQuestionRecord:86 stop last_question_map_[0]");
        if (block == 3) {
            for_all.Line("VoteDeckObjectBase::StopLastQuestionRecord:97 stop question record for device 2");
        }
    }
    for_all.StationKey("2", 2).Found("2", true).StationLogon("9");
    EXPECT_NE(
        LinesOf(for_all, Only(for_all, Reason::ClosedByStopForAll)).find("stop question record for device 2"),
        std::string::npos);

    for (const std::string command : {"stop", "drop"}) {
        LogText one = Station();
        one.StationLogon("2").Ask(ask, "0", {"2"});
        one.Command(R"({"command":")" + command + R"(","device":"2"})",
                    command == "stop" ? "CallStop" : "CallDrop");
        for (int block = 0; block < 5; ++block) {
            one.Line(command == "stop" ? "VoteDeckObjectBase::HandleStop:38"
                                       : "VoteDeckObjectBase::HandleDrop:42",
                     LogText::kTaskThread, "Trace");
            if (command == "drop") {
                one.Line("VoteDeckObjectBase::EraseTextRevordForDevice:18 device=2", LogText::kTaskThread,
                         "Trace");
            }
            one.Line("VoteDeckObjectBase::StopLastQuestionRecord:86 stop last_question_map_[2]");
        }
        one.StationKey("2", 2).Found("2", true);
        EXPECT_EQ(Only(one, command == "stop" ? Reason::ClosedByStop : Reason::ClosedByDrop).custom, "q1");
    }
}

TEST(Reasons, StopForAllWithoutAQuestion_LeavesAKeypadUnasked) {
    LogText log = Station();
    log.StationLogon("2").Command(R"({"command":"stop","device":"0"})", "CallStop");
    for (int block = 0; block < 5; ++block) {
        log.Line("VoteDeckObjectBase::HandleStop:38", LogText::kTaskThread, "Trace");
        if (block == 3) {
            log.Line("VoteDeckObjectBase::StopLastQuestionRecord:97 stop question record for device 2");
        }
    }
    log.StationKey("2", 2).Found("2", true);
    Only(log, Reason::NotAsked);
}

TEST(Reasons, OlderQuestion_TookTheKey) {
    LogText log = Station();
    log.StationLogon("2").Ask(AskJson("single-choice", "old"), "0", {"2"});
    log.StationLogon("2", false).Ask(AskJson("single-choice", "new"), "0").StationLogon("2");
    log.StationKey("2", 2)
        .Found("2", true)
        .Finished("2", false)
        .Filtered(0, 2, true)
        .KeyEvent("2", "B", "old");
    const Finding finding = Only(log, Reason::OlderQuestion);
    EXPECT_TRUE(finding.event);
    EXPECT_NE(finding.sentence.find("\"old\""), std::string::npos) << finding.sentence;
    EXPECT_NE(finding.sentence.find("\"new\""), std::string::npos) << finding.sentence;
}

TEST(Reasons, SecondKeyAndWrongKey_AreToldApart) {
    LogText log = Station();
    log.StationLogon("2").Ask(AskJson("single-choice", "q1"), "0", {"2"});
    log.StationKey("2", 5).Found("2", true).Finished("2", false).Filtered(0, 5, false);
    log.StationKey("2", 2)
        .Found("2", true)
        .Finished("2", false)
        .Filtered(0, 2, true)
        .KeyEvent("2", "B", "q1");
    log.StationKey("2", 3).Found("2", true).Finished("2", true);
    EXPECT_NE(
        Only(log, Reason::KeyDoesNotCount).sentence.find("T doesn't count for single-choice (A to D do)"),
        std::string::npos);
    EXPECT_NE(LinesOf(log, Only(log, Reason::AnsweredAlready)).find("SendMsg"), std::string::npos);
}

TEST(Reasons, SilenceOfAKeypad_IsNotGuessedAt) {
    LogText log = Station();
    log.StationLogon("2")
        .Ask(AskJson("single-choice", "q1"), "0", {"2"})
        .Ask(AskJson("single-choice", "q2"), "0", {"2"});
    log.StationKey("2", 2)
        .Found("2", true)
        .Finished("2", false)
        .Filtered(0, 2, true)
        .KeyEvent("2", "B", "q2");
    const Finding finding = Only(log, Reason::NoPress);
    EXPECT_EQ(finding.custom, "q1");
    EXPECT_NE(finding.sentence.find("the log can't tell which"), std::string::npos);
}

TEST(Reasons, ReceiverThatWentDown_IsToldFromSilence) {
    LogText log = Station();
    log.StationLogon("2").Ask(AskJson("single-choice", "q1"), "0", {"2"});
    log.Event("\t\"event\" : \"device-inited\",\n\t\"id\" : \"2\",\n\t\"info\" : \"no-power\",\n\t\"ready\" "
              ": false");
    EXPECT_NE(Only(log, Reason::ReceiverDown).sentence.find("it has no power"), std::string::npos);
    LogText taken = Station();
    taken.StationLogon("2").Ask(AskJson("single-choice", "q1"), "0", {"2"}).Init(0, "\"TQ1\"");
    EXPECT_EQ(Only(taken, Reason::ReceiverTakenDown).device, "2");
}

TEST(Reasons, PressThatIsOvertaken_NeverHadItsTurn) {
    LogText log = Station();
    log.Line("VoteDeckObject_RV2::OnKeypadEvent:76 ushDeviceId=2, enKeyValue=1", 0x300, "Info").Pass(4000);
    log.StationKey("3", 2).Found("3", false);
    const Finding finding = Only(log, Reason::NeverRun);
    EXPECT_EQ(finding.device, "2");
    EXPECT_NE(finding.sentence.find("what was heard after it had its turn"), std::string::npos)
        << finding.sentence;
    EXPECT_NE(LinesOf(log, finding).find("task begin ushDeviceId=3"), std::string::npos);
}

TEST(Reasons, EventThatCannotBeWritten_IsLost) {
    LogText log = Station();
    log.StationLogon("2").Ask(AskJson("single-choice", "q1"), "0", {"2"});
    log.StationKey("2", 2)
        .Found("2", true)
        .Finished("2", false)
        .Filtered(0, 2, true)
        .KeyEvent("2", "B", "q1");
    log.Line("PipeIO::Write:55 WriteFile failed, error_code=232", 0x2cd, "Warn");
    const Finding finding = Only(log, Reason::EventLost);
    EXPECT_NE(finding.sentence.find("the newest one before was \"key-pressed\" of keypad 2"),
              std::string::npos)
        << finding.sentence;
    EXPECT_NE(LinesOf(log, finding).find("WriteFile failed"), std::string::npos);
}

TEST(Reasons, EventThatIsNoAnswer_IsLostWithItsClientToo) {
    LogText log = Station();
    log.LoseClient().StationLogon("3");
    log.Event("\t\"device\" : \"3\",\n\t\"event\" : \"activated\",\n\t\"id\" : \"7\"");
    const Finding finding = Only(log, Reason::EventLost);
    EXPECT_NE(finding.sentence.find("The event \"activated\" of keypad 3 went out at"), std::string::npos)
        << finding.sentence;
    EXPECT_NE(LinesOf(log, finding).find("terminate ReadThread"), std::string::npos);
    EXPECT_NE(LinesOf(log, finding).find("SendMsg"), std::string::npos);
}

TEST(Reasons, KeypadThatWasDroppedUnasked_HasToLogOnAgain) {
    LogText log = Station();
    log.StationLogon("2").Command(R"({"command":"drop","device":"2"})", "CallDrop");
    for (int block = 0; block < 5; ++block) {
        log.Line("VoteDeckObjectBase::HandleDrop:42", LogText::kTaskThread, "Trace");
        log.Line("VoteDeckObjectBase::EraseTextRevordForDevice:18 device=2", LogText::kTaskThread, "Trace");
    }
    log.StationKey("2", 2).Found("2", false);
    const Finding finding = Only(log, Reason::ClosedByDrop);
    EXPECT_NE(finding.sentence.find("it had been dropped at"), std::string::npos) << finding.sentence;
    EXPECT_NE(LinesOf(log, finding).find("EraseTextRevordForDevice"), std::string::npos);
}

TEST(Reasons, HostThatEndsInACommand_NamesIt) {
    const LogText log = Station();  // ends behind the event of its "init"
    const Finding finding = Only(log, Reason::HostEnded);
    EXPECT_NE(finding.sentence.find("the last task was the command \"init\""), std::string::npos)
        << finding.sentence;
    EXPECT_NE(LinesOf(log, finding).find("task begin msg={\"command\":\"init\""), std::string::npos);
}

TEST(Reasons, HostThatEnded_NamesTheDeviceIdOrTheLength) {
    LogText id = Station();
    id.StationLogon("2").Ask(AskJson("single-choice", "q1", "seven"), "seven");
    id.Line("VoteDeckObject_RV2::StartQuestion:116 rv2.0 StartQuestion type=2 device_id=seven",
            LogText::kTaskThread, "Info");
    EXPECT_NE(Only(id, Reason::HostEndedByDeviceId).sentence.find("\"seven\""), std::string::npos);
    LogText length = Station();
    length.Line("PipeServer::OnPipeDataReceived:61 msg received:", 0x2cc);
    Only(length, Reason::HostEndedByNegativeLength);
    Only(Station(), Reason::HostEnded);
}

}  // namespace
}  // namespace vdipc::log::test
