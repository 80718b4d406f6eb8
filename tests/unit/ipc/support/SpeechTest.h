// A handler with speech engines, one device object that still asks its question, and a pipe server nobody
// reads.
#pragma once

#include "messages/MessageCodec.h"
#include "support/HandlerTest.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace vdipc::test {

class SpeechTest : public HandlerTest {
protected:
    ~SpeechTest() override {
        Access::UninitSpeechRecognizer(handler());
        Access::UninitSpeechEvaluator(handler());
        // The engines that the handler leaves running for good.
        for (const SpeechEngine& engine : SpeechEngines()) {
            if (!engine.destroyed && engine.is_recognizer) {
                delete static_cast<const SpeechRecognizer*>(engine.object);
            } else if (!engine.destroyed) {
                delete static_cast<const SpeechEvaluator*>(engine.object);
            }
        }
        for (auto& [key, request] : Access::EvaluateRequests(handler())) {
            delete[] request.audio_data;
        }
    }

    /// Engines, a pipe server, and an object of this kind whose device "7" is asked with "custom".
    void UseEverything(DeviceType kind = DeviceType::RV2) {
        Access::InitSpeechRecognizer(handler());
        Access::InitSpeechEvaluator(handler());
        UseServer();
        AddAsking(kind);
        log().Clear();
    }

    MockDevice& AddAsking(DeviceType kind) {
        MockDevice& device = Add(kind, kDeviceStatusConnected);
        ON_CALL(device, CheckLastQuestionCustom("7", "custom")).WillByDefault(testing::Return(true));
        return device;
    }

    template <typename Event>
    static std::string Template(const std::string& extra = "x.wav", const std::string& custom = "custom") {
        Event event;
        event.device = "7";
        event.extra = extra;
        event.custom = custom;
        event.lost_package_rate = 0.25;
        return MessageCodec::EncodeEvent(event);
    }

    /// An id like this one, of an event that has no "custom" at all.
    static std::string WithoutCustom(const std::string& id) {
        Json::Value root = ParseJson(id);
        EXPECT_TRUE(root.removeMember("custom", nullptr));
        return root.toStyledString();
    }

    /// The functions of all lines since the log was cleared, those of these functions alone, in order.
    std::vector<std::string> FunctionsAmong(const std::set<std::string>& functions) const {
        std::vector<std::string> found;
        for (const LogLine& line : log().Lines()) {
            if (functions.count(line.function) != 0) {
                found.push_back(line.function);
            }
        }
        return found;
    }

    /// A request with bytes of its own, which the handler takes over.
    template <typename Event>
    static EvaluateRequest Request(const std::string& key) {
        EvaluateRequest request;
        request.request_id = Template<Event>(key);
        request.stems = {"stem"};
        request.audio_data = new std::uint8_t[3]{1, 2, 3};
        request.audio_size = 3;
        return request;
    }

    /// The rests of a function's lines at Debug.
    std::vector<std::string> DebugLines(const std::string& function) {
        std::vector<std::string> rests;
        for (const LogLine& line : log().OfFunction("IpcHandler::" + function)) {
            EXPECT_EQ(line.level, LogLevel::Debug) << line.message;
            rests.push_back(line.rest);
        }
        return rests;
    }

    /// The fields behind "Action" of the one record of this kind, with their push forms, without
    /// "reporttime".
    static std::vector<std::string> Telemetry(const std::string& action) {
        const auto records = TrackwireRecords(action);
        EXPECT_EQ(records.size(), 1u);
        std::vector<std::string> shown;
        for (const TrackwireRecord& record : records) {
            EXPECT_EQ(record.pairs.front().key, "Action");
            EXPECT_EQ(record.pairs.back().key, "reporttime");
            for (std::size_t i = 1; i + 1 < record.pairs.size(); ++i) {
                const TrackwireRecord::Pair& pair = record.pairs[i];
                shown.push_back(pair.key + "=" + pair.value + ":" + pair.kind);
            }
        }
        return shown;
    }

    static const SpeechEngine EngineOf(const void* object) {
        for (const SpeechEngine& engine : SpeechEngines()) {
            if (engine.object == object && !engine.destroyed) {
                return engine;
            }
        }
        ADD_FAILURE() << "no such engine";
        return {};
    }
};

}  // namespace vdipc::test
