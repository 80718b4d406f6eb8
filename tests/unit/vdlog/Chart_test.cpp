// The log as a picture: what stands on which lane, the page of `timeline` and the file of `trace`.
#include "tools/vdlog/Chart.h"
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Quote.h"
#include "tools/vdlog/Text.h"

#include "support/Logs.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::log::test {
namespace {

Json::Value Parsed(const std::string& text) {
    Json::Value root;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, &errors)) << errors;
    return root;
}

/// Two keypads and one that comes too late: an answer, a press behind it, one that was asked before its logon, a letter that
/// is never confirmed, a command that can't be decoded, and a client that is lost.
LogText Lesson() {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1").StationLogon("2");
    log.Pass(1000).Ask(AskJson("single-choice", "q1"), "0", {"1", "2"});
    log.Pass(500).StationKey("1", 2).Found("1", true).Finished("1", false);
    log.Filtered(0, 2, true).KeyEvent("1", "B", "q1");
    log.Pass(700).StationKey("1", 3).Found("1", true).Finished("1", true);
    log.Pass(30).StationLogon("10").Pass(400).StationKey("10", 1).Found("10", false);
    log.Line("PipeServer::OnPipeDataReceived:61 msg received:{\"command\":\"dance\"}", 0x2cc);
    log.Line("IpcHandler::RouteMessage:78 task begin msg={\"command\":\"dance\"}");
    log.Pass(2000).Ask(AskJson("multiple-choice", "q2"), "0", {"1", "2", "10"});
    log.Pass(100).StationKey("2", 1).Found("2", true).Finished("2", false);
    log.Line("VoteDeckObjectBase::FilterKeyEvent:157 question_type=1, enKeyValue=1");
    log.Line("VoteDeckObjectBase::FilterKeyEvent:190 key=A");
    log.Line("VoteDeckObjectBase::FilterKeyEvent:195 save keyA, all keys=A");
    log.Line("VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():84 need_send=false");
    log.Pass(3000).LoseClient().Client();
    log.Pass(1000).Ask(AskJson("true-false", "q3", "2"), "2");
    return log.Pass(1000).Line("IpcHandler::TaskLoop:124 task loop end");
}

class Drawn {
public:
    explicit Drawn(const LogText& log, const Options& options = {}, std::size_t most = 1000)
        : chart(options, text_, most) {
        Story story(chart);
        chart.Follow(story);
        LineReader reader(story);
        reader.Feed(log.Text().data(), log.Text().size());
        reader.EndFile();
        story.End();
        chart.Finish();
    }

    std::vector<Thing> Of(ThingKind kind) const {
        std::vector<Thing> found;
        std::copy_if(chart.Things().begin(), chart.Things().end(), std::back_inserter(found),
                     [kind](const Thing& thing) { return thing.kind == kind; });
        return found;
    }
    std::vector<std::string> LaneNames() const {
        std::vector<std::string> names;
        for (const Lane& lane : chart.Lanes()) {
            names.push_back(lane.name);
        }
        return names;
    }
    std::string LaneOf(const Thing& thing) const { return chart.Lanes()[thing.lane].name; }

private:
    Text text_;

public:
    Chart chart;
};

TEST(Chart, Lesson_HasItsLanesInOrder) {
    const Drawn drawn(Lesson());
    EXPECT_EQ(drawn.LaneNames(), (std::vector<std::string>{"Host", "Connection", "Commands", "Events", "RV2",
                                                           "For all", "For one keypad", "Keypad 1 (RV2)",
                                                           "Keypad 2 (RV2)", "Keypad 10 (RV2)"}));
}

TEST(Chart, Presses_HaveTheirStatesAndSentences) {
    const Drawn drawn(Lesson());
    const std::vector<Thing> presses = drawn.Of(ThingKind::Press);
    ASSERT_EQ(presses.size(), 4U);
    EXPECT_EQ(presses[0].state, ThingState::Plain);
    EXPECT_EQ(presses[0].label, "B");
    EXPECT_NE(presses[0].sentence.find("an event, for single-choice \"q1\" for all"), std::string::npos)
        << presses[0].sentence;
    EXPECT_EQ(presses[1].state, ThingState::Silent);
    EXPECT_EQ(presses[1].reason, static_cast<int>(Reason::AnsweredAlready));
    EXPECT_EQ(presses[2].reason, static_cast<int>(Reason::AskedBeforeLogon));
    EXPECT_EQ(drawn.LaneOf(presses[2]), "Keypad 10 (RV2)");
    // The letter tells the end of its choice.
    EXPECT_EQ(presses[3].state, ThingState::Silent);
    EXPECT_EQ(presses[3].reason, static_cast<int>(Reason::NotConfirmed));
    for (const Thing& press : presses) {
        EXPECT_GE(press.lines.size(), 3U) << press.sentence;
        EXPECT_FALSE(press.is_span);
    }
}

