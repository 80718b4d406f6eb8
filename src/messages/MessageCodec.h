// JSON text to command records, event records to JSON text. Stateless: any thread may call any of it.
#pragma once

#include "messages/Commands.h"
#include "messages/Events.h"

#include <cstdint>
#include <string>

namespace vdipc {

class MessageCodec {
public:
    /// The number of the command that a text (UTF-8) holds, or -1 for everything that is no known command.
    static std::int32_t DecodeCommandType(const std::string& text);

    /// Fills the record; false when the text is not a complete command of the record's kind, or the record is
    /// null. Fields read before the failure stay filled. Keys of a wrong type fail where the key is required,
    /// else they are passed over.
    static bool DecodeCommand(const std::string& text, CommandInit* record);
    static bool DecodeCommand(const std::string& text, CommandAsk* record);
    static bool DecodeCommand(const std::string& text, CommandStop* record);
    static bool DecodeCommand(const std::string& text, CommandText* record);
    static bool DecodeCommand(const std::string& text, CommandHi* record);
    static bool DecodeCommand(const std::string& text, CommandDrop* record);
    static bool DecodeCommand(const std::string& text, CommandQuit* record);

    /// Reads a template event back out of a speech request's id.
    static bool DecodeEvent(const std::string& text, EventAudioRecognized* record);
    static bool DecodeEvent(const std::string& text, EventVoiceEvaluated* record);
    static bool DecodeEvent(const std::string& text, EventEvaluated* record);

    /// The finished text of an event, in UTF-8. A number without a wire name raises std::out_of_range.
    static std::string EncodeEvent(const EventDeviceInited& record);
    static std::string EncodeEvent(const EventArrived& record);
    static std::string EncodeEvent(const EventRemoved& record);
    static std::string EncodeEvent(const EventActivated& record);
    static std::string EncodeEvent(const EventInactivated& record);
    static std::string EncodeEvent(const EventKeyPressed& record);
    static std::string EncodeEvent(const EventAudioRecognized& record);
    static std::string EncodeEvent(const EventVoiceEvaluated& record);
    static std::string EncodeEvent(const EventEvaluated& record);
    static std::string EncodeEvent(const EventVoiceRecord& record);

    /// A new event id: 36 lower-case characters in the form of a GUID, whose last two pairs are always equal.
    static std::string GenerateEventId();
};

}  // namespace vdipc
