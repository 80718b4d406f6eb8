// A handler of the test's own with mocked device objects, its log, and the texts that it hands to the pipe.
#pragma once

#include "doubles/ClosedDoubles.h"
#include "support/DeviceMocks.h"
#include "support/IpcHandlerAccess.h"
#include "support/LogCapture.h"
#include "support/PipeAccess.h"
#include "support/PipeEnds.h"
#include "support/SchemaCheck.h"
#include "support/Signal.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

namespace vdipc::test {

using Access = IpcHandlerAccess;
using MockDevice = testing::NiceMock<MockVoteDeckObject>;

inline constexpr DeviceType kAllKinds[] = {DeviceType::TQ1, DeviceType::TQ2, DeviceType::RV1, DeviceType::RV2,
                                           DeviceType::LW};

inline void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

inline Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    std::string errors;
    std::istringstream stream(text);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) << errors << text;
    return value;
}

/// The elements of an array as texts.
inline std::vector<std::string> Texts(const Json::Value& array) {
    std::vector<std::string> texts;
    for (const Json::Value& element : array) {
        texts.push_back(element.asString());
    }
    return texts;
}

/// Polls a condition until it holds; false when the time is over.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds timeout = LogCapture::kPatience) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// A handler with mocked device objects and its log. Works without a devices.json, and in an empty directory of its own,
/// since "command_line" lies in the working directory.
class HandlerWorld {
public:
    HandlerWorld() {
        ResetClosedDoubles();
        static std::atomic<int> number{0};
        directory_ =
            std::filesystem::temp_directory_path() /
            ("vdipc-handler-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()) +
             "-" + std::to_string(++number));
        std::filesystem::create_directories(directory_);
        std::filesystem::current_path(directory_);
        std::filesystem::remove_all(DevicesFile());
    }

    ~HandlerWorld() {
        delete Access::Server(handler()).exchange(nullptr);
        std::error_code ignored;
        std::filesystem::remove_all(DevicesFile(), ignored);
        std::filesystem::current_path(former_directory_);
        std::filesystem::remove_all(directory_, ignored);
    }

    IpcHandler& handler() { return *handler_; }
    const LogCapture& log() const { return log_; }
    LogCapture& log() { return log_; }
    std::string DevicesFile() { return Access::GetDevicesFilePath(handler()); }

    /// Puts a mocked object under a kind, with this status and an empty activated set.
    MockDevice& Add(DeviceType kind, std::int32_t status) {
        auto device = std::make_shared<MockDevice>();
        MockDevice& added = *device;
        ON_CALL(added, GetDeviceStatus()).WillByDefault(testing::Return(status));
        Access::DeviceObjects(handler())[kind] = std::move(device);
        return added;
    }

    void AddAll(std::int32_t status) {
        for (const DeviceType kind : kAllKinds) {
            Add(kind, status);
        }
    }

    MockDevice& Device(DeviceType kind) {
        return dynamic_cast<MockDevice&>(*Access::DeviceObjects(handler()).at(kind));
    }

    void SetStatus(DeviceType kind, std::int32_t status) {
        ON_CALL(Device(kind), GetDeviceStatus()).WillByDefault(testing::Return(status));
    }

    void Prefer(PreferredDeviceType preferred) { Access::Preferred(handler()) = preferred; }

    /// A pipe server that nobody has connected to. What it is told to send stands in the log and is lost.
    void UseServer() { delete Access::Server(handler()).exchange(new PipeServer(nullptr, nullptr, nullptr)); }

    /// The events handed to the server since the log was cleared, held against the schema and parsed.
    std::vector<Json::Value> SentEvents() const {
        std::vector<Json::Value> events;
        for (const LogLine& line : log_.OfFunction("PipeServer::SendMsg")) {
            EXPECT_EQ(CheckEvent(line.rest), "") << line.rest;
            events.push_back(ParseJson(line.rest));
        }
        return events;
    }

    void Route(const std::string& text) { Access::RouteMessage(handler(), text); }

