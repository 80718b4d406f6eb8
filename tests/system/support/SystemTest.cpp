#include "tests/system/support/SystemTest.h"

#include "pipe/PipeServer.h"
#include "support/SchemaCheck.h"
#include "tests/system/support/LogTail.h"
#include "tools/common/ShortForms.h"
#include "tools/common/WideText.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>

namespace vdipc::test {
namespace {

/// Connections that clients of this process hold.
std::atomic<int> g_connected{0};

/// Whether no event that any client of this process has seen had this id.
bool IsNewId(const std::string& id) {
    static std::mutex mutex;
    static std::set<std::string> seen;
    const std::lock_guard lock(mutex);
    return seen.insert(id).second;
}

}  // namespace

bool WaitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

bool Holds(const Json::Value& value, const Json::Value& pattern) {
    if (!pattern.isObject()) {
        return value == pattern;
    }
    const std::vector<std::string> names = pattern.getMemberNames();
    return value.isObject() && std::all_of(names.begin(), names.end(), [&](const std::string& name) {
               return value.isMember(name) && Holds(value[name], pattern[name]);
           });
}

Json::Value Parsed(const std::string& text) {
    return tools::ParseJsonText(text);
}

// ---- client ---------------------------------------------------------------------------------------------------------

TestClient::~TestClient() {
    Disconnect();
}

void TestClient::Connect() {
    Disconnect();
    ASSERT_EQ(pipe_.Open(kPatience), client::ConnectResult::Connected) << pipe_.LastError();
    ++g_connected;
    lost_ = false;
    pending_.clear();
    all_.clear();
    reader_ = std::thread([this] { ReadLoop(); });
}

void TestClient::Disconnect() {
    if (reader_.joinable()) {
        pipe_.Cancel();
        reader_.join();
        --g_connected;
    }
    pipe_.Close();
}

void TestClient::ReadLoop() {
    client::Frame frame;
    while (pipe_.Read(frame)) {
        const std::lock_guard lock(mutex_);
        if (frame.type == 8) {
            EXPECT_EQ(frame.command, 202);
            ++ping_replies_;
        } else {
            EXPECT_EQ(frame.type, 2018);
            EXPECT_EQ(frame.command, 2018);
            EXPECT_EQ(CheckEvent(frame.payload), "") << frame.payload;
            all_.push_back(Parsed(frame.payload));
            // The one event that nobody gives an id.
            const std::string id = all_.back()["id"].asString();
            EXPECT_TRUE(all_.back()["event"] == "voice-record" ? id.empty() : IsNewId(id)) << frame.payload;
            pending_.push_back(all_.back());
        }
        changed_.notify_all();
    }
    const std::lock_guard lock(mutex_);
    lost_ = true;
    changed_.notify_all();
}

bool TestClient::SendBytes(const std::string& bytes) {
    return pipe_.Write(bytes);
}

void TestClient::Send(const std::string& command) {
    const bool json = !command.empty() && command.front() == '{';
    EXPECT_TRUE(SendBytes(
        client::JsonFrameBytes(json ? command : tools::JsonOfShortForm(tools::SplitWords(command)))))
        << command;
}

bool TestClient::Ping() {
    std::unique_lock lock(mutex_);
    const std::size_t before = ping_replies_;
    lock.unlock();
    if (!SendBytes(client::PingBytes())) {
        return false;
    }
    lock.lock();
    return changed_.wait_for(lock, kPatience, [&] { return ping_replies_ > before || lost_; }) &&
           ping_replies_ > before;
}

Json::Value TestClient::Expect(const std::string& event, const std::string& pattern) {
    const Json::Value wanted = Parsed(pattern);
    std::unique_lock lock(mutex_);
    Json::Value found;
    const auto take = [&] {
        const auto at = std::find_if(pending_.begin(), pending_.end(), [&](const Json::Value& candidate) {
            return candidate["event"] == event && Holds(candidate, wanted);
        });
        if (at == pending_.end()) {
            return false;
        }
        found = *at;
        pending_.erase(at);
        return true;
    };
    bool taken = take();
    if (!taken) {
        changed_.wait_for(lock, kPatience, [&] { return (taken = take()) || lost_; });
    }
    EXPECT_TRUE(taken) << "no event " << event << " " << pattern;
    return found;
}

std::vector<Json::Value> TestClient::Rest() {
    const std::lock_guard lock(mutex_);
    return {pending_.begin(), pending_.end()};
}

std::vector<Json::Value> TestClient::All(const std::string& event) {
    const std::lock_guard lock(mutex_);
    std::vector<Json::Value> found;
    std::copy_if(all_.begin(), all_.end(), std::back_inserter(found),
                 [&event](const Json::Value& value) { return value["event"] == event; });
    return found;
}

bool TestClient::WaitUntilLost() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [this] { return lost_; });
}

// ---- fixture --------------------------------------------------------------------------------------------------------

SystemTest::SystemTest() {
    const testing::TestInfo* const info = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name();
    std::replace(name.begin(), name.end(), '/', '_');
    // Short enough for the 260 characters of the product's own paths.
    name = name.substr(0, 60) + "." + std::to_string(GetCurrentProcessId());
    directory_ = tools::OwnDirectory() + L"stages\\" + tools::WideFromUtf8(name);
    // A failed run leaves its files, and process ids come again: its log is none of this run's.
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(directory_), ignored);
    tools::PrepareStage(tools::OwnDirectory(), directory_);
}

SystemTest::~SystemTest() {
    host_.reset();
    if (!HasFailure()) {
        std::error_code ignored;
        std::filesystem::remove_all(std::filesystem::path(directory_), ignored);
    }
}

void SystemTest::TearDown() {
    if (host_ != nullptr) {
        Stop();
    }
    if (HasFailure()) {
        std::cerr << "files of the failed test: " << tools::Utf8FromWide(directory_) << std::endl;
    }
}

