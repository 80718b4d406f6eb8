// A PipeServer with what it tells its handler, and the way to connect to it.
#pragma once

#include "pipe/PipeServer.h"
#include "support/LogCapture.h"
#include "support/PipeAccess.h"
#include "support/PipeEnds.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace vdipc::test {

/// All members on any thread.
class Heard {
public:
    static constexpr std::chrono::milliseconds kPatience{30000};

    void Message(const std::string& text) {
        std::lock_guard lock(mutex_);
        messages_.push_back(text);
        changed_.notify_all();
    }
    void Ping() {
        std::lock_guard lock(mutex_);
        ++pings_;
        changed_.notify_all();
    }
    void Error() {
        std::lock_guard lock(mutex_);
        ++errors_;
        changed_.notify_all();
    }
    bool WaitForMessages(std::size_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kPatience, [this, count] { return messages_.size() >= count; });
    }
    bool WaitForPings(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kPatience, [this, count] { return pings_ >= count; });
    }
    bool WaitForErrors(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kPatience, [this, count] { return errors_ >= count; });
    }
    std::vector<std::string> Messages() {
        std::lock_guard lock(mutex_);
        return messages_;
    }
    int Pings() {
        std::lock_guard lock(mutex_);
        return pings_;
    }
    int Errors() {
        std::lock_guard lock(mutex_);
        return errors_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> messages_;
    int pings_ = 0;
    int errors_ = 0;
};

/// A Connect on a thread of its own, from which the server listens.
inline std::future<bool> Listen(PipeServer& server) {
    std::future<bool> connected = std::async(std::launch::async, [&server] { return server.Connect(); });
    while (!PipeServerAccess::WaitsForClient(server) &&
           connected.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        std::this_thread::yield();
    }
    return connected;
}

/// A served client; raises where the server serves none.
inline std::unique_ptr<ClientEnd> ConnectClient(PipeServer& server, const std::string& first_bytes = {}) {
    std::future<bool> connected = Listen(server);
    std::unique_ptr<ClientEnd> client = OpenServerPipe();
    if (client && !first_bytes.empty()) {
        client->Write(first_bytes);
    }
    if (!client) {
        server.Disconnect();
    }
    if (!connected.get()) {
        throw std::runtime_error("the client is not served");
    }
    return client;
}

class PipeServerTest : public testing::Test {
protected:
    void TearDown() override { server_.Disconnect(); }

    LogCapture log_;
    Heard heard_;
    PipeServer server_{[this](const std::string& text) { heard_.Message(text); }, [this] { heard_.Ping(); },
                       [this] { heard_.Error(); }};
};

}  // namespace vdipc::test
