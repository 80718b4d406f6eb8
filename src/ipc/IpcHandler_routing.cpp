// From a message on the pipe to calls on the device objects.
#include "common/Log.h"
#include "common/StandardErrors.h"
#include "ipc/IpcHandler.h"
#include "messages/MessageCodec.h"

#include <type_traits>
#include <utility>
#include <vector>

namespace vdipc {

namespace {

/// What a command's telemetry record holds behind "Action" and "uniq_id", in order.
using Fields = std::vector<std::pair<const char*, std::string>>;

template <typename Command>
void AppendRows(const Command& command, Fields& fields) {
    if (command.has_row1) {
        fields.emplace_back("row1", command.row1);
    }
    if (command.has_row2) {
        fields.emplace_back("row2", command.row2);
    }
    if (command.has_row3) {
        fields.emplace_back("row3", command.row3);
    }
}

Fields FieldsOf(const CommandInit& command) {
    return {{"preferred-device-type", MapAt(kPreferredDeviceTypes.names, command.preferred_device_type)}};
}

Fields FieldsOf(const CommandAsk& command) {
    Fields fields{{"type", MapAt(kQuestionTypes.names, command.type)}, {"device", command.device}};
    AppendRows(command, fields);
    fields.emplace_back("custom", command.custom);
    fields.emplace_back("audio-file-name-prefix", command.audio_file_name_prefix);
    return fields;
}

Fields FieldsOf(const CommandStop& command) {
    Fields fields{{"device", command.device}};
    AppendRows(command, fields);
    return fields;
}

Fields FieldsOf(const CommandText& command) {
    Fields fields{{"device", command.device}};
    AppendRows(command, fields);
    return fields;
}

Fields FieldsOf(const CommandHi& command) {
    return {{"device", command.device}};
}

Fields FieldsOf(const CommandDrop& command) {
    return {{"device", command.device}};
}

Fields FieldsOf(const CommandQuit&) {
    return {};
}

/// The commands that carry more than their record keeps are reported with the whole text.
template <typename Command>
constexpr bool kHasFullMessage = std::is_same_v<Command, CommandAsk> || std::is_same_v<Command, CommandHi>;

}  // namespace

void IpcHandler::OnIpcMsgReceived(const std::string& text) {
    PostTask([this, text] { RouteMessage(text); });
}

void IpcHandler::RouteMessage(const std::string& text) {
    VD_LOG(LogLevel::Debug, "{}:{} task begin msg={}", text);
    const auto number = static_cast<std::uint32_t>(MessageCodec::DecodeCommandType(text));
    if (number > static_cast<std::uint32_t>(CommandType::Quit)) {
        return;
    }
    switch (static_cast<CommandType>(number)) {
    case CommandType::Init:
        RouteCommand<CommandInit>(text, "ipc_vdk_command_init",
                                  [this](const auto& command) { CallInit(command); });
        break;
    case CommandType::Ask:
        RouteCommand<CommandAsk>(text, "ipc_vdk_command_ask",
                                 [this](const auto& command) { CallAsk(command); });
        break;
    case CommandType::Stop:
        RouteCommand<CommandStop>(text, "ipc_vdk_command_stop",
                                  [this](const auto& command) { CallStop(command); });
        break;
    case CommandType::Text:
        RouteCommand<CommandText>(text, "ipc_vdk_command_text",
                                  [this](const auto& command) { CallText(command); });
        break;
    case CommandType::Hi:
        RouteCommand<CommandHi>(text, "ipc_vdk_command_hi", [this](const auto& command) { CallHi(command); });
        break;
    case CommandType::Drop:
        RouteCommand<CommandDrop>(text, "ipc_vdk_command_drop",
                                  [this](const auto& command) { CallDrop(command); });
        break;
    case CommandType::Quit:
        RouteCommand<CommandQuit>(text, "ipc_vdk_command_quit", [this](const auto&) { CallQuit(); });
        break;
    case CommandType::None:
        break;
    }
}

template <typename Command, typename Call>
void IpcHandler::RouteCommand(const std::string& text, const char* action, Call call) {
    Command command;
    if (!MessageCodec::DecodeCommand(text, &command)) {
        return;
    }
    if constexpr (std::is_same_v<Command, CommandQuit>) {
        VD_LOG(LogLevel::Warn, "{}:{} Quit command received, but not handle");
    }
    // Ahead of the command's effect, so that a command that is then ignored is reported too.
    CTrackwire record;
    record.Push(action_key_, action);
    record.Push(uniq_id_key_, command.id);
    for (const auto& [key, value] : FieldsOf(command)) {
        record.Push(key, value);
    }
    if constexpr (kHasFullMessage<Command>) {
        record.Push(full_msg_key_, text);
    }
    SendTrackwire(record);
    call(command);
}

void IpcHandler::CallInit(const CommandInit& command) {
    VD_LOG_ENTRY();
    preferred_device_type_ = command.preferred_device_type;
    VD_LOG(LogLevel::Debug, "{}:{} preferred_device_type={}",
           static_cast<std::int32_t>(preferred_device_type_));
    // A repeated "init" is a full restart of the hardware: everything goes down first, whatever it was.
    for (const auto& [device_type, object] : device_objects_) {
        if (object != nullptr) {
            active_devices_[device_type] = object->GetActivatedDeviceSet();
            object->Uninitialize();
        }
    }
    for (const DeviceType device_type : PreferredKinds()) {
        const auto& object = device_objects_[device_type];
        if (object != nullptr) {
            object->Initialize();
        }
    }
    UpdateDeviceInfoForTrackwire();
    SendEventDeviceInited();
    NotifyVoteDecksStatusChanged();
}

bool IpcHandler::IsCommandServed() {
    std::int32_t info = 0;
    std::vector<DeviceType> kinds;
    return IsAnyDeviceConnected(info, kinds);
}

template <typename Command>
void IpcHandler::CallEachObject(void (IVoteDeckObject::*target)(const Command&), const Command& command) {
    for (const auto& [device_type, object] : device_objects_) {
        if (object != nullptr) {
            ((*object).*target)(command);
        }
    }
}

void IpcHandler::CallAsk(const CommandAsk& command) {
    VD_LOG_ENTRY();
    if (!IsCommandServed()) {
        VD_LOG(LogLevel::Warn, "{}:{} Cause none device is inited, ignore command");
        return;
    }
    CallEachObject(&IVoteDeckObject::HandleAsk, command);
}

void IpcHandler::CallStop(const CommandStop& command) {
    VD_LOG_ENTRY();
    if (!IsCommandServed()) {
        VD_LOG(LogLevel::Warn, "{}:{} Cause none device is inited, ignore command");
        return;
    }
    CallEachObject(&IVoteDeckObject::HandleStop, command);
}

void IpcHandler::CallText(const CommandText& command) {
    VD_LOG_ENTRY();
    if (!IsCommandServed()) {
        VD_LOG(LogLevel::Warn, "{}:{} Cause none device is inited, ignore command");
        return;
    }
    CallEachObject(&IVoteDeckObject::HandleText, command);
}

void IpcHandler::CallHi(const CommandHi& command) {
    VD_LOG_ENTRY();
    if (!IsCommandServed()) {
        VD_LOG(LogLevel::Warn, "{}:{} Cause none device is inited, ignore command");
        return;
    }
    CallEachObject(&IVoteDeckObject::HandleHi, command);
}

void IpcHandler::CallDrop(const CommandDrop& command) {
    VD_LOG_ENTRY();
    if (!IsCommandServed()) {
        VD_LOG(LogLevel::Warn, "{}:{} Cause none device is inited, ignore command");
        return;
    }
    CallEachObject(&IVoteDeckObject::HandleDrop, command);
}

void IpcHandler::CallQuit() {
    VD_LOG_ENTRY();
    // Behind everything that is queued already. Ending is the host's affair.
    PostTask([this] {
        if (quit_callback_) {
            quit_callback_();
        }
    });
}

}  // namespace vdipc