TEST(Chart, Questions_TellWhoWasAskedAndWhoAnswered) {
    const Drawn drawn(Lesson());
    const std::vector<Thing> questions = drawn.Of(ThingKind::Question);
    ASSERT_EQ(questions.size(), 3U);
    EXPECT_NE(
        questions[0].sentence.find("replaced by the next one: 2 keypads were asked, 1 answered, 1 press "
                                   "or recording had no effect"),
        std::string::npos)
        << questions[0].sentence;
    EXPECT_EQ(questions[0].end, questions[1].begin);
    EXPECT_EQ(drawn.LaneOf(questions[2]), "For one keypad");
    const std::vector<Thing> asked = drawn.Of(ThingKind::Asked);
    ASSERT_EQ(asked.size(), 6U);
    EXPECT_EQ(asked[0].state, ThingState::Plain);
    EXPECT_NE(asked[0].sentence.find("it answered at 10:00:01.5"), std::string::npos) << asked[0].sentence;
    EXPECT_EQ(asked[1].state, ThingState::Unanswered);
    EXPECT_EQ(asked[1].reason, static_cast<int>(Reason::NoPress));
}

TEST(Chart, SpansAndFailures_StandOnTheirLanes) {
    const Drawn drawn(Lesson());
    const std::vector<Thing> connections = drawn.Of(ThingKind::Connection);
    ASSERT_EQ(connections.size(), 2U);
    EXPECT_EQ(connections[0].state, ThingState::Failed);
    EXPECT_NE(connections[0].sentence.find("its loss was noticed"), std::string::npos);
    const std::vector<Thing> commands = drawn.Of(ThingKind::Command);
    EXPECT_TRUE(std::any_of(commands.begin(), commands.end(), [](const Thing& command) {
        return command.state == ThingState::Failed &&
               command.reason == static_cast<int>(Reason::CommandNotDecoded);
    }));
    ASSERT_EQ(drawn.Of(ThingKind::Run).size(), 1U);
    EXPECT_NE(drawn.Of(ThingKind::Run)[0].sentence.find("it stopped cleanly"), std::string::npos);
    ASSERT_EQ(drawn.Of(ThingKind::ReceiverUp).size(), 1U);
    EXPECT_EQ(drawn.Of(ThingKind::LoggedOn).size(), 3U);
}

TEST(Chart, LogThatBeginsAnywhere_StandsInItsOwnTime) {
    const std::string whole = Lesson().Text();
    const Drawn drawn(Lesson());
    for (std::size_t cut = 0; cut < whole.size(); cut += 31) {
        LogText log;
        const Drawn part(log.Raw(whole.substr(cut)));
        if (part.chart.Things().empty()) {
            continue;
        }
        EXPECT_GE(part.chart.Begin(), drawn.chart.Begin()) << cut;
        for (const Thing& thing : part.chart.Things()) {
            EXPECT_GE(thing.begin, drawn.chart.Begin()) << cut << thing.sentence;
            EXPECT_EQ(thing.sentence.find(" 00:00:00.000"), std::string::npos) << cut << thing.sentence;
        }
    }
    // In the middle of a line.
    const Folder folder;
    const std::string name = folder.Write("a.log", whole.substr(30));
    const Json::Value trace = Parsed(RunVdlog({"trace", "-o", "-", name}).out);
    EXPECT_EQ(trace["otherData"]["begins"], "2026-11-22T10:00:00.001");
}

