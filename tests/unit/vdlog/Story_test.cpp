#include "tools/vdlog/Story.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace vdipc::log::test {
namespace {

struct Seen {
    FactKind kind;
    std::uint64_t line;
    Receiver receiver;
    std::string device;
    std::string text;
    std::int64_t number;
    std::optional<Press> press;
    std::optional<Recording> recording;
    std::optional<Request> request;
    std::optional<Command> command;
    std::string asked;  // "custom" of the question
};

class Facts final : public FactSink {
public:
    void OnFact(const Fact& fact) override {
        Seen one{fact.kind,
                 fact.at.line,
                 fact.receiver,
                 std::string(fact.device),
                 std::string(fact.text),
                 fact.number,
                 {},
                 {},
                 {},
                 {},
                 {}};
        if (fact.press != nullptr) {
            one.press = *fact.press;
        }
        if (fact.recording != nullptr) {
            one.recording = *fact.recording;
        }
        if (fact.request != nullptr) {
            one.request = *fact.request;
        }
        if (fact.command != nullptr) {
            one.command = *fact.command;
        }
        if (fact.question != nullptr && fact.question->ask != nullptr) {
            one.asked = fact.question->ask->custom;
        }
        all.push_back(one);
    }

    std::vector<Seen> Of(FactKind kind) const {
        std::vector<Seen> found;
        std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                     [kind](const Seen& one) { return one.kind == kind; });
        return found;
    }

    std::vector<Seen> all;
};

std::vector<Seen> Tell(const LogText& log, FactKind kind) {
    Facts facts;
    Story story(facts);
    LineReader reader(story);
    reader.Feed(log.Text().data(), log.Text().size());
    reader.EndFile();
    story.End();
    return facts.Of(kind);
}

Press OnlyPress(const LogText& log) {
    const auto done = Tell(log, FactKind::PressDone);
    EXPECT_EQ(done.size(), 1U);
    return done.empty() ? Press() : *done[0].press;
}

LogText Class() {
    LogText log;
    return log.Start().Client().Init(1, "\"RV2\"").StationLogon("7");
}

const std::string kAskAll = R"({"command":"ask","device":"0","type":"single-choice","custom":"q1"})";

TEST(Story, PressThatBecomesAnEvent_HasItsLines) {
    LogText log = Class();
    log.Ask(kAskAll, "0", {"7"})
        .StationKey("7", 2)
        .Found("7", true)
        .Finished("7", false)
        .Filtered(0, 2, true);
    log.KeyEvent("7", "B", "q1");
    const auto done = Tell(log, FactKind::PressDone);
    ASSERT_EQ(done.size(), 1U);
    EXPECT_EQ(done[0].receiver, Receiver::RV2);
    EXPECT_EQ(done[0].asked, "q1");
    EXPECT_EQ(done[0].press->outcome, Outcome::Event);
    EXPECT_EQ(done[0].press->key, 2);
    EXPECT_EQ(done[0].press->lines.size(), 7U);
    EXPECT_FALSE(done[0].press->client_lost);
}

TEST(Story, PressWithoutQuestion_SaysSo) {
    LogText log = Class();
    log.StationKey("7", 2).Found("7", false);
    EXPECT_EQ(OnlyPress(log).outcome, Outcome::NoQuestion);
}

TEST(Story, PressAfterTheStop_IsClosedByItsCommand) {
    LogText log = Class();
    log.Ask(kAskAll, "0", {"7"}).StationKey("7", 2).Found("7", true);
    EXPECT_EQ(OnlyPress(log).outcome, Outcome::Closed);
    // The same when another task follows, and when nothing does for a while.
    log.StationLogon("8");
    EXPECT_EQ(OnlyPress(log).outcome, Outcome::Closed);
}

TEST(Story, SecondPress_HasAnsweredAlready) {
    LogText log = Class();
    log.Ask(kAskAll, "0", {"7"}).StationKey("7", 2).Found("7", true).Finished("7", true);
    EXPECT_EQ(OnlyPress(log).outcome, Outcome::Answered);
}

