#include "tools/vdlesson/Lesson.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

namespace vdipc::tools {
namespace {

/// The words of the complaint about a lesson; empty for one that can be read.
std::string Complaint(const std::string& text) {
    try {
        ParseLesson(text);
    } catch (const LessonError& error) {
        return error.what();
    }
    return {};
}

Step OneStep(const std::string& line) {
    return ParseLesson(line + "\n").steps.at(0);
}

TEST(Lesson, EveryLessonOfTheTree_CanBeRead) {
    int lessons = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(VDIPC_SOURCE_DIR) + "/lessons")) {
        std::ifstream file(entry.path(), std::ios::binary);
        const Lesson lesson = ParseLesson(std::string(std::istreambuf_iterator<char>(file), {}));
        EXPECT_FALSE(lesson.title.empty()) << entry.path();
        EXPECT_GT(lesson.steps.size(), 10u) << entry.path();
        ++lessons;
    }
    EXPECT_GE(lessons, 3);
}

TEST(Lesson, LinesAboutTheWhole_GoIntoTheirFields) {
    const Lesson lesson =
        ParseLesson("title  a b\r\n# comment\n\nseed\t18446744073709551615\nstation no-power\n"
                    "plugged TQ1,LW\nchannel 5\nconfig {\"engine\":\"ali\"}\ndevices {\"LW\":[]}\nsay x\n");
    EXPECT_EQ(lesson.title, "a b");
    EXPECT_EQ(lesson.seed, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(lesson.station, "no-power");
    EXPECT_EQ(lesson.plugged, "TQ1,LW");
    EXPECT_EQ(lesson.channel, "5");
    EXPECT_EQ(lesson.config, "{\"engine\":\"ali\"}");
    EXPECT_EQ(lesson.devices, "{\"LW\":[]}");
    ASSERT_EQ(lesson.steps.size(), 1u);
    EXPECT_EQ(lesson.steps[0].line, 10);
}

TEST(Lesson, Times_AreSecondsOfTheLessonOrBehindTheFormerStep) {
    EXPECT_EQ(OneStep("@12.5 say x").at, 12.5);
    EXPECT_EQ(OneStep("+0.25 say x").after, 0.25);
    EXPECT_EQ(OneStep("say x").at, -1.0);
}

TEST(Lesson, Answers_HoldKeysAndWhatMustComeOfThem) {
    const Step step = OneStep("answers RV2 2..30 B|CA!|G*3 over 1.5 as q1");
    EXPECT_EQ(step.first, 2);
    EXPECT_EQ(step.last, 30);
    EXPECT_EQ(step.seconds, 1.5);
    EXPECT_EQ(step.custom, "q1");
    ASSERT_EQ(step.choices.size(), 3u);
    EXPECT_EQ(step.choices[0].keys, std::vector<std::string>({"B"}));
    EXPECT_EQ(step.choices[1].keys, std::vector<std::string>({"C", "A", "T"}));
    EXPECT_EQ(step.choices[1].answers, std::vector<std::string>({"CA"}));
    EXPECT_EQ(step.choices[2].answers, std::vector<std::string>({"G", "G", "G"}));
}

TEST(Lesson, HostsEnds_AreToldApart) {
    EXPECT_EQ(OneStep("host again").kind, Step::Kind::HostAgain);
    EXPECT_EQ(OneStep("host kill").kind, Step::Kind::HostKill);
    EXPECT_EQ(OneStep("host stop 5").kind, Step::Kind::HostStop);
    EXPECT_EQ(OneStep("host gone 2.5").kind, Step::Kind::HostGone);
    EXPECT_EQ(OneStep("host gone 2.5").seconds, 2.5);
    EXPECT_EQ(Complaint("host stop\n"), "line 1: expected seconds to wait at most");
    EXPECT_EQ(Complaint("host kill 5\n"), "line 1: too many words: '5'");
    EXPECT_NE(Complaint("host dance\n").find("not 'dance'"), std::string::npos);
}

TEST(Lesson, MessagesAndBytes_AreTakenAsTheyAre) {
    const Step message = OneStep("client message \"a\\nb \\u00e9\"");
    EXPECT_EQ(message.kind, Step::Kind::ClientMessage);
    EXPECT_EQ(message.text, "a\nb \xC3\xA9");
    const Step bytes = OneStep("client bytes e2070A");
    EXPECT_EQ(bytes.kind, Step::Kind::ClientBytes);
    EXPECT_EQ(bytes.text, "\xE2\x07\x0A");
    for (const char* const text : {"", "x", "\"open", "{}", "7"}) {
        EXPECT_EQ(Complaint(std::string("client message ") + text + "\n"),
                  "line 1: expected a text in double quotes, as JSON has it");
    }
    for (const char* const digits : {"e", "0g", "00 00 0"}) {
        EXPECT_NE(Complaint(std::string("client bytes ") + digits + "\n"), "") << digits;
    }
}

TEST(Lesson, TextOfTheLog_IsAwaitedSoOften) {
    const Step once = OneStep("logged 5 Connect begin");
    EXPECT_EQ(once.kind, Step::Kind::Logged);
    EXPECT_EQ(once.text, "Connect begin");
    EXPECT_EQ(once.count, 1);
    const Step often = OneStep("logged 0.5 x12 x y");
    EXPECT_EQ(often.text, "x y");
    EXPECT_EQ(often.count, 12);
    EXPECT_EQ(often.seconds, 0.5);
    EXPECT_EQ(OneStep("logged 5 xmas").text, "xmas");
    EXPECT_EQ(Complaint("logged 5 x3\n"), "line 1: expected a text of the log");
    EXPECT_EQ(Complaint("logged 5\n"), "line 1: expected a text of the log");
}

TEST(Lesson, ActionOfTheClassroom_MayBeTriedForAWhile) {
    EXPECT_EQ(OneStep(R"(classroom {"do":"x"})").seconds, 0.0);
    EXPECT_EQ(OneStep(R"(classroom 30 {"do":"x"})").seconds, 30.0);
    EXPECT_EQ(OneStep(R"(classroom 30 {"do":"x"})").json["do"], "x");
    EXPECT_NE(Complaint("classroom x {}\n"), "");
}

TEST(Lesson, EmptyText_HasNoSteps) {
    EXPECT_EQ(Complaint(""), "the lesson has no steps");
    EXPECT_EQ(Complaint("# nothing\n\ntitle x\n"), "the lesson has no steps");
}

TEST(Lesson, UnknownStep_IsToldWithItsLine) {
    EXPECT_EQ(Complaint("say x\n\nsing y\n"), "line 3: unknown step 'sing'");
}

TEST(Lesson, TimeThatIsNoneOrHasNoEnd_IsRefused) {
    for (const char* time : {"inf", "infinity", "nan", "-1", "1e999", "x", "1x", ""}) {
        EXPECT_EQ(Complaint(std::string("say x\n@") + time + " say y\n"),
                  std::string("line 2: expected seconds behind '@', not '") + time + "'");
        EXPECT_NE(Complaint(std::string("state ") + time + " {}\n"), "") << time;
    }
}

TEST(Lesson, KeypadNumberThatIsNotWholeOrTooGreat_IsRefused) {
    for (const char* number : {"1.5", "-1", "2147483648", "1e300", "nan", "inf", "x", ""}) {
        EXPECT_EQ(Complaint(std::string("shows RV2 1..") + number + " a b c\n"),
                  std::string("line 1: expected a keypad number, not '") + number + "'");
    }
    EXPECT_EQ(OneStep("shows RV2 2147483647 a b c").last, 2147483647);
}

TEST(Lesson, RangeOfKeypadsThatRunsDownwardsOrFromZero_IsRefused) {
    for (const char* range : {"0", "0..3", "3..2"}) {
        EXPECT_EQ(Complaint(std::string("shows RV2 ") + range + " a b c\n"),
                  "line 1: a range of keypads runs upwards from 1 or above");
    }
}

TEST(Lesson, MorePressesThanAThousand_AreRefused) {
    EXPECT_EQ(OneStep("answers RV2 1 G*1000 over 1 as q").choices[0].keys.size(), 1000u);
    for (const char* times : {"1001", "1000000000", "4294967296", "-1", "1.5", ""}) {
        EXPECT_EQ(Complaint(std::string("answers RV2 1 G*") + times + " over 1 as q\n"),
                  std::string("line 1: expected a number up to 1000 behind '*', not '") + times + "'");
    }
}

TEST(Lesson, CountSeedOrChannelThatIsNotWholeOrTooGreat_IsRefused) {
    EXPECT_EQ(OneStep("expect 5 activated x2147483647").count, 2147483647);
    EXPECT_EQ(Complaint("expect 5 activated x2147483648\n"),
              "line 1: expected a count behind 'x', not '2147483648'");
    EXPECT_EQ(Complaint("seed\t18446744073709551616\nsay x\n"),
              "line 1: expected a whole number, not '18446744073709551616'");
    EXPECT_EQ(Complaint("seed 1e30\nsay x\n"), "line 1: expected a whole number, not '1e30'");
    EXPECT_EQ(Complaint("channel 2147483648\nsay x\n"),
              "line 1: expected a channel number, or none, not '2147483648'");
    EXPECT_EQ(Complaint("channel none\nsay x\n"), "");
}

TEST(Lesson, JsonThatIsNoneOrNestedTooDeep_IsToldWithItsLine) {
    for (const std::string& json : {std::string("{"), std::string("[]"), std::string("7"), std::string(),
                                    std::string(1001, '['), "{\"a\":" + std::string(1001, '{')}) {
        EXPECT_EQ(Complaint("say x\nclassroom " + json + "\n").rfind("line 2: expected a JSON object: ", 0),
                  0u)
            << json.substr(0, 20);
    }
    EXPECT_EQ(Complaint("client ask 0 evaluation param=" + std::string(1001, '[') + "\n")
                  .rfind("line 1: param is no JSON: ", 0),
              0u);
}

}  // namespace
}  // namespace vdipc::tools
