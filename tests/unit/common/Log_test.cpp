#include "common/Clock.h"
#include "common/Log.h"
#include "support/LogCapture.h"
#include "unit/pipe/RefusedAllocation.h"

#include <array>
#include <cstdio>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc {

/// A value that counts how often it is formatted.
struct Counted {
    int* count;
};

/// A function whose name stands in the log.
class LogSpeaker {
public:
    static void Entry() { VD_LOG_ENTRY(); }
    static void Refuse(int code) { VD_LOG(LogLevel::Warn, "{}:{} refused, code={} exact={}", code, true); }
    static int Line() { return __LINE__ - 1; }
};

}  // namespace vdipc

template <>
struct fmt::formatter<vdipc::Counted> : fmt::formatter<int> {
    template <typename Context>
    auto format(const vdipc::Counted& value, Context& context) const {
        return fmt::formatter<int>::format(++*value.count, context);
    }
};

namespace vdipc {
namespace {

using test::LogCapture;
using test::LogLine;

std::string LevelNameOf(LogLevel level) {
    return test::ParseLogLine(level, std::string(MakeLogPrefix(level).View())).level_name;
}

std::string TimeText(const LocalTime& time) {
    std::array<char, 64> text = {};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d.%03d", time.year, time.month,
                  time.day, time.hour, time.minute, time.second, time.milliseconds);
    return text.data();
}

TEST(Log, Levels_HaveTheirNames) {
    EXPECT_EQ(LevelNameOf(LogLevel::Trace), "Trace");
    EXPECT_EQ(LevelNameOf(LogLevel::Debug), "Debug");
    EXPECT_EQ(LevelNameOf(LogLevel::Info), "Info");
    EXPECT_EQ(LevelNameOf(LogLevel::Warn), "Warn");
    EXPECT_EQ(LevelNameOf(LogLevel::Error), "Error");
    EXPECT_EQ(LevelNameOf(LogLevel::Critical), "Critical");
}

TEST(Log, Level6_IsUnknown) {
    EXPECT_EQ(LevelNameOf(static_cast<LogLevel>(6)), "Unknown");
    EXPECT_EQ(LevelNameOf(static_cast<LogLevel>(-1)), "Unknown");
}

TEST(Log, Level1_IsDebug) {
    EXPECT_EQ(LevelNameOf(static_cast<LogLevel>(1)), "Debug");
}

TEST(Log, Prefix_IsTimeLevelAndThread) {
    const std::string before = TimeText(GetLocalTimeNow());
    const std::string shown(MakeLogPrefix(LogLevel::Warn).View());
    const std::string after = TimeText(GetLocalTimeNow());
    EXPECT_TRUE(std::regex_match(
        shown, std::regex(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\]\[Warn\]\[[0-9a-f]{5,}\] )")))
        << shown;
    const LogLine line = test::ParseLogLine(LogLevel::Warn, shown);
    EXPECT_LE(before, line.time);
    EXPECT_LE(line.time, after);
}

TEST(Log, ThreadNumber_IsOfTheCallingThreadInHexadecimalWithAtLeastFiveDigits) {
    std::string thread;
    std::array<char, 16> expected = {};
    std::thread([&] {
        thread = test::ParseLogLine(LogLevel::Info, std::string(MakeLogPrefix(LogLevel::Info).View())).thread;
        std::snprintf(expected.data(), expected.size(), "%05x", static_cast<unsigned int>(GetThreadNumber()));
    }).join();
    EXPECT_EQ(thread, expected.data());
}

#if !defined(_WIN32)
TEST(Log, ThreadNumber1a4_ShowsAs001a4_And123456_As123456) {
    test::SetNativeThreadNumber(0x1a4);
    EXPECT_NE(MakeLogPrefix(LogLevel::Info).View().find("[001a4] "), std::string_view::npos);
    test::SetNativeThreadNumber(0x123456);
    EXPECT_NE(MakeLogPrefix(LogLevel::Info).View().find("[123456] "), std::string_view::npos);
    test::SetNativeThreadNumber(std::nullopt);
}

TEST(Log, Prefix_PadsEveryPartOfTheTime) {
    test::SetNativeLocalTime(LocalTime{2026, 1, 2, 3, 4, 5, 6});
    test::SetNativeThreadNumber(0xabcdef);
    EXPECT_EQ(MakeLogPrefix(LogLevel::Trace).View(), "[2026-01-02 03:04:05.006][Trace][abcdef] ");
    test::SetNativeThreadNumber(std::nullopt);
    test::SetNativeLocalTime(std::nullopt);
}
#endif

TEST(Log, Line_IsPrefixQualifiedFunctionNameSourceLineAndText) {
    const LogCapture log;
    LogSpeaker::Refuse(7);
    ASSERT_EQ(log.Lines().size(), 1u);
    const LogLine line = log.Lines()[0];
    EXPECT_EQ(line.level, LogLevel::Warn);
    EXPECT_EQ(line.level_name, "Warn");
    EXPECT_EQ(line.function, "LogSpeaker::Refuse");
    EXPECT_EQ(line.line, LogSpeaker::Line());
    EXPECT_EQ(line.rest, "refused, code=7 exact=true");
    EXPECT_EQ(line.message,
              "LogSpeaker::Refuse:" + std::to_string(LogSpeaker::Line()) + " refused, code=7 exact=true");
}

TEST(Log, BareFormatAtTheHeadOfAFunction_IsNameColonLineAtTrace) {
    const LogCapture log;
    LogSpeaker::Entry();
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Lines()[0].level, LogLevel::Trace);
    EXPECT_TRUE(std::regex_match(log.Messages()[0], std::regex(R"(LogSpeaker::Entry:\d+)")))
        << log.Messages()[0];
}

TEST(Log, Arguments_OfAllKindsAreFormatted) {
    const LogCapture log;
    const std::string text = "text";
    LogFormatted(LogLevel::Info, "{} {} {} {} {}", text, "plain", -3, true, 0.5);
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"text plain -3 true 0.5"});
}

