// A device object without hardware, a listener that keeps what it is told, and the log.
#pragma once

#include "device/VoteDeckObjectBase.h"
#include "doubles/ClosedDoubles.h"
#include "support/DeviceMocks.h"
#include "support/LogCapture.h"
#include "support/LogEntries.h"
#include "support/SchemaCheck.h"
#include "support/VoteDeckObjectBaseAccess.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

namespace vdipc {

namespace test {

class TestDevice : public VoteDeckObjectBase {
public:
    using VoteDeckObjectBase::VoteDeckObjectBase;

    MOCK_METHOD(std::int32_t, Initialize, (), (override));
    MOCK_METHOD(void, Uninitialize, (), (override));
    MOCK_METHOD(void, HandleHi, (const CommandHi& hi), (override));
    MOCK_METHOD(void, StartQuestion, (const std::string& device, QuestionType type), (override));
    MOCK_METHOD(void, StopQuestion, (const std::string& device), (override));
    MOCK_METHOD(void, SetText,
                (const std::string& device, bool has_row1, const std::string& row1, bool has_row2,
                 const std::string& row2, bool has_row3, const std::string& row3),
                (override));

    using VoteDeckObjectBase::audio_file_storage_base_path_;
    using VoteDeckObjectBase::CreateTextRecordForDevice;
    using VoteDeckObjectBase::device_info_;
    using VoteDeckObjectBase::device_type_;
    using VoteDeckObjectBase::dropped_device_set_;
    using VoteDeckObjectBase::EraseDeviceFromDropSet;
    using VoteDeckObjectBase::EraseLastAnswer;
    using VoteDeckObjectBase::EraseTextRevordForDevice;
    using VoteDeckObjectBase::FilterKeyEvent;
    using VoteDeckObjectBase::FindLastQuestion;
    using VoteDeckObjectBase::GenerateEventId;
    using VoteDeckObjectBase::IsLastAnswerFinished;
    using VoteDeckObjectBase::KeyToString;
    using VoteDeckObjectBase::last_answer_map_;
    using VoteDeckObjectBase::last_question_map_;
    using VoteDeckObjectBase::listener_;
    using VoteDeckObjectBase::NotifyActiveDevicesChanged;
    using VoteDeckObjectBase::NotifyBadStatusForRV2;
    using VoteDeckObjectBase::NotifyStatusChanged;
    using VoteDeckObjectBase::ParseDeviceID;
    using VoteDeckObjectBase::PostTask;
    using VoteDeckObjectBase::RequestEvaluation;
    using VoteDeckObjectBase::RequestMultipleEvaluation;
    using VoteDeckObjectBase::RequestRecognize;
    using VoteDeckObjectBase::RequestSingleEvaluation;
    using VoteDeckObjectBase::RunAudioPath;
    using VoteDeckObjectBase::SaveAudioFile;
    using VoteDeckObjectBase::SendEventActivated;
    using VoteDeckObjectBase::SendEventArrived;
    using VoteDeckObjectBase::SendEventEvaluated;
    using VoteDeckObjectBase::SendEventInactivated;
    using VoteDeckObjectBase::SendEventKeyPressed;
    using VoteDeckObjectBase::SendEventRemoved;
    using VoteDeckObjectBase::SendEventVoiceEvaluated;
    using VoteDeckObjectBase::SendEventVoiceRecord;
    using VoteDeckObjectBase::SendIPCMesage;
    using VoteDeckObjectBase::SendTrackwire;
    using VoteDeckObjectBase::StartNewQuestionRecord;
    using VoteDeckObjectBase::status_;
    using VoteDeckObjectBase::StopLastQuestionRecord;
    using VoteDeckObjectBase::TakeKey;
    using VoteDeckObjectBase::text_record_map_;
    using VoteDeckObjectBase::WrapDeviceID;
};

/// The whole value of a field of telemetry: key, value, kind.
inline std::vector<std::string> Shown(const TrackwireRecord& record) {
    std::vector<std::string> shown;
    for (const TrackwireRecord::Pair& pair : record.pairs) {
        shown.push_back(pair.key + "=" + pair.value + ":" + pair.kind);
    }
    return shown;
}

inline Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    std::string errors;
    std::istringstream stream(text);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) << errors << text;
    return value;
}

