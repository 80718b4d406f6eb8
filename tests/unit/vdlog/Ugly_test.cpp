// Logs as they come from schools: cut, mixed, damaged, of other versions, in several files. What they say stays the same.
#include "tools/vdlog/Reasons.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace vdipc::log::test {
namespace {

const std::string kAsk = R"({"command":"ask","device":"0","type":"single-choice","custom":"q1"})";

/// A lesson of some reasons, each on two threads.
LogText PlainLesson() {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1").StationLogon("2");
    log.Ask(kAsk, "0", {"1", "2"}).StationLogon("3");
    log.StationKey("3", 1).Found("3", false);
    log.StationKey("1", 5).Found("1", true).Finished("1", false).Filtered(0, 5, false);
    log.StationKey("1", 2)
        .Found("1", true)
        .Finished("1", false)
        .Filtered(0, 2, true)
        .KeyEvent("1", "B", "q1");
    log.StationKey("1", 3).Found("1", true).Finished("1", true);
    log.Line("PipeServer::OnPipeDataReceived:61 msg received:{\"command\":\"dance\"}", 0x2cc);
    log.Line("IpcHandler::RouteMessage:78 task begin msg={\"command\":\"dance\"}");
    log.StationKey("9", 1).Found("9", false);
    return log.Line("IpcHandler::TaskLoop:124 task loop end");
}

std::vector<std::string> LinesOfText(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("\r\n", at), text.size() - 2) + 2;
        lines.push_back(text.substr(at, end - at));
        at = end;
    }
    return lines;
}

std::vector<Finding> Explain(const std::string& log) {
    const Text text;
    std::vector<Finding> findings;
    Reasons reasons(text, [&findings](const Finding& finding) { findings.push_back(finding); });
    Story story(reasons);
    reasons.Follow(story);
    LineReader reader(story);
    reader.Feed(log.data(), log.size());
    reader.EndFile();
    story.End();
    return findings;
}

/// What is said of a log, with the text of each line that is pointed at.
std::string Told(const std::string& log) {
    std::vector<std::string> lines{""};
    for (const char c : log) {
        lines.back() += c;
        if (c == '\n') {
            lines.emplace_back();
        }
    }
    std::string told;
    for (const Finding& finding : Explain(log)) {
        told += finding.sentence + "\n";
        for (const Mark& mark : finding.lines) {
            const std::string& line = mark.line <= lines.size() ? lines[mark.line - 1] : "no such line";
            const std::size_t function = line.find("] ");
            told +=
                "    " + line.substr(function == std::string::npos ? 0 : function + 2).substr(0, 20) + "\n";
        }
    }
    return told;
}

std::string NextDay(std::string text) {
    for (std::size_t at = 0; (at = text.find("[2026-11-22", at)) != std::string::npos; ++at) {
        text.replace(at, 11, "[2026-11-23");
    }
    return text;
}

TEST(UglyLog, Base_HasItsReasons) {
    const std::string told = Told(PlainLesson().Text());
    for (const char* const words : {"before the keypad logged on", "T doesn't count", "had answered",
                                    "there is no command \"dance\"", "Keypad 9 (RV2) pressed A"}) {
        EXPECT_NE(told.find(words), std::string::npos) << words << "\n" << told;
    }
}

TEST(UglyLog, LinesThatRunIntoEachOther_SayTheSame) {
    // Of two threads: both texts, then both line ends.
    std::string text;
    const std::vector<std::string> lines = LinesOfText(PlainLesson().Text());
    int joined = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto thread = [&](std::size_t at) { return lines[at].substr(lines[at].find("][", 25) + 2, 5); };
        if (i + 1 < lines.size() && thread(i) != thread(i + 1)) {
            text += lines[i].substr(0, lines[i].size() - 2) + lines[i + 1] + "\r\n";
            ++i;
            ++joined;
        } else {
            text += lines[i];
        }
    }
    EXPECT_GT(joined, 8);
    // The second of such a line is pointed at by the first one's place.
    std::vector<std::string> sentences;
    for (const std::string& log : {PlainLesson().Text(), text}) {
        sentences.emplace_back();
        for (const Finding& finding : Explain(log)) {
            sentences.back() += finding.sentence + "\n";
        }
    }
    EXPECT_EQ(sentences[1], sentences[0]);
}

TEST(UglyLog, LinesOfOthersInBetween_SayTheSame) {
    std::string text;
    for (const std::string& line : LinesOfText(PlainLesson().Text())) {
        text += line + "SIMULATED receiver\r\n" + "[2026-11-22] [error] driver: no answer {\r\n" +
                "Thread 12: x = 7\n" + std::string(50, '\0') + "\r\n";
    }
    EXPECT_EQ(Told(text), Told(PlainLesson().Text()));
}

