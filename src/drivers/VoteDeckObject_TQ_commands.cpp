// What the client orders, on its way down to the keypads.
#include "common/Log.h"
#include "common/TextEncoding.h"
#include "common/closed/Grundkit.h"
#include "drivers/VoteDeckObject_TQ.h"

namespace vdipc {
namespace {

std::uint8_t Narrow(std::int32_t value) {
    return static_cast<std::uint8_t>(value);
}

/// A row as an LW receiver wants it.
std::string RowInUtf8(const std::string& row) {
    return CStringConvert::WString2String(CStringConvert::String2WString(row, kActiveCodePage),
                                          kUtf8CodePage);
}

}  // namespace

void VoteDeckObject_TQ::HandleHi(const CommandHi& hi) {
    VD_LOG_ENTRY();
    if (!IsReceiverConnected()) {
        return;
    }
    const Signal signal = MakeSignal(hi.arguments);
    for (const std::string& target : TargetsOf(hi.device)) {
        VD_LOG(LogLevel::Info,
               "{}:{} Activate device_id={}, beep_times={}, beep_unit={}, beep_interval={}, motor_times={}, "
               "motor_unit={}, motor_interval={}, light_times={}, light_unit={}, light_interval={}, "
               "light_color={}",
               target, signal.beep_times, signal.beep_unit, signal.beep_interval, signal.motor_times,
               signal.motor_unit, signal.motor_interval, signal.light_times, signal.light_unit,
               signal.light_interval, signal.light_color);
        vote_deck_->Activate(ParseDeviceID(target), signal.beep_times, signal.beep_unit, signal.beep_interval,
                             signal.motor_times, signal.motor_unit, signal.motor_interval, signal.light_times,
                             signal.light_unit, signal.light_interval, signal.light_color);
    }
}

VoteDeckObject_TQ::Signal VoteDeckObject_TQ::MakeSignal(const std::vector<CommandHi::Argument>& arguments) {
    Signal signal;
    for (const CommandHi::Argument& argument : arguments) {
        const std::uint8_t times = Narrow(argument.times);
        const std::uint8_t unit = Narrow(argument.duration);
        const std::uint8_t interval = Narrow(argument.interval);
        switch (argument.type) {
        case HiArgumentType::Beep:
            signal.beep_times = times;
            signal.beep_unit = unit;
            signal.beep_interval = interval;
            break;
        case HiArgumentType::Motor:
            signal.motor_times = times;
            signal.motor_unit = unit;
            signal.motor_interval = interval;
            break;
        case HiArgumentType::Led:
            signal.light_times = times;
            signal.light_unit = unit;
            signal.light_interval = interval;
            signal.light_color = Narrow(ConvertColor(argument.color));
            break;
        case HiArgumentType::None:
            break;
        }
    }
    return signal;
}

void VoteDeckObject_TQ::HandleDrop(const CommandDrop& drop) {
    VD_LOG_ENTRY();
    VoteDeckObjectBase::HandleDrop(drop);
    if (device_type_ != DeviceType::LW || all_general_for_lw_) {
        return;
    }
    VD_LOG(LogLevel::Info, "{}:{} LW StartQuestion General when drop");
    StartQuestion(all_devices_id_, QuestionType::General);
    // Only now: StartQuestion refuses from here on.
    all_general_for_lw_ = true;
}

void VoteDeckObject_TQ::StartQuestion(const std::string& device, QuestionType type) {
    VD_LOG_ENTRY();
    if (device_type_ == DeviceType::LW && all_general_for_lw_) {
        VD_LOG(LogLevel::Info, "{}:{} LW donot start question");
        return;
    }
    if (!IsReceiverConnected()) {
        return;
    }
    const std::int32_t converted = ConvertQuestionType(type);
    VD_LOG(LogLevel::Info, "{}:{} SendQuestion type={}, device_id={}", converted, device);
    SendLibraryQuestion(converted, ParseDeviceID(device));
}

void VoteDeckObject_TQ::StopQuestion(const std::string& device) {
    VD_LOG_ENTRY();
    if (device_type_ == DeviceType::LW && all_general_for_lw_) {
        VD_LOG(LogLevel::Info, "{}:{} LW donot stop question");
        return;
    }
    if (!IsReceiverConnected()) {
        return;
    }
    VD_LOG(LogLevel::Info, "{}:{} SendQuestion device_id={}", device);
    SendLibraryQuestion(kEndQuestion, ParseDeviceID(device));
}

void VoteDeckObject_TQ::SendLibraryQuestion(std::int32_t type, std::uint32_t device) {
    vote_deck_->SendQuestion([](const CallBackInfo&) {}, EnumQuestionType{type}, device);
}

void VoteDeckObject_TQ::SetText(const std::string& device, bool has_row1, const std::string& row1,
                                bool has_row2, const std::string& row2, bool has_row3,
                                const std::string& row3) {
    VD_LOG_ENTRY();
    const Rows rows = {{{has_row1, row1}, {has_row2, row2}, {has_row3, row3}}};
    if (!IsReceiverConnected()) {
        return;
    }
    const bool for_all = device == all_devices_id_;
    const std::vector<CommandText*> records = TextRecordsOf(device);
    if (records.empty() && !for_all) {
        VD_LOG(LogLevel::Info,
               "{}:{} device has been dropped but still SetContext device_id={}, row1='{}', row2='{}', "
               "row3='{}'",
               device, row1, row2, row3);
        SendRows(device, row1, row2, row3);
    }
    for (CommandText* const record : records) {
        UpdateRecord(*record, rows);
        if (device_type_ == DeviceType::TQ2 && !for_all) {
            VD_LOG(LogLevel::Info, "{}:{} Setting context for special device {}, lock it!", device);
            SendLibraryQuestion(kLockDevice, ParseDeviceID(device));
        }
        VD_LOG(LogLevel::Info, "{}:{} SetContext device_id={}, row1='{}', row2='{}', row3='{}'",
               record->device, record->row1, record->row2, record->row3);
        SendRows(record->device, record->row1, record->row2, record->row3);
    }
}

void VoteDeckObject_TQ::UpdateRecord(CommandText& record, const Rows& rows) const {
    if (rows[0].changed) {
        record.row1 = rows[0].text;
    }
    if (rows[2].changed) {
        record.row3 = rows[2].text;
    }
    if (rows[1].changed) {
        // The keypads of LW show a second row in the place of the third, and it wins over one.
        (device_type_ == DeviceType::LW ? record.row3 : record.row2) = rows[1].text;
    }
}

void VoteDeckObject_TQ::SendRows(const std::string& device, const std::string& row1, const std::string& row2,
                                 const std::string& row3) {
    const std::uint32_t number = ParseDeviceID(device);
    if (device_type_ == DeviceType::LW) {
        vote_deck_->SetContext(0, number, RowInUtf8(row1).c_str(), RowInUtf8(row2).c_str(),
                               RowInUtf8(row3).c_str(), 0);
    } else {
        vote_deck_->SetContext(0, number, row1.c_str(), row2.c_str(), row3.c_str(), 0);
    }
}

EnumQuestionType VoteDeckObject_TQ::ConvertQuestionType(QuestionType type) {
    switch (type) {
    case QuestionType::SingleChoice:
        return EnumQuestionType{1};
    case QuestionType::MultipleChoice:
        return EnumQuestionType{4};
    case QuestionType::RedEnvelope:
        return EnumQuestionType{3};
    case QuestionType::ContinousRedEnvelope:
    case QuestionType::General:
        return EnumQuestionType{6};
    case QuestionType::TrueFalse:
        return EnumQuestionType{2};
    case QuestionType::Audio:
    case QuestionType::VoiceEvaluationSingle:
    case QuestionType::VoiceEvaluationMultiple:
    case QuestionType::VoiceEvaluationMultiple_CHN:
    case QuestionType::VoiceEvaluation:
    case QuestionType::VoiceRecord:
        return EnumQuestionType{8};
    case QuestionType::MultipleQuestionSingleChoice:
        return EnumQuestionType{5};
    case QuestionType::None:
        break;
    }
    return EnumQuestionType{0};
}

EnumFlashingColor VoteDeckObject_TQ::ConvertColor(HiArgumentColor color) {
    switch (color) {
    case HiArgumentColor::Blue:
        return EnumFlashingColor{3};
    case HiArgumentColor::Green:
        return EnumFlashingColor{2};
    case HiArgumentColor::BlueGreen:
        return EnumFlashingColor{6};
    case HiArgumentColor::Magenta:
        return EnumFlashingColor{5};
    case HiArgumentColor::Yellow:
        return EnumFlashingColor{4};
    case HiArgumentColor::White:
        return EnumFlashingColor{7};
    case HiArgumentColor::Red:
    case HiArgumentColor::None:
        break;
    }
    return EnumFlashingColor{1};
}

}  // namespace vdipc
