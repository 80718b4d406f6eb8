// One run of the real DLL: a host process in a directory of its own, the simulated classroom inside it, and clients that
// speak through the real pipe from this process.
#pragma once

#include "tools/common/Stage.h"
#include "vdipc/client/Connection.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

namespace vdipc::test {

inline constexpr std::chrono::seconds kPatience{60};

/// Waits until a condition holds; false when the time is over.
bool WaitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout = kPatience);

/// A client of the pipe. Every event that it sees is held against the protocol's schema.
class TestClient {
public:
    TestClient() = default;
    TestClient(const TestClient&) = delete;
    TestClient& operator=(const TestClient&) = delete;
    ~TestClient();

    /// Waits for the pipe; fails the test when nobody serves it.
    void Connect();
    void Disconnect();
    bool SendBytes(const std::string& bytes);
    /// JSON, or a command in its short form.
    void Send(const std::string& command);
    /// Sends a ping and waits for its reply.
    bool Ping();

    /// The next event of this name that holds the members of the pattern, waiting for it; null when none came.
    Json::Value Expect(const std::string& event, const std::string& pattern = "{}");
    /// Events seen and not taken by Expect.
    std::vector<Json::Value> Rest();
    /// All events of this name since the connection, taken or not.
    std::vector<Json::Value> All(const std::string& event);
    /// Waits until the server has dropped the connection.
    bool WaitUntilLost();
    /// Sends a ping and waits for its reply: whatever was queued for this client before it has then been seen.
    void Settle() { EXPECT_TRUE(Ping()); }

    client::Connection& Pipe() { return pipe_; }

private:
    void ReadLoop();

    client::Connection pipe_;
    std::thread reader_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Json::Value> pending_;
    std::vector<Json::Value> all_;
    std::size_t ping_replies_ = 0;
    bool lost_ = true;
};

/// Fixture: no host runs until Start; a host that still runs at the end is stopped, its exit code must be 0, and no closed
/// library may have been misused.
class SystemTest : public testing::Test {
protected:
    SystemTest();
    ~SystemTest() override;
    void TearDown() override;

    /// Environment of the next host, for instance CLASSROOM_STATION.
    std::map<std::string, std::string> environment_;
    /// Words of the next host's command line.
    std::vector<std::string> arguments_;
    /// Misuse of a closed library, or an end other than a clean one, is what the test is about.
    bool expect_clean_end_ = true;

    void Start();
    /// Ends the host by the end of its standard input, and checks the clean end.
    void Stop();
    /// For hosts that end by themselves: waits for the end and gives the exit code. Raises tools::HungAtItsEnd.
    std::uint32_t WaitForHostEnd();
    bool HostRuns() const { return host_ != nullptr; }

    /// Puts a file beside the host's executable, which is also its working directory.
    void PutFile(const std::string& name, const std::string& content);
    std::string GetFile(const std::string& name) const;
    void RemoveFile(const std::string& name);
    const std::wstring& Directory() const { return directory_; }

    Json::Value Do(const std::string& action);
    Json::Value State() { return host_->Classroom().State(); }
    /// Calls that the stand-ins have seen, in order: those of this name, of all names when it is empty.
    std::vector<Json::Value> Saw(const std::string& call = {});
    /// Waits until so many calls of this name have been seen whose arguments hold the pattern.
    bool WaitForCalls(const std::string& call, std::size_t count, const std::string& arguments = "{}");
    /// Calls of this name whose arguments hold the pattern.
    std::vector<Json::Value> Calls(const std::string& call, const std::string& arguments = "{}");

    /// The host's log as it stands.
    std::string Log() const;
    bool WaitForLog(const std::string& text, std::size_t count = 1);
    std::size_t CountInLog(const std::string& text) const;
    /// Telemetry records as they were written; "pairs" keeps their order.
    std::vector<Json::Value> Telemetry(const std::string& action = {});

    /// Lines of the host's standard output so far, as JSON.
    std::vector<Json::Value> HostLines();
    /// How many of those lines hold a text.
    std::size_t CountHostOutput(const std::string& text) const;
    bool WaitForStatus(const std::function<bool(const Json::Value&)>& fits);

    /// Connects a client, sends "init" and waits for its answer.
    void Init(TestClient& client, const std::string& kind = "audio");
    /// Switches keypads on and waits until all are activated.
    void ConnectKeypads(TestClient& client, const std::string& kind, int first, int last);

    tools::Host& TheHost() { return *host_; }
    /// Whether an instance of the pipe is there for a client.
    static bool IsListening();

private:
    void CheckNoMisuse();

    std::wstring directory_;
    std::unique_ptr<tools::Host> host_;
    mutable std::mutex lines_mutex_;
    std::vector<std::string> lines_;
};

/// Whether every member of the pattern is in the value, nested objects alike.
bool Holds(const Json::Value& value, const Json::Value& pattern);
Json::Value Parsed(const std::string& text);

}  // namespace vdipc::test