TEST(UglyLog, CopyWithoutCarriageReturns_SaysTheSame) {
    std::string text = PlainLesson().Text();
    std::erase(text, '\r');
    EXPECT_EQ(Told(text), Told(PlainLesson().Text()));
    EXPECT_EQ(Told("\xEF\xBB\xBF" + PlainLesson().Text()), Told(PlainLesson().Text()));
}

TEST(UglyLog, OtherVersions_SayTheSame) {
    // Other line numbers behind the functions, and lines that this version doesn't have.
    std::string text;
    const std::string whole = PlainLesson().Text();
    const std::size_t last = whole.find("IpcHandler::TaskLoop:124") -
                             std::string("[2026-11-22 10:00:00.000][Debug][006f8] ").size();
    for (std::string line : LinesOfText(whole.substr(0, last))) {
        std::size_t colon = line.find("::", 40);
        while (colon != std::string::npos && (line[colon + 1] < '0' || line[colon + 1] > '9')) {
            colon = line.find(':', colon + 1);
        }
        if (colon != std::string::npos) {
            line.insert(colon + 1, "1");
        }
        text += line + line.substr(0, line.find("] ") + 2) +
                "VoteDeckObjectBase::RunAhead:77 device=1 found=false\r\n";
    }
    text += whole.substr(last);
    const std::size_t version = text.find("VERSION:2.0.54");
    ASSERT_NE(version, std::string::npos);
    text.replace(version, 14, "VERSION:3.1.0");
    EXPECT_EQ(Told(text), Told(PlainLesson().Text()));
    EXPECT_NE(text.find("FindLastQuestion:1116 "), std::string::npos) << text;
    const std::string summary = Vdlog({"summary"}, text).out;
    EXPECT_NE(summary.find("Run 1: version 3.1.0"), std::string::npos) << summary;
    EXPECT_NE(summary.find(" x VoteDeckObjectBase::RunAhead"), std::string::npos) << summary;
}

TEST(UglyLog, LogThatBeginsAnywhere_ClaimsNothingThatItDoesNotShow) {
    const std::string whole = PlainLesson().Text();
    const std::size_t begun = whole.find("IpcHandler::TaskLoop:110");
    for (std::size_t cut = begun; cut < whole.size(); cut += 31) {
        const std::string log = whole.substr(cut);
        const auto lines = static_cast<std::uint64_t>(std::count(log.begin(), log.end(), '\n')) + 1;
        for (const Finding& finding : Explain(log)) {
            EXPECT_NE(finding.reason, Reason::NeverLoggedOn) << cut << finding.sentence;
            EXPECT_EQ(finding.sentence.find("never"), std::string::npos) << cut << finding.sentence;
            for (const Mark& mark : finding.lines) {
                EXPECT_TRUE(mark.line >= 1 && mark.line <= lines) << cut << finding.sentence;
            }
        }
    }
}

TEST(UglyLog, LogThatEndsAnywhere_SaysNothingThatTheWholeDoesNot) {
    const std::string whole = PlainLesson().Text();
    const std::string told = Told(whole);
    int compared = 0;
    for (std::size_t cut = 1; cut < whole.size(); cut += 31) {
        const std::string log = whole.substr(0, cut);
        const auto lines = static_cast<std::uint64_t>(std::count(log.begin(), log.end(), '\n'));
        for (const Finding& finding : Explain(log)) {
            // What the end of a run brings along, and the press that may break off here.
            if (finding.reason == Reason::HostEnded || finding.reason == Reason::NoPress ||
                finding.reason == Reason::NeverRun || finding.lines.back().line + 2 > lines) {
                continue;
            }
            EXPECT_NE(told.find(finding.sentence), std::string::npos) << cut << finding.sentence;
            ++compared;
        }
    }
    EXPECT_GT(compared, 100);
}

TEST(UglyLog, BytesOfZeroAndNoise_AreSurvived) {
    // A disk that lost its power leaves blocks of zero.
    const std::vector<std::string> lines = LinesOfText(PlainLesson().Text());
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        text += lines[i];
        text += i % 10 == 9 ? std::string(4096, '\0') : "";
    }
    EXPECT_EQ(Told(text), Told(PlainLesson().Text()));
    for (const char* const command : {"summary", "why", "pipe"}) {
        EXPECT_EQ(Vdlog({command}, text).code, 0) << command;
    }
    std::mt19937 random(7);
    for (int i = 0; i < 50; ++i) {
        std::string noise = PlainLesson().Text();
        for (int changes = 0; changes < 20; ++changes) {
            noise[random() % noise.size()] = static_cast<char>(random());
        }
        EXPECT_FALSE(Told(noise).empty());
    }
}

