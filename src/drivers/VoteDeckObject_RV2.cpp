#include "drivers/VoteDeckObject_RV2.h"

#include "common/Log.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vdipc {
namespace {

constexpr std::uint16_t kStationPort = 4567;
constexpr std::uint16_t kStationTimeout = 10000;
constexpr std::int32_t kSessionMode = 6;

std::uint16_t Narrow(std::int32_t value) {
    return static_cast<std::uint16_t>(value);
}

}  // namespace

VoteDeckObject_RV2::VoteDeckObject_RV2() : VoteDeckObjectBase(DeviceType::RV2) {
    VD_LOG_ENTRY();
}

VoteDeckObject_RV2::~VoteDeckObject_RV2() {
    VD_LOG_ENTRY();
    StopStatusCheck();
    if (deck_ != nullptr) {
        deck_->CloseSocket();
    }
}

std::int32_t VoteDeckObject_RV2::Initialize() {
    VD_LOG_ENTRY();
    StopStatusCheck();
    status_ = kDeviceStatusUnknown;
    // No bound and no pause: start-up waits for the script's answer.
    while (status_ == kDeviceStatusUnknown) {
        status_ = ProbeBaseStation();
    }
    if (status_ == kDeviceStatusNoPower) {
        VD_LOG(LogLevel::Info, "{}:{} rv2.0 power off");
    } else if (status_ == kDeviceStatusNotConnected) {
        VD_LOG(LogLevel::Info, "{}:{} rv2.0 usb not connected");
    } else if (OpenSocket()) {
        VD_LOG(LogLevel::Info, "{}:{} rv2.0 init socket ok, start session");
        deck_->SetSessionMode(kSessionMode, 0);
        deck_->StartSession();
        deck_->SetSessionEnabled(true);
        status_ = kDeviceStatusConnected;
    } else {
        VD_LOG(LogLevel::Info, "{}:{} rv2.0 init socket failed");
        status_ = kDeviceStatusIpNotSet;
    }
    StartStatusCheck();
    return status_;
}

bool VoteDeckObject_RV2::OpenSocket() {
    if (deck_ != nullptr) {
        deck_->CloseSocket();
    }
    DeleteSdkConfigFile();
    if (deck_ == nullptr) {
        deck_ = CreateVoteDeckObj();
        if (deck_ != nullptr) {
            deck_->SetListener(this);
        }
    }
    return deck_ != nullptr && deck_->InitSocket(StationAddress(), kStationPort, kStationTimeout) == 0;
}

void VoteDeckObject_RV2::Uninitialize() {
    VD_LOG_ENTRY();
    StopStatusCheck();
    if (deck_ != nullptr) {
        deck_->CloseSocket();
    }
}

void VoteDeckObject_RV2::HandleHi(const CommandHi& hi) {
    VD_LOG_ENTRY();
    if (deck_ == nullptr) {
        return;
    }
    for (const std::string& target : TargetsOf(hi.device)) {
        for (const CommandHi::Argument& argument : hi.arguments) {
            const std::uint16_t duration = Narrow(argument.duration);
            const std::uint16_t interval = Narrow(argument.interval);
            const std::uint16_t times = Narrow(argument.times);
            switch (argument.type) {
            case HiArgumentType::Led: {
                const std::uint32_t device = ParseDeviceID(target);
                const EnumFlashingColor color = ConvertColor(argument.color);
                VD_LOG(LogLevel::Info,
                       "{}:{} rv2.0 SendFlashing device={}, color={}, duration={}, interval={}, times={}",
                       device, static_cast<std::int32_t>(color), duration, interval, times);
                deck_->SendFlashing(device, color, duration, interval, times);
                break;
            }
            case HiArgumentType::Motor: {
                const std::uint32_t device = ParseDeviceID(target);
                VD_LOG(LogLevel::Info,
                       "{}:{} rv2.0 SendVibrate device={}, duration={}, interval={}, times={}", device,
                       duration, interval, times);
                deck_->SendVibrate(device, duration, interval, times);
                break;
            }
            case HiArgumentType::Beep: {
                const std::uint32_t device = ParseDeviceID(target);
                VD_LOG(LogLevel::Info, "{}:{} rv2.0 SendAlarm device={}, duration={}, interval={}, times={}",
                       device, duration, interval, times);
                deck_->SendAlarm(device, duration, interval, times);
                break;
            }
            case HiArgumentType::None:
                break;
            }
        }
    }
}

