#include "ipc/LogFile.h"

#include "common/HostPath.h"
#include "common/Log.h"
#include "doubles/ClosedDoubles.h"

#include <atomic>
#if defined(_WIN32)
#include <windows.h>
#endif

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "native/NativeSeam.h"
#endif

namespace vdipc {
namespace {

/// The log file, as this test's process finds it. Other processes of the same folder may write into it meanwhile.
std::string LogText() {
    const std::string path =
        DirectoryWithBackslash(GetHostExecutablePath()) + MakeLogFileName(GetLocalTimeNow());
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A text that no other line holds.
std::string Unique(const std::string& text) {
    static std::atomic<int> number{0};
    return text + " " + std::to_string(GetThreadNumber()) + "." + std::to_string(GetTickCountNow()) + "." +
           std::to_string(++number);
}

class LogFile : public testing::Test {
protected:
    void SetUp() override {
        test::ResetClosedDoubles();
        former_ = ExchangeLogHandler(nullptr);
    }
    void TearDown() override {
        ExchangeLogHandler(former_);
#if !defined(_WIN32)
        test::SetNativeHostPath("");
        test::SetNativeLocalTime(std::nullopt);
#endif
    }

private:
    LogHandler former_ = nullptr;
};

TEST_F(LogFile, Name_HoldsTheDateWithTwoDigitsForMonthAndDay) {
    EXPECT_EQ(MakeLogFileName(LocalTime{2026, 11, 14}), "vote_deck.2026.11.14.log");
    EXPECT_EQ(MakeLogFileName(LocalTime{2027, 1, 2}), "vote_deck.2027.01.02.log");
}

TEST_F(LogFile, Opening_InstallsTheSinkHereAndInTheReceiversLibrary) {
    OpenLogFile();
    EXPECT_EQ(ExchangeLogHandler(&WriteLogLine), &WriteLogLine);
    EXPECT_EQ(test::InstalledVoteDeckLogHandler(), &WriteLogLine);
}

TEST_F(LogFile, Opening_InstallsTheSinkHereAheadOfTheReceiversLibrary) {
    std::vector<LogHandler> installed_here;
    test::SetLogHandlerInstallHook([&installed_here] {
        installed_here.push_back(ExchangeLogHandler(nullptr));
        ExchangeLogHandler(installed_here.back());
    });
    OpenLogFile();
    test::SetLogHandlerInstallHook(nullptr);
    EXPECT_EQ(installed_here, std::vector<LogHandler>{&WriteLogLine});
}

TEST_F(LogFile, Line_IsInTheFileWhenTheCallReturns_WithItsLineEnd) {
    OpenLogFile();
    const std::string text = Unique("line");
    LogFormatted(LogLevel::Info, "{}", text);
    const std::string log = LogText();
    EXPECT_NE(log.find("] " + text + "\r\n"), std::string::npos);
}

TEST_F(LogFile, ClosedLibrarysLines_LandInTheSameFile) {
    OpenLogFile();
    const std::string text = Unique("from the receivers' library");
    test::InstalledVoteDeckLogHandler()(2, text.c_str());
    EXPECT_NE(LogText().find(text + "\r\n"), std::string::npos);
}

TEST_F(LogFile, Level_IsIgnoredByTheWriter) {
    OpenLogFile();
    const std::string text = Unique("level");
    WriteLogLine(-7, (text + " a").c_str());
    WriteLogLine(99, (text + " b").c_str());
    EXPECT_NE(LogText().find(text + " a\r\n"), std::string::npos);
    EXPECT_NE(LogText().find(text + " b\r\n"), std::string::npos);
}

TEST_F(LogFile, LineOver16384Bytes_IsCutAndNothingTellsOfIt) {
    OpenLogFile();
    const std::string head = Unique("long");
    const std::string exact = head + " exact " + std::string(16384 - head.size() - 7, 'x');
    const std::string over = head + " over! " + std::string(20000, 'y');
    WriteLogLine(0, exact.c_str());
    WriteLogLine(0, over.c_str());
    const std::string log = LogText();
    EXPECT_NE(log.find(exact + "\r\n"), std::string::npos);
    EXPECT_NE(log.find(over.substr(0, 16384) + "\r\n"), std::string::npos);
    EXPECT_EQ(log.find(over.substr(0, 16385)), std::string::npos);
}

TEST_F(LogFile, NullAndEmptyText_GiveAnEmptyLine) {
    OpenLogFile();
    const std::string text = Unique("before null");
    WriteLogLine(0, text.c_str());
    WriteLogLine(0, nullptr);
    WriteLogLine(0, "");
    WriteLogLine(0, "after");
    EXPECT_NE(LogText().find(text + "\r\n\r\n\r\nafter\r\n"), std::string::npos);
}

TEST_F(LogFile, ManyThreads_NeverTearALine) {
#if defined(_WIN32)
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr) {
        GTEST_SKIP() << "Wine's append is a stat and a write at that place: writers can overwrite each other";
    }
#endif
    OpenLogFile();
    const std::string mark = Unique("thread");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&mark, i] {
            for (int j = 0; j < 50; ++j) {
                LogFormatted(LogLevel::Debug, "<{} {}.{}>", mark, i, j);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string log = LogText();
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 50; ++j) {
            const std::string line = "<" + mark + " " + std::to_string(i) + "." + std::to_string(j) + ">";
            EXPECT_NE(log.find(line), std::string::npos) << line;
        }
    }
}

#if !defined(_WIN32)
TEST_F(LogFile, Line_IsTwoAppends_ItsTextAndItsEnd) {
    OpenLogFile();
    std::vector<std::string> appends;
    test::RecordNativeAppends(&appends);
    WriteLogLine(2, "text");
    WriteLogLine(2, "");
    test::RecordNativeAppends(nullptr);
    EXPECT_EQ(appends, (std::vector<std::string>{"text", "\r\n", "", "\r\n"}));
}

TEST_F(LogFile, HostRunFromAPathWithoutABackslash_WritesItsLogIntoTheCurrentDirectory) {
    const std::filesystem::path name = "vote_deck.1999.12.31.log";
    std::filesystem::remove(name);
    test::SetNativeHostPath("host.exe");
    test::SetNativeLocalTime(LocalTime{1999, 12, 31});
    OpenLogFile();
    WriteLogLine(0, "here");
    std::ifstream file(name, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "here\r\n");
    std::filesystem::remove(name);
}

TEST_F(LogFile, ProcessThatRunsOverMidnight_KeepsItsFile) {
    const std::filesystem::path first = "vote_deck.1999.12.30.log";
    const std::filesystem::path second = "vote_deck.1999.12.31.log";
    std::filesystem::remove(first);
    std::filesystem::remove(second);
    test::SetNativeHostPath("host.exe");
    test::SetNativeLocalTime(LocalTime{1999, 12, 30, 23, 59, 59, 999});
    OpenLogFile();
    test::SetNativeLocalTime(LocalTime{1999, 12, 31});
    LogFormatted(LogLevel::Info, "next day");
    EXPECT_TRUE(std::filesystem::exists(first));
    EXPECT_GT(std::filesystem::file_size(first), 0u);
    EXPECT_FALSE(std::filesystem::exists(second));
    std::filesystem::remove(first);
}

TEST_F(LogFile, FileThatCantBeOpened_IsHarmless) {
    test::SetNativeHostPath("no-such-directory/\\host.exe");
    OpenLogFile();
    LogFormatted(LogLevel::Info, "nowhere");
    EXPECT_EQ(ExchangeLogHandler(nullptr), &WriteLogLine);
    EXPECT_EQ(test::InstalledVoteDeckLogHandler(), &WriteLogLine);
    EXPECT_FALSE(std::filesystem::exists("no-such-directory"));
}
#endif

}  // namespace
}  // namespace vdipc
