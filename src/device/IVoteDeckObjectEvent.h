// What a device object tells the handler.
#pragma once

#include "common/closed/Trackwire.h"
#include "common/closed/ZVNSpeech.h"
#include "messages/Vocabulary.h"

#include <cstdint>
#include <functional>
#include <string>

namespace vdipc {

using zvn::speech::EvaluateRequest;
using zvn::speech::RecognizeRequest;

/// Which engine a multiple evaluation asks for, by the question's type.
inline constexpr std::int32_t kMultipleSelector = 0;         // "audio-multiple"
inline constexpr std::int32_t kMultipleChineseSelector = 1;  // "audio-multiple-chn"

/// Called on the task thread, but for PostTask, which any thread may call, and SendTrackwire, which a
/// receiver's own thread calls when device information arrives.
class IVoteDeckObjectEvent {
public:
    virtual ~IVoteDeckObjectEvent() = default;
    /// Queues a task on the task thread.
    virtual void PostTask(std::function<void()> task) = 0;
    /// Sends a JSON text to the client.
    virtual void SendIPCMesage(const std::string& text) = 0;
    /// Stamps and sends a telemetry record.
    virtual void SendTrackwire(CTrackwire& record) = 0;
    virtual std::int32_t RequestRecognize(const RecognizeRequest& request) = 0;
    /// The evaluation requests take the audio bytes over. The key of the open request is the saved file's name.
    virtual std::int32_t RequestEvaluation(const std::string& key, const EvaluateRequest& request) = 0;
    virtual void RequestSingleEvaluation(const std::string& key, const EvaluateRequest& request) = 0;
    virtual std::int32_t RequestMultipleEvaluation(const std::string& key, const EvaluateRequest& request,
                                                   std::int32_t selector) = 0;
    virtual void OnActiveDevicesChanged() = 0;
    virtual void OnVoteDeckStatusChanged(DeviceType device_type, std::int32_t status) = 0;
    virtual void OnRv2BadStatusNotified(std::int32_t status) = 0;
};

}  // namespace vdipc