    /// Starts the task thread alone, without pipe, objects and engines.
    void StartTaskThread() {
        Access::TaskThread(handler()) =
            std::make_unique<std::thread>([this] { Access::TaskLoop(handler()); });
    }

    /// Ends the task loop by a task, and waits for the thread.
    void StopTaskThread() {
        handler().PostTask([this] { Access::Running(handler()) = false; });
        Access::TaskThread(handler())->join();
    }

    // With the whole handler started, on the real pipe.

    /// Starts it, waits until a client would be served, and puts mocks in the place of the device objects.
    void Start(std::int32_t status = kDeviceStatusConnected) {
        handler().Initialize();
        WaitUntilOffered();
        AddAll(status);
    }

    /// Waits until the task thread waits for a client: one that opens the pipe before is never served.
    void WaitUntilOffered() {
        EXPECT_TRUE(WaitUntil([this] {
            PipeServer* const server = Access::Server(handler());
            return server != nullptr && PipeServerAccess::WaitsForClient(*server);
        })) << log_.Text();
    }

    /// Opens the pipe. The client's end stays open until the handler has been stopped, if the test doesn't close it:
    /// a read failure at the moment of a stop could leave the task thread waiting for the next client for good.
    ClientEnd& OpenClient() {
        clients_.push_back(OpenServerPipe());
        if (clients_.back() == nullptr) {
            throw std::runtime_error("nobody serves the pipe\n" + log_.Text());
        }
        return *clients_.back();
    }

    /// A client that is being served.
    ClientEnd& ConnectClient() {
        WaitUntilOffered();
        const std::size_t before = log_.Count("Connect ConnectNamedPipe success, create PipeIO");
        ClientEnd& client = OpenClient();
        EXPECT_TRUE(log_.WaitForCount("Connect ConnectNamedPipe success, create PipeIO", before + 1))
            << log_.Text();
        EXPECT_TRUE(WaitUntil([this] {
            return PipeServerAccess::ConnectEvent(*Access::Server(handler())) == nullptr;
        })) << "Connect has to end";
        return client;
    }

    /// Sends a command and waits until its routing has begun.
    void SendCommand(ClientEnd& client, const std::string& text) {
        const std::size_t before = log_.Count("task begin msg=");
        EXPECT_TRUE(client.Write(JsonFrame(text)));
        EXPECT_TRUE(log_.WaitForCount("task begin msg=", before + 1)) << log_.Text();
    }

    /// Ends what Initialize started, without the two seconds of Uninitialize.
    void StopQuickly() {
        Access::Server(handler()).load()->Disconnect();
        StopTaskThread();
        delete Access::Server(handler()).exchange(nullptr);
        Access::UninitSpeechRecognizer(handler());
        Access::UninitSpeechEvaluator(handler());
    }

private:
    // The handler first: its construction replaces the sink that the capture then takes over.
    Access::Pointer handler_ = Access::Make();
    LogCapture log_;
    std::vector<std::unique_ptr<ClientEnd>> clients_;
    std::filesystem::path former_directory_ = std::filesystem::current_path();
    std::filesystem::path directory_;
};

class HandlerTest : public testing::Test, public HandlerWorld {};

/// A task that holds the task thread from its making until it is let go.
class HeldTask {
public:
    explicit HeldTask(IpcHandler& handler) {
        handler.PostTask([entered = entered_, released = released_, ended = ended_] {
            entered.Set();
            released.Wait();
            ended.Set();
        });
        EXPECT_TRUE(entered_.Wait());
    }
    ~HeldTask() { Release(); }
    HeldTask(const HeldTask&) = delete;
    HeldTask& operator=(const HeldTask&) = delete;

    /// Lets the task go, and waits for its end.
    void Release() {
        released_.Set();
        EXPECT_TRUE(ended_.Wait());
    }

private:
    Signal entered_;
    Signal released_;
    Signal ended_;
};

}  // namespace vdipc::test
