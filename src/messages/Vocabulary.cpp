#include "messages/Vocabulary.h"

#include <initializer_list>
#include <utility>

namespace vdipc {

namespace {

template <typename Number>
Vocabulary<Number> MakeVocabulary(std::initializer_list<std::pair<const char*, Number>> rows) {
    Vocabulary<Number> vocabulary;
    for (const auto& [name, number] : rows) {
        vocabulary.numbers.emplace(name, number);
        vocabulary.names.emplace(number, name);
    }
    return vocabulary;
}

}  // namespace

// All tables stand in this one unit, since its order is the order in which they are built.

const Vocabulary<CommandType> kCommandTypes = MakeVocabulary<CommandType>({
    {"init", CommandType::Init},
    {"ask", CommandType::Ask},
    {"stop", CommandType::Stop},
    {"text", CommandType::Text},
    {"hi", CommandType::Hi},
    {"drop", CommandType::Drop},
    {"quit", CommandType::Quit},
});

const Vocabulary<EventType> kEventTypes = MakeVocabulary<EventType>({
    {"device-inited", EventType::DeviceInited},
    {"arrived", EventType::Arrived},
    {"removed", EventType::Removed},
    {"activated", EventType::Activated},
    {"inactivated", EventType::Inactivated},
    {"key-pressed", EventType::KeyPressed},
    {"audio-recognized", EventType::AudioRecognized},
    {"voice-evaluated", EventType::VoiceEvaluated},
    {"evaluated", EventType::Evaluated},
    {"voice-record", EventType::VoiceRecord},
});

const Vocabulary<PreferredDeviceType> kPreferredDeviceTypes = MakeVocabulary<PreferredDeviceType>({
    {"non-audio", PreferredDeviceType::NonAudio},
    {"audio", PreferredDeviceType::Audio},
    {"any", PreferredDeviceType::Any},
});

const Vocabulary<DeviceType> kDeviceTypes = MakeVocabulary<DeviceType>({
    {"", DeviceType::None},
    {"TQ1", DeviceType::TQ1},
    {"TQ2", DeviceType::TQ2},
    {"RV1", DeviceType::RV1},
    {"RV2", DeviceType::RV2},
    {"LW", DeviceType::LW},
});

const Vocabulary<DeviceStatusInfo> kDeviceStatusInfos = MakeVocabulary<DeviceStatusInfo>({
    {"no-power", DeviceStatusInfo::NoPower},
    {"not-connected", DeviceStatusInfo::NotConnected},
    {"ip-not-set", DeviceStatusInfo::IpNotSet},
});

// Stays behind the tables that it copies.
const Vocabulary<DeviceStatusInfo> kEventRemovedInfos = kDeviceStatusInfos;

const Vocabulary<QuestionType> kQuestionTypes = MakeVocabulary<QuestionType>({
    {"single-choice", QuestionType::SingleChoice},
    {"multiple-choice", QuestionType::MultipleChoice},
    {"red-envelope", QuestionType::RedEnvelope},
    {"continous-red-envelope", QuestionType::ContinousRedEnvelope},
    {"true-false", QuestionType::TrueFalse},
    {"audio", QuestionType::Audio},
    {"audio-single", QuestionType::VoiceEvaluationSingle},
    {"audio-multiple", QuestionType::VoiceEvaluationMultiple},
    {"audio-multiple-chn", QuestionType::VoiceEvaluationMultiple_CHN},
    {"evaluation", QuestionType::VoiceEvaluation},
    {"voice-record", QuestionType::VoiceRecord},
    {"general", QuestionType::General},
    {"multiple-question-single-choice", QuestionType::MultipleQuestionSingleChoice},
});

const Vocabulary<HiArgumentType> kHiArgumentTypes = MakeVocabulary<HiArgumentType>({
    {"led", HiArgumentType::Led},
    {"motor", HiArgumentType::Motor},
    {"beep", HiArgumentType::Beep},
});

const Vocabulary<HiArgumentColor> kHiArgumentColors = MakeVocabulary<HiArgumentColor>({
    {"blue", HiArgumentColor::Blue},
    {"green", HiArgumentColor::Green},
    {"blue-green", HiArgumentColor::BlueGreen},
    {"red", HiArgumentColor::Red},
    {"magenta", HiArgumentColor::Magenta},
    {"yellow", HiArgumentColor::Yellow},
    {"white", HiArgumentColor::White},
});

}  // namespace vdipc