TEST(Story, WrongKey_DoesNotCount) {
    LogText log = Class();
    log.Ask(kAskAll, "0", {"7"})
        .StationKey("7", 5)
        .Found("7", true)
        .Finished("7", false)
        .Filtered(0, 5, false);
    const Press press = OnlyPress(log);
    EXPECT_EQ(press.outcome, Outcome::DoesNotCount);
    EXPECT_EQ(press.type, 0);
}

TEST(Story, LettersWithoutConfirmation_AreLostAtTheNextQuestion) {
    LogText log = Class();
    log.Ask(R"({"command":"ask","device":"0","type":"multiple-choice","custom":"m"})", "0", {"7"});
    log.StationKey("7", 1).Found("7", true).Finished("7", false);
    log.Line("VoteDeckObjectBase::FilterKeyEvent:157 question_type=1, enKeyValue=1");
    log.Line("VoteDeckObjectBase::FilterKeyEvent:172 key=A");
    log.Line("VoteDeckObjectBase::FilterKeyEvent:177 save keyA, all keys=A");
    log.Line("VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():84 need_send=false");
    log.Ask(kAskAll, "0", {"7"});
    const auto lost = Tell(log, FactKind::LettersLost);
    ASSERT_EQ(lost.size(), 1U);
    EXPECT_EQ(lost[0].device, "7");
    EXPECT_EQ(lost[0].asked, "m");
    EXPECT_EQ(OnlyPress(log).outcome, Outcome::Held);
}

TEST(Story, PressWhileNoClientIsThere_KeepsBothTimes) {
    LogText log = Class();
    log.Ask(kAskAll, "0", {"7"}).LoseClient();
    log.Line("PipeServer::Disconnect:66", LogText::kTaskThread, "Trace");
    log.Line("PipeServer::Connect:30 Connect begin", LogText::kTaskThread, "Trace");
    log.Line("VoteDeckObject_RV2::OnKeypadEvent:76 ushDeviceId=7, enKeyValue=2", 0x300, "Info");
    log.Pass(90000);
    log.Line("PipeServer::Connect:57 Connect ConnectNamedPipe success, create PipeIO", LogText::kTaskThread,
             "Info");
    log.Line(
        "VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():78 task begin ushDeviceId=7, enKeyValue=2");
    log.Found("7", true).Finished("7", false).Filtered(0, 2, true).KeyEvent("7", "B", "q1");
    const Press press = OnlyPress(log);
    EXPECT_EQ(press.outcome, Outcome::Event);
    EXPECT_GT(press.begun.time - press.heard.time, 89000);
    EXPECT_FALSE(press.client_lost);
}

TEST(Story, EventAfterTheLossOfTheClient_IsMarked) {
    LogText log = Class();
    log.Ask(kAskAll, "0", {"7"}).LoseClient();
    log.StationKey("7", 2)
        .Found("7", true)
        .Finished("7", false)
        .Filtered(0, 2, true)
        .KeyEvent("7", "B", "q1");
    EXPECT_TRUE(OnlyPress(log).client_lost);
}

TEST(Story, CommandThatIsNotDecoded_HasAComplaint) {
    LogText log = Class();
    log.Line("PipeServer::OnPipeDataReceived:61 msg received:{\"command\":\"ask\",\"device\":7}", 0x2cc);
    log.Line("IpcHandler::RouteMessage:78 task begin msg={\"command\":\"ask\",\"device\":7}");
    log.StationLogon("8");
    const auto ended = Tell(log, FactKind::CommandEnd);
    ASSERT_EQ(ended.size(), 2U);
    EXPECT_TRUE(ended[0].command->accepted);
    EXPECT_FALSE(ended[1].command->accepted);
    EXPECT_EQ(ended[1].command->complaint, "its \"device\" is a number and not a text: \"7\" is meant");
    EXPECT_TRUE(ended[1].command->received.IsSet());
}

