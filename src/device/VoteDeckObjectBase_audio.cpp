// Recordings: saved as files, and passed on to the speech engines. A speech request carries the event that
// its result will fill in as its id, so that nothing needs to be remembered until then.
#include "common/Clock.h"
#include "common/Log.h"
#include "common/StandardErrors.h"
#include "common/TextEncoding.h"
#include "device/VoteDeckObjectBase.h"
#include "messages/MessageCodec.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace vdipc {
namespace {

constexpr char kAudioFileExtension[] = "wav";

template <typename Event>
std::string EncodeTemplate(const std::string& device, const std::string& file_name, const std::string& custom,
                           double lost_package_rate) {
    Event event;
    event.device = device;
    event.extra = file_name;
    event.custom = custom;
    event.lost_package_rate = lost_package_rate;
    return MessageCodec::EncodeEvent(event);
}

/// Holds the copy of a request's bytes until somebody takes it over.
class AudioCopy {
public:
    /// No bytes make no block, since nobody frees a block of size 0.
    AudioCopy(const std::uint8_t* data, std::size_t size)
        : bytes_(size > 0 ? new std::uint8_t[size] : nullptr), size_(size) {
        std::copy_n(data, size, bytes_.get());
    }

    void PutInto(EvaluateRequest& request) {
        request.audio_size = size_;
        request.audio_data = bytes_.release();
    }

private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t size_;
};

std::string JoinWithCommas(const std::vector<std::string>& texts) {
    std::string joined;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        joined += i == 0 ? texts[i] : "," + texts[i];
    }
    return joined;
}

/// What tells the client that a recording is bad; the number goes into the field that the event has for it. Made,
/// and encoded, for good recordings too, and the text is not used.
template <typename Event>
Event MakeErrorReport(const std::string& device, const std::string& file_name, const std::string& custom,
                      std::int32_t Event::*number, std::int32_t error_number) {
    Event event;
    event.id = MessageCodec::GenerateEventId();
    event.device = device;
    event.extra = file_name;
    event.custom = custom;
    event.*number = error_number;
    MessageCodec::EncodeEvent(event);
    return event;
}

/// A request about the question's stems, which go to the engine in UTF-8. The bytes stay out.
EvaluateRequest MakeStemsRequest(const std::string& device, const std::string& file_name,
                                 const CommandAsk& ask, double lost_package_rate) {
    EvaluateRequest request;
    request.request_id =
        EncodeTemplate<EventVoiceEvaluated>(device, file_name, ask.custom, lost_package_rate);
    for (const std::string& stem : ask.stems) {
        request.stems.push_back(ToUtf8(stem));
    }
    return request;
}

}  // namespace

std::string VoteDeckObjectBase::SaveAudioFile(std::uint32_t number, const std::uint8_t* data,
                                              std::size_t size, const std::string& prefix) {
    VD_LOG_ENTRY();
    // Nothing guards against two recordings of one keypad in the same tick.
    const std::string name =
        PrintBounded260("%s%u-%x.%s", prefix.c_str(), number, GetTickCountNow(), kAudioFileExtension);
    const std::string path = PrintBounded260("%s\\%s", audio_file_storage_base_path_.c_str(), name.c_str());
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file != nullptr) {
        if (size > 0) {  // no bytes may mean no pointer
            std::fwrite(data, 1, size, file);
        }
        std::fclose(file);
    }
    return name;
}