TEST(Chart, ReceiverThatComesBack_WasDownUntilThen) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"");
    const auto available = [&log](const std::string& ready) {
        log.Pass(1000).Event("\t\"avaliable-device\" : \n\t[\n\t\t" + ready +
                             "\n\t],\n\t\"event\" : \"device-inited\",\n\t\"id\" : \"1\"");
    };
    available("");
    available("\"RV2\"");
    available("");
    const std::vector<Thing> downs = Drawn(log).Of(ThingKind::ReceiverDown);
    ASSERT_EQ(downs.size(), 2U);
    EXPECT_NE(downs[0].sentence.find("RV2 was down from 10:00:01.016 until 10:00:02.017: "),
              std::string::npos)
        << downs[0].sentence;
    EXPECT_EQ(downs[0].lines.size(), 2U);
    EXPECT_NE(downs[1].sentence.find("RV2 was down from 10:00:03.018 on: "), std::string::npos)
        << downs[1].sentence;
}

TEST(Chart, RunWithoutItsLastLines_IsCalledSo) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"");
    const std::vector<Thing> runs = Drawn(log).Of(ThingKind::Run);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].state, ThingState::Failed);
    EXPECT_NE(runs[0].sentence.find("without its last lines"), std::string::npos);
}

TEST(Chart, QuestionsThatOverlap_StandInRowsOfTheirOwn) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1").StationLogon("2");
    log.Ask(AskJson("single-choice", "a", "1"), "1").Pass(100).Ask(AskJson("single-choice", "b", "2"), "2");
    log.Pass(100).Ask(AskJson("single-choice", "c", "1"), "1").Pass(100);
    const Drawn drawn(log);
    const std::vector<Thing> questions = drawn.Of(ThingKind::Question);
    ASSERT_EQ(questions.size(), 3U);
    EXPECT_EQ(questions[0].row, 0U);
    EXPECT_EQ(questions[1].row, 1U);
    EXPECT_EQ(questions[2].row, 0U);
    EXPECT_EQ(drawn.chart.Lanes()[questions[0].lane].rows, 2U);
}

TEST(Chart, Narrowed_LeavesOthersOut) {
    Options options;
    options.keypad = "2";
    const Drawn keypad(Lesson(), options);
    const std::vector<std::string> names = keypad.LaneNames();
    EXPECT_EQ(std::count(names.begin(), names.end(), "Keypad 2 (RV2)"), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), "Keypad 1 (RV2)"), 0);
    EXPECT_EQ(std::count(names.begin(), names.end(), "For all"), 1);

    options = Options();
    options.has_custom = true;
    options.custom = "q1";
    EXPECT_EQ(Drawn(Lesson(), options).Of(ThingKind::Question).size(), 1U);
    EXPECT_EQ(Drawn(Lesson(), options).Of(ThingKind::Press).size(), 3U);

    options = Options();
    options.from = "10:00:03";
    options.to = "10:00:04.500";
    const Drawn time(Lesson(), options);
    EXPECT_EQ(time.Of(ThingKind::Press).size(), 0U);
    EXPECT_EQ(time.Of(ThingKind::Question).size(), 1U);  // it stood then, though it was asked before
    EXPECT_EQ(time.Of(ThingKind::LoggedOn).size(), 3U);
}

TEST(Chart, MoreThanCanBeDrawn_SaysHowToTakeLess) {
    try {
        const Drawn drawn(Lesson(), {}, 5);
        ADD_FAILURE();
    } catch (const std::runtime_error& problem) {
        EXPECT_NE(
            std::string(problem.what()).find("more than 5 things to draw; take a part of them with --from"),
            std::string::npos)
            << problem.what();
    }
}

TEST(Narrow, Span_HoldsWhereItMeetsTheTime) {
    const auto at = [](int day, int hour) { return MillisecondsOf(2026, 11, day, hour, 0, 0, 0); };
    Options options;
    options.from = "10:00";
    options.to = "11:00";
    const Narrow hour(options);
    EXPECT_TRUE(hour.HoldsSpan(at(22, 9), at(22, 12)));
    EXPECT_TRUE(hour.HoldsSpan(at(22, 10), at(22, 10)));
    EXPECT_FALSE(hour.HoldsSpan(at(22, 8), at(22, 9)));
    EXPECT_FALSE(hour.HoldsSpan(at(22, 12), at(23, 9)));
    EXPECT_TRUE(hour.HoldsSpan(at(22, 12), at(23, 12)));
    EXPECT_TRUE(hour.HoldsSpan(at(20, 12), at(25, 12)));
    options.from = "2026-11-22 10:00";
    options.to = "2026-11-22 11:00";
    const Narrow once(options);
    EXPECT_TRUE(once.HoldsSpan(at(20, 12), at(25, 12)));
    EXPECT_FALSE(once.HoldsSpan(at(23, 9), at(23, 12)));
    EXPECT_FALSE(once.HoldsSpan(at(20, 9), at(22, 9)));
}

