// The words of the protocol and their numbers. Records, device objects and telemetry use the numbers.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace vdipc {

enum class CommandType : std::int32_t { None = -1, Init = 0, Ask, Stop, Text, Hi, Drop, Quit };

enum class EventType : std::int32_t {
    DeviceInited = 0,
    Arrived,
    Removed,
    Activated,
    Inactivated,
    KeyPressed,
    AudioRecognized,
    VoiceEvaluated,
    Evaluated,
    VoiceRecord
};

enum class PreferredDeviceType : std::int32_t { None = -1, NonAudio = 0, Audio = 1, Any = 2 };

/// Kinds of receiver. None has a row of its own in the tables, the empty name.
enum class DeviceType : std::int32_t { None = -1, TQ1 = 0, TQ2 = 1, RV1 = 2, RV2 = 3, LW = 4 };

/// Why a receiver is not usable. A device status has two numbers more: -1 usable, -2 not known yet.
enum class DeviceStatusInfo : std::int32_t { None = -1, NoPower = 0, NotConnected = 1, IpNotSet = 2 };

inline constexpr std::int32_t kDeviceStatusUnknown = -2;
inline constexpr std::int32_t kDeviceStatusConnected = -1;
inline constexpr std::int32_t kDeviceStatusNoPower = 0;
inline constexpr std::int32_t kDeviceStatusNotConnected = 1;
inline constexpr std::int32_t kDeviceStatusIpNotSet = 2;

enum class QuestionType : std::int32_t {
    None = -1,
    SingleChoice = 0,
    MultipleChoice = 1,
    RedEnvelope = 2,
    ContinousRedEnvelope = 3,
    TrueFalse = 4,
    Audio = 5,
    VoiceEvaluationSingle = 6,
    VoiceEvaluationMultiple = 7,
    VoiceEvaluationMultiple_CHN = 8,
    VoiceEvaluation = 9,
    VoiceRecord = 10,
    General = 11,
    MultipleQuestionSingleChoice = 12
};

enum class HiArgumentType : std::int32_t { None = -1, Led = 0, Motor = 1, Beep = 2 };

enum class HiArgumentColor : std::int32_t {
    None = -1,
    Blue = 1,
    Green = 2,
    BlueGreen = 3,
    Red = 4,
    Magenta = 5,
    Yellow = 6,
    White = 7
};

/// The two constant tables of one enumeration. Look-ups that must not miss go through MapAt.
template <typename Number>
struct Vocabulary {
    std::map<std::string, Number> numbers;  // by wire name
    std::map<Number, std::string> names;    // by number
};

// Built at load time, before the library's first call; never changed.
extern const Vocabulary<CommandType> kCommandTypes;
extern const Vocabulary<EventType> kEventTypes;
extern const Vocabulary<PreferredDeviceType> kPreferredDeviceTypes;
extern const Vocabulary<DeviceType> kDeviceTypes;
extern const Vocabulary<DeviceStatusInfo> kDeviceStatusInfos;
extern const Vocabulary<DeviceStatusInfo> kEventRemovedInfos;  // copies of the tables above
extern const Vocabulary<QuestionType> kQuestionTypes;
extern const Vocabulary<HiArgumentType> kHiArgumentTypes;
extern const Vocabulary<HiArgumentColor> kHiArgumentColors;

}  // namespace vdipc