TEST(Log, LineOfAnyLength_IsKeptWhole) {
    const LogCapture log;
    const std::string text(20000, 'x');
    LogFormatted(LogLevel::Info, "{}", text);
    EXPECT_EQ(log.Messages(), std::vector<std::string>{text});
}

TEST(Log, LineBelow500Characters_NeedsNoHeap) {
    if (!test::CanRefuseAllocation()) {
        GTEST_SKIP() << "the allocation functions are the sanitizer's";
    }
    const LogHandler former = ExchangeLogHandler([](std::int32_t, const char*) {});
    const std::string text(400, 'x');
    LogFormatted(LogLevel::Info, "{}", text);  // what is made once for all is made here
    const std::size_t before = test::AllocationsOfThread();
    LogFormatted(LogLevel::Info, "{}:{} {} {}", "Subject::Operation", 42, text, 7);
    const std::size_t behind = test::AllocationsOfThread();
    LogFormatted(LogLevel::Info, "{}", std::string(600, 'x'));
    const std::size_t counted = test::AllocationsOfThread();
    ExchangeLogHandler(former);
    EXPECT_EQ(behind - before, 0u);
    EXPECT_GE(counted - behind, 2u) << "a longer one does, so that it is known that allocations are seen";
}

TEST(Log, EveryLevel_ReachesTheSinkAsItsNumber) {
    const LogCapture log;
    for (int level = 0; level < 8; ++level) {
        LogFormatted(static_cast<LogLevel>(level), "{}", level);
    }
    ASSERT_EQ(log.Lines().size(), 8u);
    for (int level = 0; level < 8; ++level) {
        EXPECT_EQ(static_cast<int>(log.Lines()[static_cast<std::size_t>(level)].level), level);
    }
}

TEST(Log, WithoutASink_FormatsAndDrops) {
    const LogHandler former = ExchangeLogHandler(nullptr);
    int formatted = 0;
    LogFormatted(LogLevel::Info, "{}", Counted{&formatted});
    EXPECT_EQ(formatted, 1);
    EXPECT_EQ(ExchangeLogHandler(former), nullptr);
}

TEST(Log, ExchangeOfTheSink_GivesTheFormerOne) {
    const LogHandler mine = [](std::int32_t, const char*) {};
    const LogHandler former = ExchangeLogHandler(mine);
    EXPECT_EQ(ExchangeLogHandler(former), mine);
}

TEST(Log, ManyThreads_GetTheirLinesWhole) {
    const LogCapture log;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int j = 0; j < 50; ++j) {
                LogFormatted(LogLevel::Info, "thread {} line {}", i, j);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(log.Lines().size(), 200u);
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 50; ++j) {
            EXPECT_EQ(log.Find("thread " + std::to_string(i) + " line " + std::to_string(j)).size(), 1u);
        }
    }
}

TEST(LogCapture, Line_IsTakenApartAlsoWithColonsInNameAndText) {
    const LogLine line = test::ParseLogLine(
        LogLevel::Info,
        "[2026-11-14 08:00:00.000][Info][001a4] A::B::<lambda>::operator ():42 at 10:30 {a:1}");
    EXPECT_EQ(line.time, "2026-11-14 08:00:00.000");
    EXPECT_EQ(line.thread, "001a4");
    EXPECT_EQ(line.function, "A::B::<lambda>::operator ()");
    EXPECT_EQ(line.line, 42);
    EXPECT_EQ(line.rest, "at 10:30 {a:1}");
    EXPECT_EQ(test::ParseLogLine(LogLevel::Info, "[t][Info][00001] no name").rest, "no name");
}

}  // namespace
}  // namespace vdipc
