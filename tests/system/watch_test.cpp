// vdlog follows the log of a host that runs, and says each silent press while the lesson goes on.

#include "tests/system/support/SystemTest.h"

#include "tools/common/Process.h"
#include "tools/common/WideText.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vdipc::test {
namespace {

using std::chrono::steady_clock;

class WatchSystem : public SystemTest {
protected:
    void TearDown() override {
        watch_.reset();
        SystemTest::TearDown();
    }

    /// Starts the program on a log, and waits until it follows it.
    void Watch(const std::filesystem::path& log) {
        tools::ProcessOptions options;
        options.executable = tools::OwnDirectory() + L"vdlog.exe";
        options.arguments = {"watch", tools::Utf8FromWide(log.wstring())};
        options.on_output = [this](const std::string& line) {
            const std::lock_guard lock(mutex_);
            said_.push_back({steady_clock::now(), line});
        };
        watch_ = std::make_unique<tools::Process>(options);
        WaitForLine("Watching " + tools::Utf8FromWide(log.filename().wstring()));
    }

    /// Waits for a line with this text, and gives the time at which it came.
    steady_clock::time_point WaitForLine(const std::string& text) {
        steady_clock::time_point came;
        EXPECT_TRUE(WaitFor([&] {
            const std::lock_guard lock(mutex_);
            const auto found = std::find_if(said_.begin(), said_.end(), [&](const Said& said) {
                return said.line.find(text) != std::string::npos;
            });
            came = found != said_.end() ? found->at : steady_clock::time_point();
            return found != said_.end();
        })) << text;
        return came;
    }

    /// Presses of keypads that were asked nothing, one after the other: each is told before the next one comes. How soon
    /// is printed, and not demanded of a machine that many tests share.
    void ExpectSilentPresses() {
        constexpr int kPresses = 7;
        std::vector<long long> delays;
        for (int keypad = 1; keypad <= kPresses; ++keypad) {
            const std::string number = std::to_string(keypad);
            const auto pressed = steady_clock::now();
            Do(R"({"do":"key","keypad":)" + number + R"(,"key":"B"})");
            const auto told = WaitForLine("Keypad " + number + " (RV2) pressed B");
            delays.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(told - pressed).count());
        }
        const auto [shortest, longest] = std::minmax_element(delays.begin(), delays.end());
        std::cout << "silent presses were told after " << *shortest << " to " << *longest << " ms"
                  << std::endl;
    }

    std::filesystem::path LogFile() const { return tools::FindLogFile(Directory()); }

private:
    struct Said {
        steady_clock::time_point at;
        std::string line;
    };
    std::mutex mutex_;
    std::vector<Said> said_;
    std::unique_ptr<tools::Process> watch_;
};

TEST_F(WatchSystem, LogOfAHostThatRuns_TellsSilentPressesAsTheyCome) {
    Start();
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 7);
    Watch(LogFile());
    ExpectSilentPresses();
}

TEST_F(WatchSystem, HostThatIsStartedOnAnotherDay_IsFollowedToItsFile) {
    Start();
    Stop();
    const std::filesystem::path today = LogFile();
    const std::filesystem::path former = today.parent_path() / "vote_deck.2001.02.03.log";
    std::filesystem::rename(today, former);
    Watch(former);
    Start();
    WaitForLine("Watching " + tools::Utf8FromWide(today.filename().wstring()));
    TestClient client;
    Init(client);
    ConnectKeypads(client, "RV2", 1, 7);
    ExpectSilentPresses();
}

}  // namespace
}  // namespace vdipc::test
