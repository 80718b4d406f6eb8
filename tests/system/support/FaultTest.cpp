#include "tests/system/support/FaultTest.h"

#include "tools/common/Hex.h"
#include "tools/common/WideText.h"

#include <httplib.h>

#include <filesystem>
#include <thread>
#include <vector>

namespace vdipc::test {
namespace {

/// From the making of the pipe to the library's wait for a client; nothing tells from outside when that has begun.
constexpr std::chrono::milliseconds kSettle{6};
/// A ping that has no reply by then won't have one.
constexpr std::chrono::milliseconds kUnserved{5000};

}  // namespace

// ---- client ---------------------------------------------------------------------------------------------------------

FaultClient::FaultClient() {
    tools::ProcessOptions options;
    options.executable = tools::OwnDirectory() + L"fault_client.exe";
    options.on_output = [this](const std::string& line) {
        connected_ = connected_ || line == "connected";
        done_ += line == "done" ? 1U : 0U;
    };
    process_ = std::make_unique<tools::Process>(options);
    EXPECT_TRUE(WaitBriefly([this] { return connected_.load(); }, kPatience));
}

void FaultClient::BeginWrite(const std::string& bytes, std::size_t times) {
    ++ordered_;
    process_->WriteLine("repeat " + std::to_string(times) + " " + tools::HexOf(bytes));
}

bool FaultClient::WaitForWrites() {
    return WaitBriefly([this] { return done_ >= ordered_; }, kPatience);
}

void FaultClient::Write(const std::string& bytes, std::size_t times) {
    BeginWrite(bytes, times);
    EXPECT_TRUE(WaitForWrites());
}

void FaultClient::Kill() {
    process_->Kill();
    EXPECT_TRUE(process_->Wait(60000));
}

// ---- fixture --------------------------------------------------------------------------------------------------------

FaultTest::FaultTest() : tail_(Directory()) {
    // What the stand-ins remember would otherwise be most of the memory that grows.
    environment_["CLASSROOM_SAW_LIMIT"] = "500";
    environment_["TMP"] = tools::Utf8FromWide(Directory());
    environment_["TEMP"] = environment_["TMP"];
}

void FaultTest::Start() {
    SystemTest::Start();
    ASSERT_TRUE(HostRuns());
    std::vector<std::thread> readers;
    for (int i = 0; i < 32; ++i) {
        readers.emplace_back([port = TheHost().ClassroomPort()] {
            httplib::Client("127.0.0.1", port).Get("/saw?since=1000000000&wait_ms=300");
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    for (int i = 0; i < 8; ++i) {
        Do(R"({"do":"log","text":"warm"})");
    }
}

void FaultTest::UseCycleHost() {
    const std::filesystem::path host = std::filesystem::path(Directory()) / L"vdhost.exe";
    std::filesystem::remove(host);
    std::filesystem::copy_file(std::filesystem::path(tools::OwnDirectory()) / L"fault_host.exe", host);
}

std::size_t FaultTest::CountHostStates(const std::string& state) {
    return CountHostOutput(R"("state":")" + state + '"');
}

bool FaultTest::Tell(const std::string& order, const std::string& state, std::chrono::milliseconds timeout) {
    const std::size_t before = CountHostStates(state);
    return TheHost().TheProcess().WriteLine(order) &&
           WaitBriefly([&] { return CountHostStates(state) > before; }, timeout);
}

bool FaultTest::WaitForListening() {
    const bool made = WaitBriefly([] { return IsListening(); }, kPatience);
    std::this_thread::sleep_for(kSettle);
    return made;
}

void FaultTest::Connect(RawPipe& pipe, FaultRow& row) {
    for (;;) {
        ASSERT_TRUE(WaitForListening());
        ASSERT_TRUE(WaitBriefly([&pipe] { return pipe.Open(); }, kPatience));
        if (pipe.Write(client::PingBytes()) && pipe.Read(12, kUnserved).size() == 12) {
            return;
        }
        pipe.Close();
        Revive(row);
        ASSERT_TRUE(HostRuns());
    }
}

void FaultTest::WarmUp(FaultRow& row, int times) {
    for (int i = 0; i < times; ++i) {
        RawPipe pipe;
        Connect(pipe, row);
    }
    ASSERT_TRUE(WaitForListening());
    row.Rebase(HostId());
}

void FaultTest::Revive(FaultRow& row) {
    ++revivals_;
    // Its wait for a client is over, so the stop can't be overtaken by it.
    TheHost().TheProcess().CloseInput();
    ASSERT_EQ(WaitForHostEnd(), 0U);
    Start();
    WarmUp(row);
}

void FaultTest::PassTasks(TestClient& client) {
    const std::string mark = "mark" + std::to_string(++marks_);
    client.Send("text 60000 row1=" + mark);
    ASSERT_TRUE(WaitForCalls("SendContext", 1, R"({"row1":{"text":")" + mark + R"("}})"));
    client.Settle();
}

void FaultTest::SetEngine(const std::string& name, const std::string& settings) {
    Do(R"({"do":"speech","engine":")" + name + R"(",)" + settings + "}");
}

}  // namespace vdipc::test