void VoteDeckObject_RV2::StartQuestion(const std::string& device, QuestionType type) {
    VD_LOG_ENTRY();
    if (deck_ == nullptr) {
        return;
    }
    const EnumQuestionType converted = ConvertQuestionType(type);
    VD_LOG(LogLevel::Info, "{}:{} rv2.0 StartQuestion type={} device_id={}",
           static_cast<std::int32_t>(converted), device);
    deck_->StartQuestion(converted, "", "", "", 0, true, static_cast<std::uint16_t>(ParseDeviceID(device)));
}

void VoteDeckObject_RV2::StopQuestion(const std::string& device) {
    VD_LOG_ENTRY();
    if (deck_ == nullptr) {
        return;
    }
    VD_LOG(LogLevel::Info, "{}:{} rv2.0 EndQuestion device_id={}", device);
    deck_->EndQuestion(ParseDeviceID(device), "");
}

void VoteDeckObject_RV2::SetText(const std::string& device, bool has_row1, const std::string& row1,
                                 bool has_row2, const std::string& row2, bool has_row3,
                                 const std::string& row3) {
    VD_LOG_ENTRY();
    Rows rows = {{{has_row1, row1}, {has_row2, row2}, {has_row3, row3}}};
    if (deck_ == nullptr) {
        return;
    }
    for (Row& row : rows) {
        if (row.changed && row.text.empty()) {
            row.text = " ";
        }
    }
    const std::vector<CommandText*> records = TextRecordsOf(device);
    if (records.empty() && device != all_devices_id_) {
        VD_LOG(LogLevel::Info,
               "{}:{} rv2.0  device has been dropped but still SetContext device_id={}, row1='{}', "
               "row2='{}', row3='{}'",
               device, rows[0].text, rows[1].text, rows[2].text);
        SendRows(device, rows[0].text, rows[1].text, rows[2].text);
    }
    for (CommandText* const record : records) {
        StoreRows(*record, rows);
        VD_LOG(LogLevel::Info, "{}:{} rv2.0 SendContext device_id={}, row1='{}', row2='{}', row3='{}'",
               record->device, record->row1, record->row2, record->row3);
        SendRows(record->device, record->row1, record->row2, record->row3);
    }
}

void VoteDeckObject_RV2::StoreRows(CommandText& record, const Rows& rows) {
    std::string* const shown[] = {&record.row1, &record.row2, &record.row3};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].changed) {
            *shown[i] = rows[i].text;
        }
    }
}

void VoteDeckObject_RV2::SendRows(const std::string& device, const std::string& row1, const std::string& row2,
                                  const std::string& row3) {
    deck_->SendContext(row1.c_str(), row2.c_str(), row3.c_str(), 0,
                       static_cast<std::uint16_t>(ParseDeviceID(device)));
}

EnumQuestionType VoteDeckObject_RV2::ConvertQuestionType(QuestionType type) {
    switch (type) {
    case QuestionType::SingleChoice:
        return EnumQuestionType{2};
    case QuestionType::RedEnvelope:
    case QuestionType::ContinousRedEnvelope:
        return EnumQuestionType{4};
    case QuestionType::TrueFalse:
        return EnumQuestionType{1};
    case QuestionType::Audio:
    case QuestionType::VoiceEvaluationSingle:
    case QuestionType::VoiceEvaluationMultiple:
    case QuestionType::VoiceEvaluationMultiple_CHN:
    case QuestionType::VoiceEvaluation:
    case QuestionType::VoiceRecord:
        return EnumQuestionType{3};
    case QuestionType::MultipleChoice:
    case QuestionType::General:
    case QuestionType::MultipleQuestionSingleChoice:
    case QuestionType::None:
        break;
    }
    return EnumQuestionType{0};
}

EnumFlashingColor VoteDeckObject_RV2::ConvertColor(HiArgumentColor color) {
    switch (color) {
    case HiArgumentColor::Blue:
    case HiArgumentColor::Green:
    case HiArgumentColor::BlueGreen:
    case HiArgumentColor::Magenta:
    case HiArgumentColor::Yellow:
    case HiArgumentColor::White:
        return static_cast<EnumFlashingColor>(color);
    case HiArgumentColor::Red:
    case HiArgumentColor::None:
        break;
    }
    return EnumFlashingColor{4};
}

}  // namespace vdipc
