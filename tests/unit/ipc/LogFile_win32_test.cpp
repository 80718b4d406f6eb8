// The log file in real processes: a copy of this program in a folder of its own is the host.
#include "common/Clock.h"
#include "common/HostPath.h"
#include "common/Log.h"
#include "ipc/LogFile.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

namespace fs = std::filesystem;

constexpr char kTextVariable[] = "VDIPC_TEST_LOG_TEXT";
constexpr int kLines = 200;

/// A process that finds this variable is the host: it writes its lines and ends before any test is begun.
bool RunAsHost() {
    const char* const text = std::getenv(kTextVariable);
    if (text == nullptr) {
        return false;
    }
    OpenLogFile();
    for (int i = 0; i < kLines; ++i) {
        LogFormatted(LogLevel::Info, "<{} {}>", text, i);
    }
    std::exit(0);
}

[[maybe_unused]] const bool kIsHost = RunAsHost();

class LogFileProcess : public testing::Test {
protected:
    void SetUp() override {
        folder_ = fs::temp_directory_path() / ("vdipc-log-" + std::to_string(GetCurrentProcessId()) + "-" +
                                               std::to_string(GetTickCountNow()));
        fs::create_directories(folder_);
        host_ = folder_ / "host.exe";
        fs::copy_file(GetHostExecutablePath(), host_);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    HANDLE Launch(const std::string& text) {
        SetEnvironmentVariableA(kTextVariable, text.c_str());
        std::string command = "\"" + host_.string() + "\"";
        STARTUPINFOA startup = {};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process = {};
        EXPECT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                   &startup, &process));
        SetEnvironmentVariableA(kTextVariable, nullptr);
        CloseHandle(process.hThread);
        return process.hProcess;
    }
    static void ExpectCleanEnd(HANDLE process) {
        EXPECT_EQ(WaitForSingleObject(process, 60000), static_cast<DWORD>(WAIT_OBJECT_0));
        DWORD code = 99;
        GetExitCodeProcess(process, &code);
        EXPECT_EQ(code, 0u);
        CloseHandle(process);
    }
    std::vector<fs::path> Logs() const {
        std::vector<fs::path> found;
        for (const fs::directory_entry& entry : fs::directory_iterator(folder_)) {
            if (entry.path().extension() == ".log") {
                found.push_back(entry.path());
            }
        }
        return found;
    }
    std::string LogText() const {
        std::ifstream file(Logs().at(0), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    fs::path folder_;
    fs::path host_;
};

TEST_F(LogFileProcess, Log_LiesBesideTheHostsExecutable_WithTheDateOfItsStart) {
    const std::string before = MakeLogFileName(GetLocalTimeNow());
    ExpectCleanEnd(Launch("one"));
    const std::string after = MakeLogFileName(GetLocalTimeNow());
    ASSERT_EQ(Logs().size(), 1u);
    const std::string name = Logs()[0].filename().string();
    EXPECT_TRUE(name == before || name == after) << name;
}

TEST_F(LogFileProcess, StartedTwiceOnOneDay_AppendsToTheSameFile) {
    ExpectCleanEnd(Launch("first"));
    const std::string first = LogText();
    ExpectCleanEnd(Launch("second"));
    ASSERT_EQ(Logs().size(), 1u);
    const std::string both = LogText();
    EXPECT_EQ(both.substr(0, first.size()), first);
    EXPECT_NE(first.find("] <first 199>\r\n"), std::string::npos);
    EXPECT_NE(both.find("] <second 0>\r\n"), std::string::npos);
    EXPECT_NE(both.find("] <second 199>\r\n"), std::string::npos);
}

/// Numbers of one process's lines that are whole, in the order of the file.
std::vector<int> WholeLines(const std::string& log, const std::string& who) {
    const std::regex line(R"(\[Info\]\[[0-9a-f]{5,}\] <)" + who + R"( (\d+)>)");
    std::vector<int> numbers;
    for (std::sregex_iterator at(log.begin(), log.end(), line); at != std::sregex_iterator(); ++at) {
        numbers.push_back(std::stoi((*at)[1].str()));
    }
    return numbers;
}

TEST_F(LogFileProcess, TwoProcessesAtOnce_WriteIntoOneFileWithoutHarmAlsoWhileAnotherHoldsItOpen) {
    const std::string name = (folder_ / MakeLogFileName(GetLocalTimeNow())).string();
    const HANDLE held =
        CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    const HANDLE first = Launch("first");
    const HANDLE second = Launch("second");
    ExpectCleanEnd(first);
    ExpectCleanEnd(second);
    CloseHandle(held);
    ASSERT_EQ(Logs().size(), 1u);
    const std::string log = LogText();
    const bool wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    std::size_t found = 0;
    for (const char* who : {"first", "second"}) {
        const std::vector<int> numbers = WholeLines(log, who);
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end())) << who;
        EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end())
            << who << " wrote one twice";
        if (!wine) {
            EXPECT_EQ(numbers.size(), static_cast<std::size_t>(kLines)) << who;
        }
        EXPECT_GT(numbers.size(), static_cast<std::size_t>(kLines / 2)) << who;
        found += numbers.size();
    }
    // Wine looks for the end of the file and then writes there, so that a line may now and then cover another one.
    EXPECT_GT(found, static_cast<std::size_t>(kLines + kLines / 2));
}

TEST_F(LogFileProcess, FileThatCantBeOpened_IsNotDetected_AndTheHostGoesOnWithoutALog) {
    // A folder of the log's name stands in the way, today and tomorrow.
    LocalTime time = GetLocalTimeNow();
    fs::create_directory(folder_ / MakeLogFileName(time));
    ++time.day;
    fs::create_directory(folder_ / MakeLogFileName(time));
    ExpectCleanEnd(Launch("nowhere"));
    for (const fs::path& log : Logs()) {
        EXPECT_TRUE(fs::is_directory(log)) << log;
    }
}

}  // namespace
}  // namespace vdipc
