// Speech evaluation: open requests with their audio, the timers of single evaluations, and the results.
//
// Who frees the audio bytes of a request: the result's task, with the entry of the open request. They are
// kept for good where no result comes that counts (no engine, an answer of an engine that serves no more, no
// repeat after the switch to offline evaluation), and where a second request under the same key replaces the
// entry: an engine may still read them.
#include "common/Log.h"
#include "common/TextEncoding.h"
#include "ipc/IpcHandler.h"
#include "messages/MessageCodec.h"

#include <limits>
#include <memory>
#include <string>

namespace vdipc {
namespace {

void FreeAudio(EvaluateRequest& request) {
    if (request.audio_data != nullptr && request.audio_size > 0) {
        delete[] request.audio_data;
    }
}

/// Toward zero; what no 32-bit number can hold becomes the lowest one, as the processor's own conversion has
/// it.
std::int32_t TruncateScore(float score) {
    constexpr float kBound = 2147483648.0F;
    return score >= -kBound && score < kBound ? static_cast<std::int32_t>(score)
                                              : std::numeric_limits<std::int32_t>::min();
}

}  // namespace

std::int32_t IpcHandler::RequestEvaluation(const std::string& key, const EvaluateRequest& request) {
    VD_LOG_ENTRY();
    SpeechEvaluator* const evaluator = general_evaluator_;
    if (evaluator == nullptr) {
        return 0;
    }
    evaluate_request_map_[key] = request;
    return evaluator->evaluate(request);
}

void IpcHandler::RequestSingleEvaluation(const std::string& key, const EvaluateRequest& request) {
    VD_LOG_ENTRY();
    if (sent_evaluator_ == nullptr) {
        return;
    }
    evaluate_request_map_[key] = request;
    sent_evaluator_->evaluate(request);
    StartEvaluatorTimer(key);
}

std::int32_t IpcHandler::RequestMultipleEvaluation(const std::string& key, const EvaluateRequest& request,
                                                   std::int32_t selector) {
    VD_LOG_ENTRY();
    SpeechEvaluator* evaluator = nullptr;
    if (selector == kMultipleSelector) {
        evaluator = multiple_evaluator_;
    } else if (selector == kMultipleChineseSelector) {
        evaluator = multiple_evaluator_chn_;
    }
    if (evaluator == nullptr) {
        return 0;
    }
    evaluate_request_map_[key] = request;
    return evaluator->evaluate(request);
}

void IpcHandler::StartEvaluatorTimer(const std::string& key) {
    if (offline_evaluator_ == sent_evaluator_) {
        return;
    }
    auto timer = std::make_unique<Timer>();
    Timer* const started = timer.get();
    evaluator_timers_[key].swap(timer);
    // One that stood here goes on running, and is not ours any more.
    static_cast<void>(timer.release());
    started->Start([this, key] {
        VD_LOG(LogLevel::Debug, "{}:{} timeout {}", key);
        PostTask([this, key] { HandleEvaluatorTimeout(key); });
    });
}

void IpcHandler::StopEvaluatorTimer(const std::string& key) {
    VD_LOG_ENTRY();
    const auto found = evaluator_timers_.find(key);
    if (found != evaluator_timers_.end()) {
        found->second->Stop();
        evaluator_timers_.erase(found);
    }
}

void IpcHandler::HandleEvaluatorTimeout(const std::string& key) {
    VD_LOG(LogLevel::Debug, "{}:{} timeout task begin {}", key);
    StopEvaluatorTimer(key);
    const auto found = evaluate_request_map_.find(key);
    if (found == evaluate_request_map_.end()) {
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} evaluation result of {} has not returned, try to changed to offline", key);
    if (!ChangeSentSpeechEvaluatorToOffline()) {
        // Only the request whose timer fired first is repeated.
        VD_LOG(LogLevel::Debug, "{}:{} current evaluator is offline do not request again");
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} request evaluation of {} again", key);
    sent_evaluator_->evaluate(found->second);
}

void IpcHandler::OnEvaluateCompleted(SpeechEvaluator* evaluator, const EvaluationResult& result) {
    if (evaluator == general_evaluator_) {
        HandleGeneralEvaluateCompleted(evaluator, result);
    } else {
        HandleEvaluateCompleted(evaluator, result);
    }
}

void IpcHandler::HandleEvaluateCompleted(SpeechEvaluator* evaluator, const EvaluationResult& result) {
    VD_LOG(LogLevel::Info, "{}:{} result.request_id={}", result.request_id);
    PostTask([this, evaluator, result] { HandleEvaluateResult(evaluator, result); });
}

void IpcHandler::HandleGeneralEvaluateCompleted(SpeechEvaluator* evaluator, const EvaluationResult& result) {
    VD_LOG(LogLevel::Info, "{}:{} result.request_id={}", result.request_id);
    PostTask([this, evaluator, result] { HandleGeneralEvaluateResult(evaluator, result); });
}

void IpcHandler::HandleEvaluateResult(SpeechEvaluator* evaluator, const EvaluationResult& result) {
    VD_LOG(LogLevel::Debug, "{}:{} result.request_id={}, result.error_code={}, result.result={}, score={}",
           result.request_id, result.error_code, result.result, result.score);
    // Throws away, above all, the late answer of the online evaluator after the switch.
    if (evaluator != sent_evaluator_ && evaluator != multiple_evaluator_ &&
        evaluator != multiple_evaluator_chn_) {
        VD_LOG(LogLevel::Debug, "{}:{} evaluator not match, return.");
        return;
    }
    EventVoiceEvaluated event;
    MessageCodec::DecodeEvent(result.request_id, &event);
    const auto found = evaluate_request_map_.find(event.extra);
    if (found == evaluate_request_map_.end()) {
        StopEvaluatorTimer(event.extra);
        VD_LOG(LogLevel::Debug, "{}:{} evaluate_request_map_[{}] has been erased, reurn.", event.extra);
        return;
    }
    FreeAudio(found->second);
    evaluate_request_map_.erase(found);
    StopEvaluatorTimer(event.extra);
    if (!IsQuestionStillAsked(event.device, event.custom)) {
        VD_LOG(LogLevel::Debug, "{}:{} device={} custom not match", event.device);
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} device={} custom match custom={}", event.device, event.custom);
    PipeServer* const pipe_server = pipe_server_;
    if (pipe_server == nullptr) {
        return;
    }
    event.id = MessageCodec::GenerateEventId();
    event.start_time = result.start_time;
    event.end_time = result.end_time;
    event.result = ToActiveCodePage(result.result);
    event.score = TruncateScore(result.score);
    pipe_server->SendMsg(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(action_key_, "ipc_vdk_event_voice_evaluated");
    record.Push(uniq_id_key_, event.id);
    record.Push("device", event.device);
    record.Push("key", event.key);
    record.Push("start_time", std::to_string(event.start_time));
    record.Push("end_time", std::to_string(event.end_time));
    record.Push("result", event.result);
    record.Push("score", event.score);
    record.Push("extra", event.extra);
    record.Push("custom", event.custom);
    SendTrackwire(record);
}

void IpcHandler::HandleGeneralEvaluateResult(SpeechEvaluator* evaluator, const EvaluationResult& result) {
    VD_LOG(LogLevel::Debug,
           "{}:{} result.request_id={}, result.request_param_stringify={}, result.raw_result_stringify={}",
           result.request_id, result.request_param_stringify, result.raw_result_stringify);
    if (evaluator != general_evaluator_) {
        VD_LOG(LogLevel::Debug, "{}:{} evaluator not match, return.");
        return;
    }
    EventEvaluated event;
    MessageCodec::DecodeEvent(result.request_id, &event);
    const auto found = evaluate_request_map_.find(event.extra);
    if (found == evaluate_request_map_.end()) {
        VD_LOG(LogLevel::Debug, "{}:{} evaluate_request_map_[{}] has been erased, reurn.", event.extra);
        return;
    }
    FreeAudio(found->second);
    evaluate_request_map_.erase(found);
    if (!IsQuestionStillAsked(event.device, event.custom)) {
        VD_LOG(LogLevel::Debug, "{}:{} device={} custom not match", event.device);
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} device={} custom match custom={}", event.device, event.custom);
    PipeServer* const pipe_server = pipe_server_;
    if (pipe_server == nullptr) {
        return;
    }
    event.id = MessageCodec::GenerateEventId();
    event.raw_result = result.raw_result_stringify;
    pipe_server->SendMsg(MessageCodec::EncodeEvent(event));
    CTrackwire record;
    record.Push(action_key_, "ipc_vdk_event_evaluated");
    record.Push(uniq_id_key_, event.id);
    record.Push("device", event.device);
    record.Push("error", event.error);
    record.Push("lost_package_rate", std::to_string(event.lost_package_rate));
    record.Push("raw_result", event.raw_result);
    record.Push("extra", event.extra);
    record.Push("custom", event.custom);
    SendTrackwire(record);
}

}  // namespace vdipc
