#include "common/Clock.h"
#include "common/ConsoleLog.h"
#include "support/Printed.h"

#include <array>
#include <cstdio>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

using test::Printed;

std::string LevelNameOf(int level) {
    const std::string line =
        Printed([level] { ConsoleLog("File.cpp", 1, static_cast<ConsoleLogLevel>(level), "text"); });
    std::smatch match;
    return std::regex_search(line, match, std::regex(R"(^\[[^\]]*\]\[(\w+)\])")) ? match[1].str() : line;
}

TEST(ConsoleLog, Levels_HaveNumbersOfTheirOwn) {
    EXPECT_EQ(LevelNameOf(0), "Debug");
    EXPECT_EQ(LevelNameOf(2), "Warn");
    EXPECT_EQ(LevelNameOf(3), "Error");
}

TEST(ConsoleLog, Level1_IsInfo) {
    EXPECT_EQ(LevelNameOf(1), "Info");
}

TEST(ConsoleLog, Level4_IsUnknownAndNeverFatal) {
    EXPECT_EQ(LevelNameOf(4), "Unknown");
    EXPECT_EQ(LevelNameOf(5), "Unknown");
    EXPECT_EQ(LevelNameOf(-1), "Unknown");
}

TEST(ConsoleLog, Line_IsPrefixFileLineMessageAndLineBreak) {
    const std::string line =
        Printed([] { ConsoleLog("Timer.cpp", 42, ConsoleLogLevel::Warn, "failed, GLE=%u %s", 6u, "x"); });
    EXPECT_TRUE(std::regex_match(line, std::regex(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\]\[Warn\])"
                                                  R"(\[[0-9a-f]{5,}\] Timer\.cpp:42 failed, GLE=6 x\n)")))
        << line;
    std::array<char, 32> thread = {};
    std::snprintf(thread.data(), thread.size(), "[%05x] ", static_cast<unsigned int>(GetThreadNumber()));
    EXPECT_NE(line.find(thread.data()), std::string::npos) << line;
}

TEST(ConsoleLog, EmptyMessage_GetsNoLineBreak) {
    const std::string line = Printed([] { ConsoleLog("Timer.cpp", 7, ConsoleLogLevel::Info, "%s", ""); });
    EXPECT_TRUE(std::regex_search(line, std::regex(R"(\] Timer\.cpp:7 $)"))) << line;
    EXPECT_EQ(line.find('\n'), std::string::npos);
}

TEST(ConsoleLog, LongMessage_IsCutAtTheBufferOf1024Bytes) {
    const std::string text(3000, 'x');
    const std::string line =
        Printed([&text] { ConsoleLog("Timer.cpp", 7, ConsoleLogLevel::Info, "%s", text.c_str()); });
    EXPECT_EQ(line.size(), 1023u);
    EXPECT_EQ(line.back(), 'x');
}

TEST(ConsoleLog, LongFileName_IsCutAtTheBufferToo) {
    const std::string file(3000, 'f');
    const std::string line = Printed([&file] { ConsoleLog(file.c_str(), 7, ConsoleLogLevel::Info, "text"); });
    EXPECT_EQ(line.size(), 1023u);
}

TEST(ConsoleLog, Prefix_LengthIsThatOfWhatIsPrinted) {
    std::size_t length = 0;
    const std::string line = Printed([&length] {
        length = MakeConsolePrefix("Timer.cpp", 7, ConsoleLogLevel::Info);
        ConsoleLog("Timer.cpp", 7, ConsoleLogLevel::Info, "text");
    });
    EXPECT_EQ(line.size(), length + 5);
}

TEST(ConsoleLog, ManyThreads_PrintWholeLines) {
    const std::string text = Printed([] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([i] {
                for (int j = 0; j < 25; ++j) {
                    ConsoleLog("Timer.cpp", 1, ConsoleLogLevel::Info, "thread %d line %02d end", i, j);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    const std::regex whole(R"(\[[^\]]*\]\[Info\]\[[0-9a-f]+\] Timer\.cpp:1 thread \d line \d\d end\n)");
    EXPECT_EQ(std::distance(std::sregex_iterator(text.begin(), text.end(), whole), std::sregex_iterator()),
              100);
    EXPECT_EQ(std::regex_replace(text, whole, ""), "");
}

TEST(ConsoleLog, SourceFileName_IsThePartBehindTheLastSeparator) {
    EXPECT_STREQ(SourceFileName("C:\\src\\common\\Timer.cpp"), "Timer.cpp");
    EXPECT_STREQ(SourceFileName("/src/common/Timer.cpp"), "Timer.cpp");
    EXPECT_STREQ(SourceFileName("Timer.cpp"), "Timer.cpp");
}

}  // namespace
}  // namespace vdipc
