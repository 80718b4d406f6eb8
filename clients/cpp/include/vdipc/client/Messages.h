// The messages of the protocol as types: commands to be sent, events that come. They say what the JSON schemas say, and
// stand on the standard library alone; JSON appears as UTF-8 text.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vdipc::client {

// ---- commands -------------------------------------------------------------------------------------------------------

/// In place of a keypad's number: all keypads.
inline constexpr std::uint32_t kAllKeypads = 0;

enum class ReceiverChoice { NonAudio, Audio, Any };

enum class QuestionType {
    SingleChoice,
    MultipleChoice,
    RedEnvelope,
    ContinuousRedEnvelope,
    TrueFalse,
    Audio,
    AudioSingle,
    AudioMultiple,
    AudioMultipleChinese,
    Evaluation,
    VoiceRecord,
    General,
    MultipleQuestionSingleChoice
};

enum class SignalType { Led, Motor, Beep };
enum class Color { Blue, Green, BlueGreen, Red, Magenta, Yellow, White };

/// Texts are UTF-8. A row that is left out stays as it is; an empty one is cleared.
using OptionalText = std::optional<std::string>;

struct Init {
    ReceiverChoice receivers = ReceiverChoice::Any;
    OptionalText id{};
};

/// What spoken answers are held against.
struct SpeechContext {
    OptionalText param{};  // a JSON object, for the speech service
    std::optional<std::vector<std::string>> stems{};
    OptionalText audio_file_name_prefix{};
};

struct Ask {
    std::uint32_t device = kAllKeypads;
    QuestionType type = QuestionType::SingleChoice;
    OptionalText row1{};
    OptionalText row2{};
    OptionalText row3{};
    OptionalText custom{};  // comes back with each answer
    std::optional<SpeechContext> context{};
    OptionalText id{};
};

struct Stop {
    std::uint32_t device = kAllKeypads;
    OptionalText row1{};
    OptionalText row2{};
    OptionalText row3{};
    OptionalText id{};
};

struct Text {
    std::uint32_t device = kAllKeypads;
    OptionalText row1{};
    OptionalText row2{};
    OptionalText row3{};
    OptionalText id{};
};

struct Signal {
    SignalType type = SignalType::Beep;
    std::int32_t times = 1;
    std::int32_t interval = 0;
    std::int32_t duration = 0;
    std::optional<Color> color{};  // a lamp needs it
};

struct Hi {
    std::uint32_t device = kAllKeypads;
    std::vector<Signal> signals{};
    OptionalText id{};
};

/// Drops one keypad; all at once can't be dropped.
struct Drop {
    std::uint32_t device = 1;
    OptionalText id{};
};

/// Asks the host process to end.
struct Quit {
    OptionalText id{};
};

using Command = std::variant<Init, Ask, Stop, Text, Hi, Drop, Quit>;

/// The JSON text of a command. Raises std::invalid_argument for what the library would refuse without a word: a text that
/// is no UTF-8, parameters that are no JSON object, a lamp without colour.
std::string ToJson(const Command& command);

// ---- events ---------------------------------------------------------------------------------------------------------

enum class ReceiverKind { TQ1, TQ2, RV1, RV2, LW };

/// Why no receiver is ready.
enum class Reason { NoPower, NotConnected, IpNotSet };

struct ReceiverInfo {
    std::string uid;
    std::string software_version;
    std::string hardware_version;
    std::string company;
    std::string channel;
    std::string tx_power;
};

struct DeviceInited {
    std::string id;
    std::vector<ReceiverKind> available;  // empty where the message has null
    std::map<ReceiverKind, ReceiverInfo> info;
    bool ready = false;
    std::optional<Reason> reason;
};

struct Arrived {
    std::string id;
};

struct Removed {
    std::string id;
    std::optional<Reason> reason;
};

struct Activated {
    std::string id;
    std::uint32_t device = 0;
};

struct Inactivated {
    std::string id;
    std::uint32_t device = 0;
};

struct KeyPressed {
    std::string id;
    std::uint32_t device = 0;
    std::string key;
    std::string extra;
    std::string custom;
};

struct SpeechResult {
    std::int64_t start_time = 0;
    std::int64_t end_time = 0;
    std::string result;
    std::int32_t score = 0;
    double lost_package_rate = 0.0;
};

struct AudioRecognized {
    std::string id;
    std::uint32_t device = 0;
    std::string key;
    SpeechResult data;
    std::string extra;  // name of the saved recording
    std::string custom;
};

struct VoiceEvaluated {
    std::string id;
    std::uint32_t device = 0;
    std::string key;
    SpeechResult data;
    std::string extra;
    std::string custom;
};

struct Evaluated {
    std::string id;
    std::uint32_t device = 0;
    std::int32_t error = 0;
    double lost_package_rate = 0.0;
    OptionalText raw_result;  // a JSON object, as the speech service gave it
    std::string extra;
    std::string custom;
};

struct VoiceRecord {
    std::uint32_t device = 0;
    double lost_package_rate = 0.0;
    std::string extra;
    std::string custom;
};

/// A message that this client doesn't know, perhaps a later library's.
struct UnknownEvent {
    std::string why;
};

using Event = std::variant<DeviceInited, Arrived, Removed, Activated, Inactivated, KeyPressed,
                           AudioRecognized, VoiceEvaluated, Evaluated, VoiceRecord, UnknownEvent>;

/// The event that a JSON text holds. What doesn't say what the schemas say is an UnknownEvent; keys that a later library
/// may add are passed over.
Event ParseEvent(const std::string& json);

// ---- words ----------------------------------------------------------------------------------------------------------

/// The words of the protocol.
const char* Word(ReceiverChoice value);
const char* Word(QuestionType value);
const char* Word(SignalType value);
const char* Word(Color value);
const char* Word(ReceiverKind value);
const char* Word(Reason value);

}  // namespace vdipc::client
