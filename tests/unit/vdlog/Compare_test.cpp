// Two logs side by side: what counts, what is left out, and how a difference is told.
#include "tools/vdlog/Events.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace vdipc::log::test {
namespace {

using Presses = std::vector<std::string>;  // "7B": keypad 7 pressed B

LogText Class(const Presses& presses, std::int64_t late = 0) {
    LogText log;
    log.Start().Client().Pass(late).Init(1, "\"RV2\"");
    for (const std::string& press : presses) {
        log.KeyEvent(press.substr(0, 1), press.substr(1), "q1");
    }
    return log.Line("IpcHandler::TaskLoop:124 task loop end");
}

Printed Compare(const LogText& a, const LogText& b, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"compare"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Vdlog(arguments, std::vector<std::string>{a.Text(), b.Text()});
}

TEST(CompareCommand, FileThatIsNoLog_IsNamed) {
    const Folder folder;
    LogText log;
    const std::string good = folder.Write("good.log", log.Start().Text());
    const std::string other = folder.Write("other.log", "Thread 12: x = 7\n");
    for (const auto& arguments :
         {std::vector{std::string("compare"), good, other}, {"compare", other, good}}) {
        const Printed printed = RunVdlog(arguments);
        EXPECT_EQ(printed.code, 2);
        EXPECT_NE(printed.error.find("other.log: no line here is of VDIPC's log"), std::string::npos)
            << printed.error;
    }
}

TEST(CompareCommand, EqualEventsAtOtherTimes_AreEqual) {
    const Printed printed = Compare(Class({"1A", "2B"}), Class({"1A", "2B"}, 5000));
    EXPECT_EQ(printed.code, 0) << printed.out << printed.error;
    EXPECT_NE(printed.out.find("The events are equal."), std::string::npos) << printed.out;
    EXPECT_NE(printed.out.find(": 3 events"), std::string::npos) << printed.out;
}

TEST(CompareCommand, DifferentEvents_ShowTheFirstDifferenceBetweenWhatIsCommon) {
    const Printed printed = Compare(Class({"1A", "2B", "3C"}), Class({"1A", "2D", "3C"}));
    EXPECT_EQ(printed.code, 1);
    const std::size_t a = printed.out.find("\nA 10:00:00.0");
    const std::size_t b = printed.out.find("\nB   ");
    ASSERT_NE(a, std::string::npos) << printed.out;
    ASSERT_LT(a, b) << printed.out;
    EXPECT_NE(printed.out.find("\"key\":\"B\"", a), std::string::npos) << printed.out;
    EXPECT_NE(printed.out.find("\"key\":\"D\"", b), std::string::npos) << printed.out;
    // What stands before is there twice: with the time and the line in each log.
    EXPECT_LT(printed.out.find("\"key\":\"A\""), a) << printed.out;
    EXPECT_NE(printed.out.find("1 stand in A alone, 1 in B alone"), std::string::npos) << printed.out;
}

TEST(CompareCommand, MissingRun_IsADifference) {
    LogText twice = Class({"1A"});
    twice.Raw(Class({}).Text());
    EXPECT_EQ(Compare(twice, twice).code, 0);
    const Printed printed = Compare(twice, Class({"1A"}));
    EXPECT_EQ(printed.code, 1);
    EXPECT_NE(printed.out.find("a run begins"), std::string::npos) << printed.out;
}

TEST(CompareCommand, OtherOrderOfTwoKeypads_IsEqualByKeypadAlone) {
    const LogText a = Class({"1A", "2B", "1C"});
    const LogText b = Class({"2B", "1A", "1C"});
    const Printed strict = Compare(a, b);
    EXPECT_EQ(strict.code, 1);
    EXPECT_NE(strict.out.find("--by-keypad takes that for equal"), std::string::npos) << strict.out;
    EXPECT_EQ(Compare(a, b, {"--by-keypad"}).code, 0);
    const Printed one = Compare(a, Class({"1C", "2B", "1A"}), {"--by-keypad"});
    EXPECT_EQ(one.code, 1);
    EXPECT_NE(one.out.find("the same ones in another order"), std::string::npos) << one.out;
    EXPECT_EQ(one.out.find("takes that for equal"), std::string::npos) << one.out;
}

TEST(CompareCommand, RepeatsOfTheStationsCheck_AreLeftOut) {
    const auto down = [](int repeats) {
        LogText log;
        log.Start().Client().Init(1, "\"RV2\"");
        for (int i = 0; i < repeats; ++i) {
            log.Line("VoteDeckObjectBase::NotifyBadStatusForRV2:120", LogText::kTaskThread, "Trace");
            log.Line("IpcHandler::OnRv2BadStatusNotified:128", LogText::kTaskThread, "Trace");
            log.Event(
                "\t\"avaliable-device\" : [],\n\t\"event\" : \"device-inited\",\n\t\"info\" : \"no-power\"");
        }
        return log;
    };
    const Printed printed = Compare(down(0), down(2));
    EXPECT_EQ(printed.code, 0) << printed.out;
    EXPECT_NE(printed.out.find("and 2 \"device-inited\" of the check every ten seconds"), std::string::npos)
        << printed.out;
}

TEST(CompareCommand, Json_HoldsAllDifferences) {
    const Printed printed = Compare(Class({"1A"}), Class({"1B"}), {"--json"});
    EXPECT_EQ(printed.code, 1);
    EXPECT_NE(printed.out.find("{\"equal\":false,\"events\":[2,2]"), std::string::npos) << printed.out;
    EXPECT_NE(printed.out.find("\"key\":\"A\""), std::string::npos) << printed.out;
    EXPECT_NE(Compare(Class({"1A"}), Class({"1A"}), {"--json"}).out.find("{\"equal\":true"),
              std::string::npos);
}

TEST(CompareCommand, BadWords_GiveTwo) {
    const std::string log = Class({}).Text();
    EXPECT_EQ(Vdlog({"compare"}, log).code, 2);
    EXPECT_EQ(Vdlog({"compare", "no such file"}, log).code, 2);
    EXPECT_EQ(Vdlog({"compare"}, std::vector<std::string>{log, "no log"}).code, 2);
    EXPECT_EQ(Vdlog({"compare"}, std::vector<std::string>{log, log, log}).code, 2);
}

TEST(CompareCommand, RedactedDifference_HoldsNoText) {
    LogText a = Class({});
    LogText b = Class({});
    a.Event("\t\"data\" : {\"result\" : \"SECRET one\"},\n\t\"event\" : \"audio-recognized\"");
    b.Event("\t\"data\" : {\"result\" : \"SECRET other\"},\n\t\"event\" : \"audio-recognized\"");
    for (const char* const json : {"--all", "--json"}) {
        const Printed open = Compare(a, b, {json});
        EXPECT_NE(open.out.find("SECRET"), std::string::npos);
        const Printed redacted = Compare(a, b, {json, "--redact"});
        EXPECT_EQ(redacted.code, 1);
        EXPECT_EQ(redacted.out.find("SECRET"), std::string::npos) << redacted.out;
    }
}

TEST(ComparableEvent, IdsTimesAndRecordingsMoments_AreLeftOut) {
    const std::string event =
        "{\n\t\"custom\" : \"q\",\n\t\"data\" : \n\t{\n\t\t\"end_time\" : 5,\n\t\t\"result\" : \"r\",\n\t\t"
        "\"start_time\" : 4\n\t},\n\t\"event\" : \"voice-evaluated\",\n\t\"extra\" : \"a-b-7-1f.wav\",\n\t"
        "\"id\" : \"0-1\"\n}\n";
    EXPECT_EQ(ComparableEvent(event),
              R"({"custom":"q","data":{"result":"r"},"event":"voice-evaluated","extra":"a-b-7-*.wav"})");
    // A line that was cut.
    const std::string cut = ComparableEvent(event.substr(0, event.size() - 5));
    EXPECT_NE(cut.find("\"result\" : \"r\""), std::string::npos) << cut;
    EXPECT_EQ(cut.find("1f.wav"), std::string::npos) << cut;
    EXPECT_EQ(cut.find("start_time"), std::string::npos) << cut;
}

TEST(Differences, AnySequences_LeadFromOneToTheOtherByTheShortestWay) {
    std::mt19937 random(7);
    for (int round = 0; round < 500; ++round) {
        std::vector<std::size_t> a(random() % 12);
        std::vector<std::size_t> b(random() % 12);
        for (std::vector<std::size_t>* const side : {&a, &b}) {
            for (std::size_t& number : *side) {
                number = random() % 4;
            }
        }
        std::vector<std::size_t> made;
        std::size_t from = 0;
        std::size_t changes = 0;
        for (const Difference& difference : Differences(a, b)) {
            ASSERT_LE(from, difference.a);
            made.insert(made.end(), a.begin() + static_cast<std::ptrdiff_t>(from),
                        a.begin() + static_cast<std::ptrdiff_t>(difference.a));
            ASSERT_EQ(made.size(), difference.b);
            made.insert(made.end(), b.begin() + static_cast<std::ptrdiff_t>(difference.b),
                        b.begin() + static_cast<std::ptrdiff_t>(difference.b + difference.b_count));
            from = difference.a + difference.a_count;
            changes += difference.a_count + difference.b_count;
        }
        made.insert(made.end(), a.begin() + static_cast<std::ptrdiff_t>(from), a.end());
        EXPECT_EQ(made, b);
        // The longest common subsequence, the plain way.
        std::vector<std::vector<std::size_t>> longest(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
        for (std::size_t i = 1; i <= a.size(); ++i) {
            for (std::size_t j = 1; j <= b.size(); ++j) {
                longest[i][j] = a[i - 1] == b[j - 1] ? longest[i - 1][j - 1] + 1
                                                     : std::max(longest[i - 1][j], longest[i][j - 1]);
            }
        }
        EXPECT_EQ(changes, a.size() + b.size() - 2 * longest[a.size()][b.size()]);
    }
}

TEST(Differences, FarTooManyOfThem_EndInOnePlainCut) {
    const std::vector<std::size_t> a{1, 2, 3, 4, 5};
    const std::vector<std::size_t> b{1, 2, 9, 8, 7};
    const std::vector<Difference> found = Differences(a, b, 2);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].a, 2U);
    EXPECT_EQ(found[0].a_count, 3U);
    EXPECT_EQ(found[0].b_count, 3U);
}

}  // namespace
}  // namespace vdipc::log::test
