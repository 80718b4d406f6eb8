// The machinery of the soak: a real host process with the real library, a client at its pipe, the simulated classroom.
#pragma once

#include "tools/common/Stage.h"
#include "vdipc/client/Connection.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <json/json.h>

namespace vdipc::soak {

/// The client's end of the pipe. Each event is held against the protocol's schema.
class Client {
public:
    /// Raises std::runtime_error when nobody serves it.
    Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client();

    void Send(const std::string& json);
    /// When this returns, the library has queued all commands that were sent before, and everything that the library had
    /// sent before is here. Raises std::runtime_error when no reply comes.
    void Ping();
    std::vector<Json::Value> TakeEvents();
    void WaitForEvent(std::chrono::milliseconds timeout);

private:
    void ReadLoop();

    client::Connection pipe_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Json::Value> events_;
    std::size_t replies_ = 0;
    bool lost_ = false;
    std::thread reader_;
};

class Rig {
public:
    /// Prepares the directory, empty but for the programs.
    Rig(const std::wstring& binaries, const std::wstring& directory);

    void StartHost(const std::string& plugged, const std::string& station, std::uint64_t seed);
    /// Ends the host by the end of its input; raises std::runtime_error when it doesn't end cleanly.
    void StopHost();
    /// Ends the host as a crash would.
    void KillHost();
    void ConnectClient() { client_ = std::make_unique<Client>(); }
    /// The client's end closes without a word; the library waits for the next client when this returns.
    void LoseClient();
    bool HasClient() const { return client_ != nullptr; }
    Client& TheClient();

    Json::Value Do(const Json::Value& action) { return host_->Classroom().Do(action); }
    Json::Value State() { return host_->Classroom().State(); }
    /// Calls and callbacks since the last time, in order; waits so long for the first.
    std::vector<Json::Value> NewCalls(std::uint32_t wait_ms = 0);

    Json::Value SavedKeypads() const;
    const std::wstring& Directory() const { return directory_; }

private:
    const std::wstring directory_;
    std::unique_ptr<tools::Host> host_;
    std::unique_ptr<Client> client_;
    std::uint64_t next_call_ = 1;
};

/// The channel that a TQ2 is kept on, in the user's registry.
std::optional<std::int32_t> ReadChannel();
void WriteChannel(const std::optional<std::int32_t>& channel);

}  // namespace vdipc::soak