class DeviceTest : public testing::Test {
protected:
    explicit DeviceTest(DeviceType device_type = DeviceType::RV2) : device_(device_type) {
        ON_CALL(listener_, SendIPCMesage).WillByDefault([this](const std::string& text) {
            steps_.push_back("message");
            EXPECT_EQ(CheckEvent(text), "") << text;
            messages_.push_back(ParseJson(text));
        });
        ON_CALL(listener_, SendTrackwire).WillByDefault([this](CTrackwire& record) {
            steps_.push_back("telemetry");
            record.Logger();
        });
        ON_CALL(listener_, PostTask).WillByDefault([](const std::function<void()>& task) { task(); });
        device_.SetEventListener(&listener_);
    }

    static CommandAsk Ask(const std::string& device, QuestionType type, const std::string& custom = "c") {
        CommandAsk ask;
        ask.id = "id of the ask";
        ask.device = device;
        ask.type = type;
        ask.custom = custom;
        return ask;
    }

    static CommandStop Stop(const std::string& device) {
        CommandStop stop;
        stop.device = device;
        return stop;
    }

    static CommandDrop Drop(const std::string& device) {
        CommandDrop drop;
        drop.device = device;
        return drop;
    }

    /// A key press, and the event where one is due; the result is what was decided, or "dropped".
    std::string Press(std::uint32_t number, std::int32_t key, std::uint32_t signal_strength = 0) {
        const std::string device = std::to_string(number);
        const std::optional<bool> need_send = device_.TakeKey(device, key);
        if (!need_send.has_value()) {
            return "dropped";
        }
        if (*need_send) {
            device_.SendEventKeyPressed(device, signal_strength);
        }
        return *need_send ? "sent" : "kept";
    }

    /// "key" of the events so far, in order.
    std::vector<std::string> Keys() const {
        std::vector<std::string> keys;
        for (const Json::Value& message : messages_) {
            EXPECT_EQ(message["event"].asString(), "key-pressed");
            keys.push_back(message["key"].asString());
        }
        return keys;
    }

    /// Rests of the lines at Debug, of one operation of the object or of all, in order.
    std::vector<std::string> DebugLines(const std::string& operation = {}) const {
        std::vector<std::string> rests;
        for (const LogLine& line : log_.Lines()) {
            if (line.level == LogLevel::Debug &&
                (operation.empty() || line.function == "VoteDeckObjectBase::" + operation)) {
                rests.push_back(line.rest);
            }
        }
        return rests;
    }

    /// The call logs the operation's entry.
    void ExpectEntry(const std::string& operation, const std::string& rest,
                     const std::function<void()>& call) {
        test::ExpectEntry(log_, "VoteDeckObjectBase::" + operation, rest, call);
    }

    /// The text was logged once, at this level.
    void ExpectOneLine(LogLevel level, const std::string& rest) const {
        const auto lines = log_.Find(rest);
        ASSERT_EQ(lines.size(), 1u) << rest << "\n" << log_.Text();
        EXPECT_EQ(lines[0].level, level) << rest;
    }

    struct Reset {
        Reset() { ResetClosedDoubles(); }
    };

    Reset reset_;
    LogCapture log_;
    std::vector<Json::Value> messages_;  // texts to the client
    std::vector<std::string> steps_;     // "message" and "telemetry" in order
    testing::NiceMock<MockVoteDeckObjectEvent> listener_;
    testing::NiceMock<TestDevice> device_;
};

}  // namespace test
}  // namespace vdipc
