// Speech recognition: the request goes out with the answering event as its id, and the result finds its way
// back by it.
#include "common/Log.h"
#include "common/TextEncoding.h"
#include "ipc/IpcHandler.h"
#include "messages/MessageCodec.h"

#include <memory>
#include <string>

namespace vdipc {

std::int32_t IpcHandler::RequestRecognize(const RecognizeRequest& request) {
    VD_LOG_ENTRY();
    return recognizer_ != nullptr ? recognizer_->recognize(request) : 0;
}

void IpcHandler::OnRecognizeCompleted(SpeechRecognizer*, const RecognitionResult& result) {
    VD_LOG(LogLevel::Info, "{}:{} result.request_id={}, result.error_code={}, result.result={}",
           result.request_id, result.error_code, result.result);
    PostTask([this, result] { HandleRecognizeResult(result); });
}

void IpcHandler::HandleRecognizeResult(const RecognitionResult& result) {
    VD_LOG(LogLevel::Debug, "{}:{} result.request_id={}, result.error_code={}, result.result={}",
           result.request_id, result.error_code, result.result);
    EventAudioRecognized event;
    // An id that can't be decoded leaves what was read so far, and nobody will answer to that.
    MessageCodec::DecodeEvent(result.request_id, &event);
    if (!IsQuestionStillAsked(event.device, event.custom)) {
        VD_LOG(LogLevel::Debug, "{}:{} device={} event not match", event.device);
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} device={} custom match, custom={}", event.device, event.custom);
    PipeServer* const pipe_server = pipe_server_;
    if (pipe_server == nullptr) {
        return;
    }
    event.id = MessageCodec::GenerateEventId();
    event.start_time = result.start_time;
    event.end_time = result.end_time;
    event.result = ToActiveCodePage(result.result);
    pipe_server->SendMsg(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(action_key_, "ipc_vdk_event_audio_recognized");
    record.Push(uniq_id_key_, event.id);
    record.Push("device", event.device);
    record.Push("key", event.key);
    record.Push("start_time", std::to_string(event.start_time));
    record.Push("end_time", std::to_string(event.end_time));
    record.Push("result", event.result);
    record.Push("extra", event.extra);
    record.Push("custom", event.custom);
    SendTrackwire(record);
}

bool IpcHandler::IsQuestionStillAsked(const std::string& device, const std::string& custom) {
    for (const auto& entry : device_objects_) {
        const std::shared_ptr<IVoteDeckObject> object = entry.second;
        if (object != nullptr && object->CheckLastQuestionCustom(device, custom)) {
            return true;
        }
    }
    return false;
}

}  // namespace vdipc