// ---- trace ----------------------------------------------------------------------------------------------------------

/// What viewers of the format demand of an event.
void CheckEvent(const Json::Value& event) {
    const std::string kind = event["ph"].asString();
    EXPECT_TRUE(kind == "X" || kind == "i" || kind == "M") << event;
    EXPECT_TRUE(event["name"].isString() && !event["name"].asString().empty()) << event;
    EXPECT_TRUE(event["pid"].isIntegral() && event["tid"].isIntegral()) << event;
    EXPECT_TRUE(event["args"].isObject()) << event;
    // Of names too: not every reader does without.
    EXPECT_TRUE(event["ts"].isIntegral() && event["ts"].asInt64() >= 0) << event;
    EXPECT_TRUE(event["cat"].isString()) << event;
    if (kind == "M") {
        return;
    }
    EXPECT_FALSE(event["args"]["sentence"].asString().empty()) << event;
    EXPECT_GE(event["args"]["lines"].size(), 1U) << event;
    if (kind == "X") {
        EXPECT_TRUE(event["dur"].isIntegral() && event["dur"].asInt64() >= 0) << event;
    } else {
        EXPECT_EQ(event["s"], "t") << event;
    }
}

TEST(TraceCommand, Log_IsWhatTheFormatDemands) {
    const Printed printed = Vdlog({"trace", "-o", "-"}, Lesson().Text());
    ASSERT_EQ(printed.code, 0) << printed.error;
    EXPECT_TRUE(IsUtf8(printed.out));
    const Json::Value trace = Parsed(printed.out);
    EXPECT_EQ(trace["displayTimeUnit"], "ms");
    EXPECT_EQ(trace["otherData"]["logs"].size(), 1U);
    EXPECT_EQ(trace["otherData"]["begins"].asString().substr(0, 19), "2026-11-22T10:00:00");
    ASSERT_TRUE(trace["traceEvents"].isArray());
    std::map<std::pair<int, int>, std::string> threads;
    std::map<int, std::string> processes;
    std::map<std::pair<int, int>, std::vector<std::int64_t>> open;
    std::set<std::string> spans;
    std::int64_t last = 0;
    for (const Json::Value& event : trace["traceEvents"]) {
        CheckEvent(event);
        const std::pair<int, int> thread(event["pid"].asInt(), event["tid"].asInt());
        if (event["name"] == "thread_name") {
            threads[thread] = event["args"]["name"].asString();
        } else if (event["name"] == "process_name") {
            processes[thread.first] = event["args"]["name"].asString();
        }
        if (event["ph"] == "M") {
            continue;
        }
        EXPECT_TRUE(threads.contains(thread) && processes.contains(thread.first)) << event;
        const std::int64_t begin = event["ts"].asInt64();
        EXPECT_GE(begin, last) << "not in order";
        last = begin;
        if (event["ph"] == "i") {
            continue;
        }
        // Spans of one thread hold one another, or stand apart.
        const std::int64_t end = begin + event["dur"].asInt64();
        std::vector<std::int64_t>& ends = open[thread];
        while (!ends.empty() && ends.back() <= begin) {
            ends.pop_back();
        }
        EXPECT_TRUE(ends.empty() || end <= ends.back()) << event;
        ends.push_back(end);
        spans.insert(event["cat"].asString().substr(0, event["cat"].asString().find(',')));
    }
    EXPECT_EQ(processes.size(), 5U);
    EXPECT_EQ(processes[6], "Keypads");
    EXPECT_EQ(spans, (std::set<std::string>{"asked", "connection", "logged on", "question", "run", "up"}));
    const auto has = [&trace](const auto& fits) {
        return std::any_of(trace["traceEvents"].begin(), trace["traceEvents"].end(), fits);
    };
    EXPECT_TRUE(has([](const Json::Value& event) {
        return event["ph"] == "i" && event["name"] == "C" && event["cat"] == "press,silent" &&
               event["args"]["reason"] == "answered-already";
    }));
}