TEST(UglyLog, SeveralRunsOfADay_AreToldOneByOne) {
    LogText log = PlainLesson();
    log.Pass(60000).Start().Client().Init(1, "\"RV2\"").StationKey("3", 1).Found("3", false);
    log.Pass(60000).Start();
    const std::string summary = Vdlog({"summary"}, log.Text()).out;
    EXPECT_NE(summary.find("Run 1: version 2.0.54, 2026-11-22 10:00:00.000"), std::string::npos) << summary;
    EXPECT_NE(summary.find("Run 2: version 2.0.54, 2026-11-22 10:01:00."), std::string::npos) << summary;
    EXPECT_NE(summary.find("Run 3: version 2.0.54, 2026-11-22 10:02:00."), std::string::npos) << summary;
    // What was known of keypads is of the run before.
    const std::string why = Vdlog({"why", "--keypad", "3", "--from", "10:01"}, log.Text()).out;
    EXPECT_NE(why.find("it has never logged on"), std::string::npos) << why;
}

TEST(UglyLog, SeveralFiles_AreTakenInTheOrderOfTheirTimes) {
    const Folder folder;
    const std::string first = folder.Write("b.log", PlainLesson().Text());
    const std::string second = folder.Write("a.log", NextDay(PlainLesson().Text()));
    const std::string none = folder.Write("c.log", "nothing of the log\r\n");
    for (const std::vector<std::string>& files :
         {std::vector<std::string>{first, second}, {second, first}, {none, second, first}}) {
        std::vector<std::string> arguments = files;
        arguments.insert(arguments.begin(), "summary");
        const std::string summary = RunVdlog(arguments).out;
        EXPECT_NE(summary.find("Run 1: version 2.0.54, 2026-11-22"), std::string::npos) << summary;
        EXPECT_NE(summary.find("Run 2: version 2.0.54, 2026-11-23"), std::string::npos) << summary;
        arguments[0] = "why";
        const std::string why = RunVdlog(arguments).out;
        EXPECT_NE(why.find("2026-11-23 10:00:00."), std::string::npos) << why;
        EXPECT_NE(why.find(" 1:"), std::string::npos) << why;
        EXPECT_NE(why.find(" 2:"), std::string::npos) << why;
        EXPECT_NE(why.find("File 1: " + first + "\nFile 2: " + second), std::string::npos) << why;
        arguments.emplace_back("--redact");
        EXPECT_EQ(RunVdlog(arguments).out.find(folder.Path().string()), std::string::npos);
    }
}

TEST(UglyLog, StandardInput_IsAFileToo) {
    const Folder folder;
    std::istringstream input(NextDay(PlainLesson().Text()));
    std::streambuf* const own = std::cin.rdbuf(input.rdbuf());
    const std::string former = folder.Write("vote_deck.2026.11.22.log", PlainLesson().Text());
    const Printed printed = RunVdlog({"summary", "-", former});
    std::cin.rdbuf(own);
    std::cin.clear();
    EXPECT_EQ(printed.code, 0) << printed.error;
    EXPECT_NE(printed.out.find("Run 1: version 2.0.54, 2026-11-22"), std::string::npos) << printed.out;
    EXPECT_NE(printed.out.find("Run 2: version 2.0.54, 2026-11-23"), std::string::npos) << printed.out;
}

TEST(UglyLog, ChineseFromThePipe_IsFoundByItsOwnLetters) {
    // In messages as UTF-8, in the library's own events by escapes.
    const std::string title = "\xE7\xAC\xAC\xE4\xB8\x80\xE9\xA2\x98";
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("1");
    log.Ask(R"({"command":"ask","device":"0","type":"single-choice","custom":")" + title + "\"}", "0", {"1"});
    log.StationKey("1", 2)
        .Found("1", true)
        .Finished("1", false)
        .Filtered(0, 2, true)
        .KeyEvent("1", "B", "\\u7b2c\\u4e00\\u9898");
    log.StationKey("1", 3).Found("1", true).Finished("1", true);
    const std::string why = Vdlog({"why", "--custom", title}, log.Text()).out;
    EXPECT_NE(why.find("it had answered single-choice \"" + title + "\""), std::string::npos) << why;
    EXPECT_NE(Vdlog({"summary"}, log.Text()).out.find("\"" + title + "\" for all: 1 asked, 1 answered"),
              std::string::npos);
}

}  // namespace
}  // namespace vdipc::log::test
