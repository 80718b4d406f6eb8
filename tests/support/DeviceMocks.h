// GoogleMock doubles of the interfaces between the handler and its device objects.
#pragma once

#include "device/IVoteDeckObject.h"
#include "device/IVoteDeckObjectEvent.h"

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include <gmock/gmock.h>

namespace vdipc::test {

class MockVoteDeckObject : public IVoteDeckObject {
public:
    MOCK_METHOD(void, SetEventListener, (IVoteDeckObjectEvent * listener), (override));
    MOCK_METHOD(std::int32_t, Initialize, (), (override));
    MOCK_METHOD(void, Uninitialize, (), (override));
    MOCK_METHOD(void, SetAudioFileStorageBasePath, (const std::string& path), (override));
    MOCK_METHOD(void, HandleAsk, (const CommandAsk& ask), (override));
    MOCK_METHOD(void, HandleStop, (const CommandStop& stop), (override));
    MOCK_METHOD(void, HandleText, (const CommandText& text), (override));
    MOCK_METHOD(void, HandleHi, (const CommandHi& hi), (override));
    MOCK_METHOD(void, HandleDrop, (const CommandDrop& drop), (override));
    MOCK_METHOD(void, ClearTextForAllDevices, (), (override));
    MOCK_METHOD(std::int32_t, GetDeviceStatus, (), (override));
    MOCK_METHOD(DeviceInfoRecord, GetDeviceInfo, (), (override));
    MOCK_METHOD(bool, CheckLastQuestionCustom, (const std::string& device, const std::string& custom),
                (override));
    MOCK_METHOD(std::set<std::string>, GetActivatedDeviceSet, (), (override));
    MOCK_METHOD(void, SetActivatedDeviceSet, (std::set<std::string> devices), (override));
    MOCK_METHOD(void, StartQuestion, (const std::string& device, QuestionType type), (override));
    MOCK_METHOD(void, StopQuestion, (const std::string& device), (override));
    MOCK_METHOD(void, SetText,
                (const std::string& device, bool has_row1, const std::string& row1, bool has_row2,
                 const std::string& row2, bool has_row3, const std::string& row3),
                (override));
};

class MockVoteDeckObjectEvent : public IVoteDeckObjectEvent {
public:
    MOCK_METHOD(void, PostTask, (std::function<void()> task), (override));
    MOCK_METHOD(void, SendIPCMesage, (const std::string& text), (override));
    MOCK_METHOD(void, SendTrackwire, (CTrackwire & record), (override));
    MOCK_METHOD(std::int32_t, RequestRecognize, (const RecognizeRequest& request), (override));
    MOCK_METHOD(std::int32_t, RequestEvaluation,
                (const std::string& file_name, const EvaluateRequest& request), (override));
    MOCK_METHOD(void, RequestSingleEvaluation, (const std::string& file_name, const EvaluateRequest& request),
                (override));
    MOCK_METHOD(std::int32_t, RequestMultipleEvaluation,
                (const std::string& file_name, const EvaluateRequest& request, std::int32_t selector),
                (override));
    MOCK_METHOD(void, OnActiveDevicesChanged, (), (override));
    MOCK_METHOD(void, OnVoteDeckStatusChanged, (DeviceType device_type, std::int32_t status), (override));
    MOCK_METHOD(void, OnRv2BadStatusNotified, (std::int32_t status), (override));
};

}  // namespace vdipc::test