void VoteDeckObjectBase::RunAudioPath(std::uint32_t number, const std::vector<std::uint8_t>& audio,
                                      double lost_package_rate, std::optional<std::int32_t> error_number) {
    const std::string device = WrapDeviceID(number);
    const QuestionRecord* const question = FindLastQuestion(device);
    if (question == nullptr) {
        return;
    }
    const CommandAsk& ask = question->ask;
    const std::uint8_t* const data = audio.data();
    const std::size_t size = audio.size();
    const std::string name = SaveAudioFile(number, data, size, ask.audio_file_name_prefix);
    VD_LOG(LogLevel::Debug, "{}:{} saved audio file {}", name);
    if (question->stopped) {
        return;
    }
    // Each line stands whole, so that who has read it in a log finds it here.
    if (device_type_ == DeviceType::RV2) {
        VD_LOG(LogLevel::Debug, "{}:{} last question found, custom={}", ask.custom);
    } else {
        VD_LOG(LogLevel::Debug, "{}:{} lastquestion found, custom={}", ask.custom);
    }
    switch (ask.type) {
    case QuestionType::Audio:
        // A bad recording is sent for recognition all the same.
        RequestRecognize(device, name, ask.custom, data, size, lost_package_rate);
        break;
    case QuestionType::VoiceEvaluationSingle:
        VD_LOG(LogLevel::Debug, "{}:{} QuestionType::VoiceEvaluationSingle");
        if (AdmitToStems(device, name, ask, error_number)) {
            RequestSingleEvaluation(device, name, ask, data, size, lost_package_rate);
        }
        break;
    case QuestionType::VoiceEvaluationMultiple:
        VD_LOG(LogLevel::Debug, "{}:{} QuestionType::VoiceEvaluationMultiple");
        if (AdmitToStems(device, name, ask, error_number)) {
            RequestMultipleEvaluation(device, name, ask, data, size, kMultipleSelector, lost_package_rate);
        }
        break;
    case QuestionType::VoiceEvaluationMultiple_CHN:
        VD_LOG(LogLevel::Debug, "{}:{} QuestionType::VoiceEvaluationMultiple_CHN");
        if (AdmitToStems(device, name, ask, error_number)) {
            RequestMultipleEvaluation(device, name, ask, data, size, kMultipleChineseSelector,
                                      lost_package_rate);
        }
        break;
    case QuestionType::VoiceEvaluation:
        VD_LOG(LogLevel::Debug, "{}:{} QuestionType::VoiceEvaluation");
        if (AdmitToParam(device, name, ask, error_number)) {
            RequestEvaluation(device, name, ask, data, size, lost_package_rate);
        }
        break;
    case QuestionType::VoiceRecord: {
        VD_LOG(LogLevel::Debug, "{}:{} QuestionType::VoiceRecord");
        EventVoiceRecord event;  // goes out without an id
        event.device = device;
        event.extra = name;
        event.custom = ask.custom;
        event.lost_package_rate = lost_package_rate;
        SendEventVoiceRecord(event);
        break;
    }
    case QuestionType::None:
    case QuestionType::SingleChoice:
    case QuestionType::MultipleChoice:
    case QuestionType::RedEnvelope:
    case QuestionType::ContinousRedEnvelope:
    case QuestionType::TrueFalse:
    case QuestionType::General:
    case QuestionType::MultipleQuestionSingleChoice:
        break;
    }
}

bool VoteDeckObjectBase::MayEvaluateStems(const CommandAsk& ask, std::int32_t error_number) {
    if (ask.stems.empty()) {
        VD_LOG(LogLevel::Debug, "{}:{} cause stems is empty do not request evaluator");
        return false;
    }
    if (error_number != 0) {
        VD_LOG(LogLevel::Debug, "{}:{} audio error do not request evaluator");
        return false;
    }
    return true;
}

bool VoteDeckObjectBase::MayEvaluateParam(const CommandAsk& ask, std::int32_t error_number) {
    if (ask.param.empty()) {
        VD_LOG(LogLevel::Debug, "{}:{} cause param stringify is empty do not request evaluator");
        return false;
    }
    if (error_number != 0) {
        VD_LOG(LogLevel::Debug, "{}:{} audio error do not request evaluator");
        return false;
    }
    return true;
}