void SystemTest::Start() {
    tools::HostOptions options;
    options.directory = directory_;
    options.arguments = arguments_;
    options.environment = environment_;
    options.on_output = [this](const std::string& line) {
        const std::lock_guard lock(lines_mutex_);
        lines_.push_back(line);
    };
    host_ = std::make_unique<tools::Host>(options);
    ASSERT_TRUE(WaitFor([this] {
        const std::vector<Json::Value> lines = HostLines();
        return std::any_of(lines.begin(), lines.end(),
                           [](const Json::Value& line) { return line["state"] == "started"; });
    }));
}

bool SystemTest::IsListening() {
    return WaitNamedPipeA(kPipeName, 1) != FALSE;
}

void SystemTest::CheckNoMisuse() {
    EXPECT_EQ(tools::CompactJson(State()["misuse"]), "[]");
}

void SystemTest::Stop() {
    if (expect_clean_end_) {
        CheckNoMisuse();
        // A stop between the loss of a client and the library's wait for the next one never ends: the library knows this
        // race, and has no guard against it.
        EXPECT_TRUE(WaitFor([] { return g_connected > 0 || IsListening(); }));
    }
    host_->TheProcess().CloseInput();
    const bool clean = expect_clean_end_;
    const std::uint32_t code = WaitForHostEnd();
    if (clean) {
        EXPECT_EQ(code, 0U);
    }
}

std::uint32_t SystemTest::WaitForHostEnd() {
    const std::unique_ptr<tools::Host> host = std::move(host_);
    EXPECT_TRUE(host->WaitForEnd(60000)) << "the host runs on";
    return host->TheProcess().ExitCode();
}

void SystemTest::PutFile(const std::string& name, const std::string& content) {
    std::ofstream file(std::filesystem::path(directory_) / tools::WideFromUtf8(name), std::ios::binary);
    file << content;
}

std::string SystemTest::GetFile(const std::string& name) const {
    return tools::ReadWholeFile(directory_ + L"\\" + tools::WideFromUtf8(name));
}

void SystemTest::RemoveFile(const std::string& name) {
    std::filesystem::remove(std::filesystem::path(directory_) / tools::WideFromUtf8(name));
}

Json::Value SystemTest::Do(const std::string& action) {
    return host_->Classroom().Do(Parsed(action));
}

std::vector<Json::Value> SystemTest::Saw(const std::string& call) {
    std::vector<Json::Value> found;
    for (const Json::Value& seen : host_->Classroom().SawSince(0)) {
        if (call.empty() || seen["call"] == call) {
            found.push_back(seen);
        }
    }
    return found;
}

std::vector<Json::Value> SystemTest::Calls(const std::string& call, const std::string& arguments) {
    std::vector<Json::Value> found = Saw(call);
    const Json::Value pattern = Parsed(arguments);
    std::erase_if(found, [&pattern](const Json::Value& seen) { return !Holds(seen["args"], pattern); });
    return found;
}

bool SystemTest::WaitForCalls(const std::string& call, std::size_t count, const std::string& arguments) {
    return WaitFor([&] { return Calls(call, arguments).size() >= count; });
}

std::string SystemTest::Log() const {
    const std::wstring file = tools::FindLogFile(directory_);
    return file.empty() ? std::string() : tools::ReadWholeFile(file);
}

std::size_t SystemTest::CountInLog(const std::string& text) const {
    return CountIn(Log(), text);
}

bool SystemTest::WaitForLog(const std::string& text, std::size_t count) {
    return WaitFor([&] { return CountInLog(text) >= count; });
}

std::vector<Json::Value> SystemTest::Telemetry(const std::string& action) {
    std::vector<Json::Value> records;
    std::istringstream lines(GetFile("trackwire.jsonl"));
    std::string line;
    while (std::getline(lines, line)) {
        const Json::Value record = Parsed(line);
        bool fits = action.empty();
        for (const Json::Value& pair : record["pairs"]) {
            fits = fits || (pair[0] == "Action" && pair[1] == action);
        }
        if (fits) {
            records.push_back(record);
        }
    }
    return records;
}

std::vector<Json::Value> SystemTest::HostLines() {
    const std::lock_guard lock(lines_mutex_);
    std::vector<Json::Value> values;
    for (const std::string& line : lines_) {
        if (!line.empty() && line.front() == '{') {
            values.push_back(Parsed(line));
        }
    }
    return values;
}

std::size_t SystemTest::CountHostOutput(const std::string& text) const {
    const std::lock_guard lock(lines_mutex_);
    return static_cast<std::size_t>(
        std::count_if(lines_.begin(), lines_.end(),
                      [&text](const std::string& line) { return line.find(text) != std::string::npos; }));
}

bool SystemTest::WaitForStatus(const std::function<bool(const Json::Value&)>& fits) {
    return WaitFor([&] {
        const std::vector<Json::Value> lines = HostLines();
        return std::any_of(lines.begin(), lines.end(), [&](const Json::Value& line) {
            return line["event"] == "status" && fits(line["statuses"]);
        });
    });
}

void SystemTest::Init(TestClient& client, const std::string& kind) {
    client.Connect();
    client.Send("init " + kind);
    client.Expect("device-inited");
}

void SystemTest::ConnectKeypads(TestClient& client, const std::string& kind, int first, int last) {
    Do(R"({"do":"connect","kind":")" + kind + R"(","from":)" + std::to_string(first) + R"(,"to":)" +
       std::to_string(last) + "}");
    for (int keypad = first; keypad <= last; ++keypad) {
        client.Expect("activated", R"({"device":")" + std::to_string(keypad) + R"("})");
    }
}

}  // namespace vdipc::test
