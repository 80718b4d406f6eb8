// Questions and answers: what was asked of a keypad, and which of its keys count.
#include "common/Log.h"
#include "device/VoteDeckObjectBase.h"

namespace vdipc {
namespace {

bool IsLetter(std::int32_t value) {
    return value >= kKeyA && value <= kKeyD;
}

bool IsTrueOrFalse(std::int32_t value) {
    return value >= kKeyT && value <= kOtherKeyF;
}

}  // namespace

void VoteDeckObjectBase::HandleAsk(const CommandAsk& ask) {
    VD_LOG_ENTRY();
    StartNewQuestionRecord(ask);
    EraseLastAnswer(ask.device);
    StartQuestion(ask.device, ask.type);
    SetText(ask.device, ask.has_row1, ask.row1, ask.has_row2, ask.row2, ask.has_row3, ask.row3);
}

void VoteDeckObjectBase::HandleStop(const CommandStop& stop) {
    VD_LOG_ENTRY();
    EraseLastAnswer(stop.device);
    StopLastQuestionRecord(stop.device);
    StopQuestion(stop.device);
    SetText(stop.device, stop.has_row1, stop.row1, stop.has_row2, stop.row2, stop.has_row3, stop.row3);
}

void VoteDeckObjectBase::StartNewQuestionRecord(const CommandAsk& ask) {
    VD_LOG_ENTRY();
    VD_LOG(LogLevel::Debug, "{}:{} cover question record for device {}", ask.device);
    CoverQuestionRecord(ask.device, ask);
    if (ask.device != all_devices_id_) {
        return;
    }
    VD_LOG(LogLevel::Debug,
           "{}:{} new ask command is for device 0, cover all questions in last_question_map_");
    for (const auto& [device, text] : text_record_map_) {
        VD_LOG(LogLevel::Debug, "{}:{} cover question record for device {}", device);
        CoverQuestionRecord(device, ask);
    }
}

void VoteDeckObjectBase::CoverQuestionRecord(const std::string& device, const CommandAsk& ask) {
    QuestionRecord& record = last_question_map_[device];
    record.stopped = false;
    // All but the command's id.
    record.ask.device = device;
    record.ask.type = ask.type;
    record.ask.row1 = ask.row1;
    record.ask.has_row1 = ask.has_row1;
    record.ask.row2 = ask.row2;
    record.ask.has_row2 = ask.has_row2;
    record.ask.row3 = ask.row3;
    record.ask.has_row3 = ask.has_row3;
    record.ask.custom = ask.custom;
    record.ask.param = ask.param;
    record.ask.stems = ask.stems;
    record.ask.audio_file_name_prefix = ask.audio_file_name_prefix;
}

void VoteDeckObjectBase::StopLastQuestionRecord(const std::string& device) {
    VD_LOG_ENTRY();
    VD_LOG(LogLevel::Debug, "{}:{} stop last_question_map_[{}]", device);
    const auto found = last_question_map_.find(device);
    if (found != last_question_map_.end()) {
        found->second.stopped = true;
    }
    if (device != all_devices_id_) {
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} stop command is for device 0, stop all questions in last_question_map_");
    // The activated devices only: a question of a device without a text record stays open.
    for (const auto& [activated, text] : text_record_map_) {
        VD_LOG(LogLevel::Debug, "{}:{} stop question record for device {}", activated);
        last_question_map_[activated].stopped = true;
    }
}

void VoteDeckObjectBase::EraseLastAnswer(const std::string& device) {
    VD_LOG_ENTRY();
    if (device == all_devices_id_) {
        VD_LOG(LogLevel::Debug, "{}:{} clear last_answer_map_");
        last_answer_map_.clear();
        return;
    }
    VD_LOG(LogLevel::Debug, "{}:{} erase last_answer_map_[{}]", device);
    last_answer_map_.erase(device);
}

QuestionRecord* VoteDeckObjectBase::FindLastQuestion(const std::string& device) {
    VD_LOG(LogLevel::Trace, "{}:{} device={}", device);
    const auto found = last_question_map_.find(device);
    VD_LOG(LogLevel::Debug, "{}:{} device={} found={}", device, found != last_question_map_.end());
    return found != last_question_map_.end() ? &found->second : nullptr;
}

bool VoteDeckObjectBase::IsLastAnswerFinished(const std::string& device) {
    VD_LOG_ENTRY();
    const auto question = last_question_map_.find(device);
    const auto answer = last_answer_map_.find(device);
    const bool finished = question != last_question_map_.end() && !question->second.stopped &&
                          answer != last_answer_map_.end() &&
                          answer->second.key_event.custom == question->second.ask.custom &&
                          answer->second.finished;
    VD_LOG(LogLevel::Debug, "{}:{} device_id={}, answer_finished={}", device, finished);
    return finished;
}

bool VoteDeckObjectBase::CheckLastQuestionCustom(const std::string& device, const std::string& custom) {
    VD_LOG_ENTRY();
    const QuestionRecord* const question = FindLastQuestion(device);
    const bool match = question != nullptr && !question->stopped && custom == question->ask.custom;
    VD_LOG(LogLevel::Debug, "{}:{} match={}", match);
    return match;
}

std::optional<bool> VoteDeckObjectBase::TakeKey(const std::string& device, std::int32_t key_value) {
    const QuestionRecord* const question = FindLastQuestion(device);
    if (question == nullptr || question->stopped || IsLastAnswerFinished(device)) {
        return std::nullopt;
    }
    AnswerRecord& answer = last_answer_map_[device];
    answer.key_event.device = device;
    answer.key_event.custom = question->ask.custom;
    return FilterKeyEvent(static_cast<std::int32_t>(question->ask.type), key_value, answer);
}

bool VoteDeckObjectBase::FilterKeyEvent(std::int32_t type, std::int32_t value, AnswerRecord& answer) {
    VD_LOG_ENTRY();
    VD_LOG(LogLevel::Debug, "{}:{} question_type={}, enKeyValue={}", type, value);
    bool counts = false;
    bool finishes = false;
    switch (static_cast<QuestionType>(type)) {
    case QuestionType::SingleChoice:
        counts = finishes = IsLetter(value);
        break;
    case QuestionType::MultipleChoice:
        if (value == kKeyT || value == kOtherKeyT) {
            VD_LOG(LogLevel::Debug, "{}:{} key T, commit");
            answer.finished = true;
        } else if (value == kKeyF || value == kOtherKeyF) {
            VD_LOG(LogLevel::Debug, "{}:{} key F, clear");
            answer.key_event.key.clear();
        } else if (IsLetter(value)) {
            const std::string letter = KeyToString(value);
            VD_LOG(LogLevel::Debug, "{}:{} key={}", letter);
            // In the order of the first press; a second press takes nothing away.
            std::string& keys = answer.key_event.key;
            if (keys.find(letter) == std::string::npos) {
                keys += letter;
                VD_LOG(LogLevel::Debug, "{}:{} save key{}, all keys={}", letter, keys);
            }
        }
        return answer.finished;
    case QuestionType::RedEnvelope:
        counts = finishes = value == kKeyG;
        break;
    case QuestionType::ContinousRedEnvelope:
        counts = value == kKeyG;
        break;
    case QuestionType::TrueFalse:
        counts = finishes = IsTrueOrFalse(value);
        break;
    case QuestionType::General:
    case QuestionType::MultipleQuestionSingleChoice:
        counts = true;
        break;
    case QuestionType::Audio:
    case QuestionType::VoiceEvaluationSingle:
    case QuestionType::VoiceEvaluationMultiple:
    case QuestionType::VoiceEvaluationMultiple_CHN:
    case QuestionType::VoiceEvaluation:
    case QuestionType::VoiceRecord:
    case QuestionType::None:
        break;
    }
    if (!counts) {
        return false;
    }
    answer.key_event.key = KeyToString(value);
    VD_LOG(LogLevel::Debug, "{}:{} key={}", answer.key_event.key);
    if (finishes) {
        answer.finished = true;
    }
    return true;
}

std::string VoteDeckObjectBase::KeyToString(std::int32_t value) const {
    VD_LOG_ENTRY();
    switch (value) {
    case kKeyA:
        return "A";
    case kKeyB:
        return "B";
    case kKeyC:
        return "C";
    case kKeyD:
        return "D";
    case kKeyT:
    case kOtherKeyT:
        return "T";
    case kKeyF:
    case kOtherKeyF:
        return "F";
    case kKeyG:
        return "G";
    default:
        return "";
    }
}

}  // namespace vdipc