bool VoteDeckObjectBase::AdmitToStems(const std::string& device, const std::string& file_name,
                                      const CommandAsk& ask, std::optional<std::int32_t> error_number) {
    std::optional<EventVoiceEvaluated> report;
    if (!ask.stems.empty() && error_number.has_value()) {
        report = MakeErrorReport(device, file_name, ask.custom, &EventVoiceEvaluated::score, *error_number);
    }
    const bool admitted = MayEvaluateStems(ask, error_number.value_or(0));
    if (!admitted && report.has_value()) {
        SendEventVoiceEvaluated(*report);
    }
    return admitted;
}

bool VoteDeckObjectBase::AdmitToParam(const std::string& device, const std::string& file_name,
                                      const CommandAsk& ask, std::optional<std::int32_t> error_number) {
    std::optional<EventEvaluated> report;
    if (!ask.param.empty() && error_number.has_value()) {
        report = MakeErrorReport(device, file_name, ask.custom, &EventEvaluated::error, *error_number);
    }
    const bool admitted = MayEvaluateParam(ask, error_number.value_or(0));
    if (!admitted && report.has_value()) {
        SendEventEvaluated(*report);
    }
    return admitted;
}

void VoteDeckObjectBase::RequestRecognize(const std::string& device, const std::string& file_name,
                                          const std::string& custom, const std::uint8_t* data,
                                          std::size_t size, double lost_package_rate) {
    VD_LOG_ENTRY();
    RecognizeRequest request;
    request.request_id = EncodeTemplate<EventAudioRecognized>(device, file_name, custom, lost_package_rate);
    // Not copied: the engine takes what it needs before the call returns.
    request.audio_data = data;
    request.audio_size = size;
    VD_LOG(LogLevel::Info, "{}:{} recognize request_id={}, voice_size={}", request.request_id, size);
    if (listener_ != nullptr) {
        listener_->RequestRecognize(request);
    }
}

void VoteDeckObjectBase::RequestEvaluation(const std::string& device, const std::string& file_name,
                                           const CommandAsk& ask, const std::uint8_t* data, std::size_t size,
                                           double lost_package_rate) {
    EvaluateRequest request;
    request.request_id = EncodeTemplate<EventEvaluated>(device, file_name, ask.custom, lost_package_rate);
    request.param_stringify = ask.param;
    AudioCopy copy(data, size);
    if (listener_ != nullptr) {
        copy.PutInto(request);
        listener_->RequestEvaluation(file_name, request);
    }
}

void VoteDeckObjectBase::RequestSingleEvaluation(const std::string& device, const std::string& file_name,
                                                 const CommandAsk& ask, const std::uint8_t* data,
                                                 std::size_t size, double lost_package_rate) {
    EvaluateRequest request = MakeStemsRequest(device, file_name, ask, lost_package_rate);
    AudioCopy copy(data, size);
    VD_LOG(LogLevel::Info, "{}:{} evaluator sent online request_id={}, voice_size={}, stems=[{}]",
           request.request_id, size, JoinWithCommas(ask.stems));
    if (listener_ != nullptr) {
        copy.PutInto(request);
        listener_->RequestSingleEvaluation(file_name, request);
    }
}

void VoteDeckObjectBase::RequestMultipleEvaluation(const std::string& device, const std::string& file_name,
                                                   const CommandAsk& ask, const std::uint8_t* data,
                                                   std::size_t size, std::int32_t selector,
                                                   double lost_package_rate) {
    EvaluateRequest request = MakeStemsRequest(device, file_name, ask, lost_package_rate);
    AudioCopy copy(data, size);
    VD_LOG(LogLevel::Info, "{}:{} evaluator sent online request_id={}, voice_size={}, stems=[{}]",
           request.request_id, size, JoinWithCommas(ask.stems));
    if (listener_ != nullptr) {
        copy.PutInto(request);
        listener_->RequestMultipleEvaluation(file_name, request, selector);
    }
}

}  // namespace vdipc