TEST(TraceCommand, SpansThatOverlap_GetThreadsOfTheirOwn) {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1").StationLogon("2");
    log.Ask(AskJson("single-choice", "a", "1"), "1").Pass(100).Ask(AskJson("single-choice", "b", "2"), "2");
    log.Pass(100).Ask(AskJson("single-choice", "c", "1"), "1").Pass(100);
    const Json::Value trace = Parsed(Vdlog({"trace", "-o", "-"}, log.Text()).out);
    std::map<std::string, int> threads;
    std::set<std::string> names;
    for (const Json::Value& event : trace["traceEvents"]) {
        if (event["cat"] == "question") {
            threads[event["name"].asString()] = event["tid"].asInt();
        } else if (event["name"] == "thread_name") {
            names.insert(event["args"]["name"].asString());
        }
    }
    EXPECT_EQ(threads["a"], threads["c"]);
    EXPECT_NE(threads["a"], threads["b"]);
    EXPECT_TRUE(names.contains("For one keypad") && names.contains("For one keypad (2)"));
}

// ---- timeline -------------------------------------------------------------------------------------------------------

std::string DataOf(const std::string& page) {
    const std::string begin = "<script type=\"application/json\" id=\"log\">";
    const std::size_t at = page.find(begin);
    EXPECT_NE(at, std::string::npos);
    return at == std::string::npos
               ? "{}"
               : page.substr(at + begin.size(), page.find("</script", at) - at - begin.size());
}

std::size_t CountOf(const std::string& text, const std::string& words) {
    std::size_t count = 0;
    for (std::size_t at = text.find(words); at != std::string::npos; at = text.find(words, at + 1)) {
        ++count;
    }
    return count;
}

constexpr int kSentence = 8;  // places in a thing of the page
constexpr int kLines = 9;

TEST(TimelineCommand, Page_HoldsEachFindingOfWhyAndItsLines) {
    const LogText log = Lesson();
    const Json::Value page = Parsed(DataOf(Vdlog({"timeline", "-o", "-"}, log.Text()).out));
    const Json::Value why = Parsed(Vdlog({"why", "--json"}, log.Text()).out);
    std::map<std::string, std::set<int>> lines;
    for (const Json::Value& thing : page["things"]) {
        for (const Json::Value& number : thing[kLines]) {
            const Json::Value& line = page["lines"][number.asInt()];
            lines[thing[kSentence].asString()].insert(line[1].asInt());
            EXPECT_TRUE(page["functions"].isValidIndex(line[5].asUInt()));
            EXPECT_TRUE(page["levels"].isValidIndex(line[4].asUInt()));
        }
        EXPECT_GE(thing[kLines].size(), 1U) << thing;
    }
    ASSERT_GE(why["findings"].size(), 7U);
    for (const Json::Value& finding : why["findings"]) {
        const auto found = lines.find(finding["sentence"].asString());
        ASSERT_NE(found, lines.end()) << finding["sentence"];
        for (const Json::Value& line : finding["lines"]) {
            EXPECT_TRUE(found->second.contains(line.asInt())) << finding["sentence"] << line;
        }
    }
    // The text of a line is the log's own.
    const auto heard =
        std::find_if(page["lines"].begin(), page["lines"].end(), [&page](const Json::Value& line) {
            return page["functions"][line[5].asInt()] == "VoteDeckObject_RV2::OnKeypadEvent:76" &&
                   line[6] == "ushDeviceId=10, enKeyValue=1";
        });
    ASSERT_NE(heard, page["lines"].end());
}

TEST(TimelineCommand, Page_NeedsNothingElseAndAllowsNothingElse) {
    const std::string page = Vdlog({"timeline", "-o", "-"}, Lesson().Text()).out;
    EXPECT_EQ(page.rfind("<!doctype html>", 0), 0U);
    EXPECT_NE(
        page.find("http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; base-uri 'none'; "
                  "form-action 'none'; img-src data:; style-src 'sha256-"),
        std::string::npos);
    EXPECT_EQ(page.find("unsafe"), std::string::npos);
    EXPECT_EQ(page.find("http:"), std::string::npos);
    EXPECT_EQ(page.find("https:"), std::string::npos);
    EXPECT_EQ(page.find(" src="), std::string::npos);
    EXPECT_EQ(page.find("{{"), std::string::npos);
    EXPECT_EQ(page.find("\nimport "), std::string::npos);
    EXPECT_EQ(CountOf(page, "<script"), 2U);
}

