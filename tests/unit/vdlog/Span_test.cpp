// A keypad's life in the order of time, and spans of time that the log doesn't have.
#include "support/Logs.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace vdipc::log::test {
namespace {

std::string UnansweredQuestion() {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("2").StationLogon("3");
    log.Ask(AskJson("single-choice", "q1"), "0", {"2", "3"});
    log.Pass(1000).StationLogon("2").StationLogon("3");
    return log.Line("IpcHandler::TaskLoop:124 task loop end").Text();
}

TEST(KeypadCommand, FindingsThatAreKnownLater_StandInTheOrderOfTime) {
    const std::string out = Vdlog({"keypad", "2"}, UnansweredQuestion()).out;
    std::istringstream lines(out);
    std::string before;
    std::string line;
    std::string last;
    while (std::getline(lines, line)) {
        const std::string time = line.substr(0, 23);
        EXPECT_LE(before, time) << out;
        before = time;
        last = line;
    }
    EXPECT_NE(out.find("shows no press"), std::string::npos) << out;
    EXPECT_NE(last.find("the run ends"), std::string::npos) << out;
    const std::string json = Vdlog({"keypad", "2", "--json"}, UnansweredQuestion()).out;
    EXPECT_NE(json.find("no-press"), std::string::npos) << json;
    EXPECT_LT(json.find("no-press"), json.find("the run ends")) << json;
}

TEST(WhyCommand, SpanOutsideOfTheLog_SaysFromWhenToWhenItGoes) {
    const std::string goes = "The log goes from 2026-11-22 10:00:00.000 to 2026-11-22 10:00:01.0";
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"why", "--from", "11:00"},
                                               {"why", "--keypad", "2", "--to", "2026-11-21"},
                                               {"why", "--json", "--from", "11:00"},
                                               {"keypad", "2", "--from", "11:00"},
                                               {"keypad", "2", "--json", "--from", "11:00"}}) {
        const std::string out = Vdlog(arguments, UnansweredQuestion()).out;
        EXPECT_NE(out.find(goes), std::string::npos) << arguments[0] << arguments[1] << "\n" << out;
        EXPECT_EQ(out.find("asked at all"), std::string::npos) << out;
    }
    EXPECT_EQ(Vdlog({"why", "--from", "10:00"}, UnansweredQuestion()).out.find("The log goes"),
              std::string::npos);
}

TEST(SummaryCommand, KeypadWhoseUsbReceiverComesOutLater_IsCountedThereAlone) {
    LogText log;
    log.Start().Client().Init(0, "\"TQ1\", \"LW\"");
    const auto bind = [&log](const std::string& device) {
        log.Line("VoteDeckObject_TQ::OnBindCard:77 newUid=" + device + ", ", 0x300, "Info");
        log.Line("VoteDeckObject_TQ::OnBindCard::<lambda>::operator ():79 task begin newUid=" + device +
                 ", ");
        log.Line("VoteDeckObjectBase::CreateTextRecordForDevice:20 device=" + device);
    };
    bind("5");
    bind("6");
    EXPECT_NE(Vdlog({"summary"}, log.Text()).out.find("Keypads     USB: 2 (5, 6) logged on"),
              std::string::npos);
    // Who is logged on is listed at each receiver.
    log.Command(AskJson("single-choice", "q1"), "CallAsk");
    for (int block = 0; block < 5; ++block) {
        log.Line("VoteDeckObjectBase::HandleAsk:30", LogText::kTaskThread, "Trace");
        log.Line("VoteDeckObjectBase::StartNewQuestionRecord:49 cover question record for device 0");
        if (block == 0) {
            log.Line("VoteDeckObjectBase::StartNewQuestionRecord:57 cover question record for device 5");
        }
        log.Line("VoteDeckObjectBase::EraseLastAnswer:105 clear last_answer_map_");
    }
    bind("5");
    const std::string out = Vdlog({"summary"}, log.Text()).out;
    EXPECT_NE(out.find("Keypads     TQ1: 1 (5); USB: 1 (6) logged on"), std::string::npos) << out;
    const std::string json = Vdlog({"summary", "--json"}, log.Text()).out;
    EXPECT_NE(json.find("\"TQ1\":[\"5\"],\"USB\":[\"6\"]"), std::string::npos) << json;
}

TEST(SummaryCommand, LogWithoutARun_SaysSo) {
    LogText log;
    log.Line("IpcHandler::SetVoteDecksStatusChangedCallback:88", 0x570, "Trace");
    EXPECT_EQ(Vdlog({"summary"}, log.Text()).out, "No run of the library is in this log.\n");
    EXPECT_EQ(Vdlog({"why"}, log.Text()).out, "0 presses and 0 recordings were heard, 0 events went out.\n"
                                              "No press and no recording is in this log.\n");
}

TEST(WhyCommand, CountsOfOne_AreSingular) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("2").StationKey("2", 2).Found("2", false);
    EXPECT_NE(Vdlog({"why"}, log.Text()).out.find("1 press and 0 recordings were heard, 1 event went out."),
              std::string::npos);
    EXPECT_NE(Vdlog({"summary"}, log.Raw("one\r\n").Text()).out.find(" 1 line of another form"),
              std::string::npos);
}

TEST(WhyCommand, JsonOfSeveralFiles_NamesThem) {
    const Folder folder;
    LogText late;
    late.Pass(3600000).Start();
    const std::string a = folder.Write("late.log", late.Text());
    const std::string b = folder.Write("early.log", UnansweredQuestion());
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"why", "--json", a, b}, {"keypad", "2", "--json", a, b}}) {
        const std::string out = RunVdlog(arguments).out;
        EXPECT_NE(out.find("\"logs\":[\"early.log\",\"late.log\"]"), std::string::npos) << out;
    }
    EXPECT_EQ(RunVdlog({"why", "--json", a}).out.find("\"logs\""), std::string::npos);
}

}  // namespace
}  // namespace vdipc::log::test