TEST(Story, MessageThatTheLogCuts_IsOneMessageAndReadAsFarAsItGoes) {
    const std::string json =
        R"({"command":"ask","type":"evaluation","device":"0","custom":"q1","context":{"stems":["a","b"],)"
        R"("param":{"text":")" +
        std::string(20000, 'x');
    // The two lines have prefixes of different lengths.
    LogText log = Class();
    log.Line("PipeServer::OnPipeDataReceived:61 msg received:" + json.substr(0, 16297), 0x2cc);
    log.Line("IpcHandler::RouteMessage:78 task begin msg=" + json.substr(0, 16310));
    log.Line("IpcHandler::CallAsk:139", LogText::kTaskThread, "Trace");
    log.StationLogon("8");
    const auto ended = Tell(log, FactKind::CommandEnd);
    ASSERT_EQ(ended.size(), 2U);
    EXPECT_TRUE(ended[1].command->accepted);
    EXPECT_TRUE(ended[1].command->received.IsSet());
    EXPECT_EQ(ended[1].command->name, "ask");
    EXPECT_EQ(ended[1].command->device, "0");
    EXPECT_EQ(ended[1].command->custom, "q1");
    EXPECT_EQ(ended[1].command->type, QuestionKind::Evaluation);
    EXPECT_EQ(ended[1].command->stems, 2);
}

TEST(Story, ReceiversUpAndDown_FollowTheListOfThoseReady) {
    LogText log = Class();
    log.Event("\t\"event\" : \"device-inited\",\n\t\"id\" : \"2\",\n\t\"info\" : \"no-power\",\n\t\"ready\" "
              ": false");
    const auto up = Tell(log, FactKind::ReceiverUp);
    ASSERT_EQ(up.size(), 1U);
    EXPECT_EQ(up[0].receiver, Receiver::RV2);
    const auto down = Tell(log, FactKind::ReceiverDown);
    ASSERT_EQ(down.size(), 1U);
    EXPECT_EQ(down[0].text, "it has no power");
}

TEST(Story, RunWithoutItsLastLines_IsNotComplete) {
    LogText log = Class();
    auto ended = Tell(log, FactKind::RunEnd);
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].number, 0);
    log.Line("IpcHandler::TaskLoop:124 task loop end");
    log.Start();
    ended = Tell(log, FactKind::RunEnd);
    ASSERT_EQ(ended.size(), 2U);
    EXPECT_EQ(ended[0].number, 1);
    EXPECT_EQ(Tell(log, FactKind::RunBegin)[0].text, "2.0.54");
}

TEST(Story, UnknownAndForeignLines_AreNamedAndPassedOver) {
    LogText log = Class();
    log.Line("Brand::New:12 something")
        .Raw("SIMULATED receiver TQ1\r\n")
        .StationKey("7", 2)
        .Found("7", false);
    const auto unknown = Tell(log, FactKind::UnknownLine);
    ASSERT_EQ(unknown.size(), 1U);
    EXPECT_EQ(unknown[0].device, "Brand::New");
    EXPECT_EQ(Tell(log, FactKind::Foreign).size(), 1U);
    EXPECT_EQ(OnlyPress(log).outcome, Outcome::NoQuestion);
}

TEST(PipeCommand, Log_GivesOneObjectALine) {
    LogText log = Class();
    const Printed printed = Vdlog({"pipe"}, log.Text());
    EXPECT_EQ(printed.code, 0) << printed.error;
    EXPECT_EQ(
        printed.out,
        "{\"time\":\"2026-11-22T10:00:00.003\",\"line\":4,\"direction\":\"none\",\"client\":\"connected\"}\n"
        "{\"time\":\"2026-11-22T10:00:00.005\",\"line\":6,\"direction\":\"to-library\",\"message\":"
        "{\"command\":\"init\",\"preferred-device-type\":\"audio\"}}\n"
        "{\"time\":\"2026-11-22T10:00:00.015\",\"line\":16,\"direction\":\"to-client\",\"message\":"
        "{\"avaliable-device\":[\"RV2\"],\"event\":\"device-inited\",\"id\":\"1\"}}\n");
}

}  // namespace
}  // namespace vdipc::log::test