TEST(TimelineCommand, TextOfTheLog_NeverBecomesMarkup) {
    const std::string text = "</script><!--<script>&lt;\xE2\x80\xA8\xE2\x80\xA9<img src=x onerror=alert(1)>";
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1");
    log.Ask(AskJson("single-choice", text), "0", {"1"});
    log.StationKey("1", 3).Found("1", true).Finished("1", true);
    log.Raw(text + "\r\n").Line("Brand::New:7 " + text);
    const std::string plain = Vdlog({"timeline", "-o", "-"}, Lesson().Text()).out;
    const std::string page = Vdlog({"timeline", "-o", "-"}, log.Text()).out;
    for (const std::string mark :
         {"<script", "</script", "<!--", "<img", "onerror=\"", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
        EXPECT_EQ(CountOf(page, mark), CountOf(plain, mark)) << mark;
    }
    const std::string data = DataOf(page);
    EXPECT_EQ(data.find_first_of("<>&"), std::string::npos);
    bool whole = false;
    const Json::Value things = Parsed(data)["things"];
    for (const Json::Value& thing : things) {
        whole = whole || thing[kSentence].asString().find(text) != std::string::npos;
    }
    EXPECT_TRUE(whole);
}

TEST(TimelineCommand, StandardInput_GivesTheSamePage) {
    const std::string log = Lesson().Text();
    std::istringstream in(log);
    std::streambuf* const former = std::cin.rdbuf(in.rdbuf());
    std::cin.clear();
    std::ostringstream out;
    std::ostringstream error;
    const int code = RunProgram({"timeline", "-o", "-", "-"}, out, error);
    std::cin.rdbuf(former);
    EXPECT_EQ(code, 0) << error.str();
    Json::Value from_input = Parsed(DataOf(out.str()));
    EXPECT_EQ(from_input["files"][0], "standard input");
    Json::Value from_file = Parsed(DataOf(Vdlog({"timeline", "-o", "-"}, log).out));
    from_input.removeMember("files");
    from_file.removeMember("files");
    EXPECT_EQ(from_input, from_file);
}

TEST(Quote, Redacted_KeepsOnlyWhatTellsNothing) {
    const Text text({}, true);
    const auto quoted = [&text](const std::string& function, const std::string& words) {
        LogLine line;
        line.function = function;
        line.text = words;
        return QuoteText(line, text);
    };
    EXPECT_EQ(quoted("VoteDeckObject_RV2::OnKeypadEvent", "ushDeviceId=7, enKeyValue=2"),
              "ushDeviceId=7, enKeyValue=2");
    EXPECT_EQ(
        quoted("VoteDeckObject_RV2::SetText",
               "rv2.0 SendContext device_id=7, row1='12', row2='yes', row3=''"),
        "rv2.0 SendContext device_id=7, row1='<2 characters>', row2='<3 characters>', row3='<0 characters>'");
    // A number may be what a pupil said.
    EXPECT_EQ(quoted("IpcHandler::HandleEvaluateResult",
                     "result.request_id={\"device\":\"7\",\"extra\":\"x.wav\"}, result.error_code=0, "
                     "result.result=42, score=88.5"),
              "result.request_id={\"device\":\"7\",\"extra\":\"<5 characters>\"}, result.error_code=0, "
              "result.result=<2 characters>, score=88.5");
    EXPECT_EQ(quoted("Brand::New", "said this"), "<9 characters>");
}

TEST(TimelineCommand, SeveralLogs_KeepTheirLinesApart) {
    const Folder folder;
    LogText second;
    second.Start().Client().Init(1, "\"RV2\"").StationLogon("5").StationKey("5", 1).Found("5", false);
    std::string next_day = second.Text();
    for (std::size_t at = next_day.find("11-22"); at != std::string::npos; at = next_day.find("11-22")) {
        next_day.replace(at, 5, "11-23");
    }
    const std::string newer = folder.Write("b.log", next_day);
    const std::string older = folder.Write("a.log", Lesson().Text());
    const Json::Value page = Parsed(DataOf(RunVdlog({"timeline", newer, older, "-o", "-"}).out));
    ASSERT_EQ(page["files"].size(), 2U);
    EXPECT_EQ(page["files"][0], "a.log");  // by its first line, and without its folder
    EXPECT_GT(page["end"].asInt64() - page["begin"].asInt64(), 23LL * 3600 * 1000);
    std::set<int> files;
    for (const Json::Value& line : page["lines"]) {
        files.insert(line[0].asInt());
    }
    EXPECT_EQ(files, (std::set<int>{0, 1}));
}

TEST(OutputFile, WhatTheLogDoesNotHave_IsSaidInPlaceOfAPage) {
    const Folder folder;
    const std::string log = folder.Write("a.log", Lesson().Text());
    const std::vector<std::pair<std::vector<std::string>, std::string>> narrowed = {
        {{"--keypad", "999"}, "Keypad 999 isn't named in this log.\n"},
        {{"--custom", "nonesuch"}, "No question in this log has the \"custom\" \"nonesuch\".\n"},
        {{"--from", "2026-11-23"}, "The log goes from 2026-11-22 10:00:00.000 to 2026-11-22 10:00:09."}};
    for (const auto& [options, sentence] : narrowed) {
        std::vector<std::string> why{"why", log};
        why.insert(why.end(), options.begin(), options.end());
        const Printed told = RunVdlog(why);
        EXPECT_NE(told.out.find(sentence), std::string::npos) << told.out;
        for (const std::string command : {"timeline", "trace"}) {
            std::vector<std::string> arguments{command, log, "-o", folder.Name("a.out")};
            arguments.insert(arguments.end(), options.begin(), options.end());
            const Printed printed = RunVdlog(arguments);
            EXPECT_EQ(printed.code, told.code) << printed.error;
            EXPECT_EQ(printed.out, told.out) << command;
            EXPECT_EQ(folder.Files(), 1U) << command;
            arguments[3] = "-";  // a whole page, for whoever reads it
            EXPECT_EQ(RunVdlog(arguments).out.find(sentence), std::string::npos) << command;
        }
    }
}

TEST(OutputFile, WhatCantBeWritten_IsSaidAndNothingIsLost) {
    const Folder folder;
    const std::string log = folder.Write("a.log", Lesson().Text());
    for (const std::string command : {"timeline", "trace"}) {
        const Printed missing = RunVdlog({command, log});
        EXPECT_EQ(missing.code, 2);
        EXPECT_NE(missing.error.find("--output is required"), std::string::npos) << missing.error;
        const Printed nowhere = RunVdlog({command, log, "-o", folder.Name("no such folder/a.html")});
        EXPECT_EQ(nowhere.code, 2);
        EXPECT_NE(nowhere.error.find("is its folder there"), std::string::npos) << nowhere.error;
        const Printed onto_folder = RunVdlog({command, log, "-o", folder.Name("")});
        EXPECT_EQ(onto_folder.code, 2);
        EXPECT_NE(onto_folder.error.find("no name of a file"), std::string::npos) << onto_folder.error;
        const Printed onto_log = RunVdlog({command, log, "-o", log});
        EXPECT_EQ(onto_log.code, 2);
        EXPECT_NE(onto_log.error.find("it is the log that is read"), std::string::npos) << onto_log.error;
        EXPECT_EQ(folder.Read("a.log"), Lesson().Text());
    }
    // A page that is there stays where the next one can't be made, and goes where it can.
    folder.Write("a.html", "former");
    const std::string empty = folder.Write("empty.log", "no log\n");
    EXPECT_EQ(RunVdlog({"timeline", empty, "-o", folder.Name("a.html")}).code, 2);
    EXPECT_EQ(folder.Read("a.html"), "former");
    const Printed done = RunVdlog({"timeline", log, "-o", folder.Name("a.html")});
    EXPECT_EQ(done.code, 0) << done.error;
    EXPECT_NE(done.out.find("3 of them silent presses"), std::string::npos) << done.out;
    EXPECT_NE(folder.Read("a.html").find("Content-Security-Policy"), std::string::npos);
    EXPECT_EQ(folder.Files(), 3U);
}

}  // namespace
}  // namespace vdipc::log::test
