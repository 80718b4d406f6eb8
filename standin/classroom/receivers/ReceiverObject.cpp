#include "classroom/receivers/ReceiverObject.h"

#include "classroom/receivers/Receiver.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>

/// The outcome of a call, which nobody reads.
struct CallBackInfo {
    int code = 0;
};

namespace vdipc::classroom {
namespace {

constexpr std::int32_t kEndQuestion = 128;
constexpr std::int32_t kLock = 17;
constexpr std::int32_t kUnlock = 18;

}  // namespace

ReceiverObject::ReceiverObject(World& world, Receiver& receiver, Kind kind, const std::string& name)
    : world_(world), receiver_(receiver), kind_(kind), name_(name) {}

void ReceiverObject::Saw(const char* call, const Json::Value& args, const Json::Value& result) {
    world_.journal.Saw(ThePlace(), call, args, result);
}

void ReceiverObject::Misuse(const char* call, const std::string& text) {
    world_.journal.Misuse(ThePlace(), call, text);
}

void ReceiverObject::CheckAlive(const char* call) {
    if (deleted_) {
        Misuse(call, "the receiver was deleted");
    }
}

bool ReceiverObject::Reaches() const {
    return !deleted_ && receiver_.IsConnected() && world_.faults[kind_].Find(fault_word::kOff) == nullptr;
}

void ReceiverObject::Delete() {
    deleted_ = true;
    gate.Set(nullptr);
    link_gate.Set(nullptr);
}

void* ReceiverObject::DeletingDestructor(unsigned int flags) {
    Json::Value args;
    args["flags"] = flags;
    Saw("DeletingDestructor", args);
    CheckAlive("DeletingDestructor");
    if (flags != 1) {
        Misuse("DeletingDestructor", "the flags are 1");
    }
    if (gate.IsSet()) {
        Misuse("DeletingDestructor", "the listener was not taken away before");
    }
    Delete();
    return this;
}

void ReceiverObject::SetListener(IVoteDeckEventOld* listener) {
    Json::Value args;
    args["listener"] = listener != nullptr;
    Saw("IVoteDeck::SetListener", args);
    CheckAlive("IVoteDeck::SetListener");
    if (deleted_) {
        return;
    }
    {
        const std::lock_guard lock(world_.mutex);
        world_.keypads.ForEach(kind_, 0, [](std::uint32_t, Keypad& keypad) { keypad.announced = false; });
        receiver_.binding_ = false;
    }
    gate.Set(listener);
}

void ReceiverObject::SendQuestion(VoteDeckCallback callback, EnumQuestionType type, std::uint32_t device) {
    const auto number = static_cast<std::int32_t>(type);
    Json::Value args;
    args["type"] = number;
    args["name"] = number == kEndQuestion ? Json::Value("end")
                   : number == kLock      ? Json::Value("lock")
                   : number == kUnlock    ? Json::Value("unlock")
                                          : QuestionToJson(kind_, number)["name"];
    args["device"] = device;
    Saw("SendQuestion", args);
    CheckAlive("SendQuestion");
    const bool locks = number == kLock || number == kUnlock;
    if (locks && kind_ != Kind::TQ2) {
        Misuse("SendQuestion", "only a TQ2 can lock keypads");
    } else if (!locks && number != kEndQuestion && number != 8 && (number < 0 || number > 6)) {
        Misuse("SendQuestion", "there is no question type " + std::to_string(number));
    }
    {
        const std::lock_guard lock(world_.mutex);
        if (Reaches()) {
            if (device == 0 && !locks) {
                receiver_.question_ = number == kEndQuestion ? std::nullopt : std::optional(number);
            }
            world_.keypads.ForEach(kind_, device, [&](std::uint32_t, Keypad& keypad) {
                if (locks) {
                    keypad.locked = number == kLock;
                } else if (number == kEndQuestion) {
                    keypad.question.reset();
                } else {
                    keypad.question = number;
                }
            });
        }
    }
    Complete(callback);
}

void ReceiverObject::SetContext(std::int32_t zero1, std::uint32_t device, const char* row1, const char* row2,
                                const char* row3, std::int32_t zero2) {
    const std::string rows[] = {Text(row1), Text(row2), Text(row3)};
    Json::Value args;
    args["zero1"] = zero1;
    args["device"] = device;
    args["row1"] = RowToJson(kind_, rows[0]);
    args["row2"] = RowToJson(kind_, rows[1]);
    args["row3"] = RowToJson(kind_, rows[2]);
    args["zero2"] = zero2;
    Saw("SetContext", args);
    CheckAlive("SetContext");
    if (row1 == nullptr || row2 == nullptr || row3 == nullptr) {
        Misuse("SetContext", "a row is null");
    }
    if (zero1 != 0 || zero2 != 0) {
        Misuse("SetContext", "the first and the last argument are 0");
    }
    if (kind_ == Kind::LW && !std::all_of(std::begin(rows), std::end(rows), &IsUtf8)) {
        Misuse("SetContext", "LW takes rows in UTF-8");
    }
    const std::lock_guard lock(world_.mutex);
    if (Reaches()) {
        world_.keypads.ForEach(kind_, device, [&rows](std::uint32_t, Keypad& keypad) {
            std::copy(std::begin(rows), std::end(rows), std::begin(keypad.rows));
            ++keypad.texts;
        });
    }
}

bool ReceiverObject::IsConnected() {
    bool connected = false;
    {
        const std::lock_guard lock(world_.mutex);
        connected = receiver_.IsConnected() && !deleted_;
    }
    Saw("IsConnected", Json::Value(), connected);
    CheckAlive("IsConnected");
    return connected;
}

void ReceiverObject::Activate(std::uint32_t device, std::uint8_t beep_times, std::uint8_t beep_unit,
                              std::uint8_t beep_interval, std::uint8_t motor_times, std::uint8_t motor_unit,
                              std::uint8_t motor_interval, std::uint8_t light_times, std::uint8_t light_unit,
                              std::uint8_t light_interval, std::uint8_t light_color) {
    Json::Value args;
    args["device"] = device;
    args["beep_times"] = beep_times;
    args["beep_unit"] = beep_unit;
    args["beep_interval"] = beep_interval;
    args["motor_times"] = motor_times;
    args["motor_unit"] = motor_unit;
    args["motor_interval"] = motor_interval;
    args["light_times"] = light_times;
    args["light_unit"] = light_unit;
    args["light_interval"] = light_interval;
    args["light_color"] = light_color;
    Saw("Activate", args);
    CheckAlive("Activate");
    if (light_color < 1 || light_color > 7) {
        Misuse("Activate", "there is no colour " + std::to_string(light_color));
    }
    const std::lock_guard lock(world_.mutex);
    if (Reaches()) {
        world_.keypads.ForEach(kind_, device, [&](std::uint32_t, Keypad& keypad) {
            keypad.beeper = {0,
                             beep_unit,
                             beep_interval,
                             beep_times,
                             keypad.beeper.count + 1,
                             world_.journal.Milliseconds()};
            keypad.motor = {0,
                            motor_unit,
                            motor_interval,
                            motor_times,
                            keypad.motor.count + 1,
                            world_.journal.Milliseconds()};
            keypad.lamp = {light_color,           light_unit,
                           light_interval,        light_times,
                           keypad.lamp.count + 1, world_.journal.Milliseconds()};
        });
    }
}

void ReceiverObject::Reserved0() {
    Misuse("control slot 0", "a reserved slot was called");
}

void ReceiverObject::Reserved5() {
    Misuse("control slot 5", "a reserved slot was called");
}

void ReceiverObject::Reserved7() {
    Misuse("control slot 7", "a reserved slot was called");
}

void ReceiverObject::SetListener(IInternalEventListener* listener) {
    Json::Value args;
    args["listener"] = listener != nullptr;
    Saw("IVoteDeckControl::SetListener", args);
    CheckAlive("IVoteDeckControl::SetListener");
    if (!deleted_) {
        link_gate.Set(listener);
    }
}

void ReceiverObject::DeviceArrived(std::int32_t device_kind, const wchar_t* path) {
    Json::Value args;
    args["device_kind"] = device_kind;
    args["path"] = path == nullptr ? Json::Value() : Json::Value(platform::Utf8FromWide(path));
    Saw("DeviceArrived", args);
    CheckAlive("DeviceArrived");
    if (path == nullptr) {
        Misuse("DeviceArrived", "the path is null");
    }
}

void ReceiverObject::DeviceRemoved(std::int32_t device_kind, const wchar_t* path) {
    Json::Value args;
    args["device_kind"] = device_kind;
    args["path"] = path == nullptr ? Json::Value() : Json::Value(platform::Utf8FromWide(path));
    Saw("DeviceRemoved", args);
    CheckAlive("DeviceRemoved");
    if (path == nullptr) {
        Misuse("DeviceRemoved", "the path is null");
    }
}

void ReceiverObject::HandleIOError() {
    Saw("HandleIOError", Json::Value());
    CheckAlive("HandleIOError");
    bool comes_back = false;
    {
        const std::lock_guard lock(world_.mutex);
        comes_back = receiver_.plugged_ && !receiver_.down_after_error_;
        receiver_.down_after_error_ = false;
    }
    world_.RunOnLane(
        [this, comes_back] {
            receiver_.SetLink(false, std::nullopt, false);
            int calls = receiver_.TellConnected(false);
            if (comes_back) {
                receiver_.SetLink(true, std::nullopt, false);
                calls += receiver_.TellConnected(true);
            }
            return calls;
        },
        false);
}

const char* ReceiverObject::QueryDeviceInfo() {
    auto text = std::make_shared<std::string>();
    std::shared_ptr<std::string> former;
    {
        const std::lock_guard lock(world_.mutex);
        if (receiver_.IsConnected() && !deleted_) {
            *text = receiver_.device_info_;
            if (world_.faults[kind_].Find(fault_word::kGarbage) != nullptr) {
                for (char& c : *text) {
                    c = static_cast<char>(1 + world_.chance.Below(255));
                }
            }
        }
        former = std::exchange(device_info_, text);
    }
    Saw("QueryDeviceInfo", Json::Value(), ShownUtf8(*text));
    CheckAlive("QueryDeviceInfo");
    if (former != nullptr) {
        std::fill(former->begin(), former->end(), '\xDD');
        world_.graveyard.Bury(former, former->data(), former->size());
    }
    return text->c_str();
}

void ReceiverObject::SetChannel(VoteDeckCallback callback, std::int32_t channel) {
    Json::Value args;
    args["channel"] = channel;
    Saw("SetChannel", args);
    CheckAlive("SetChannel");
    {
        const std::lock_guard lock(world_.mutex);
        if (Reaches() && receiver_.accepts_channel) {
            receiver_.SetChannel(channel);
        }
    }
    Complete(callback);
}

void ReceiverObject::EnableBindCard(VoteDeckCallback callback) {
    Saw("EnableBindCard", Json::Value());
    CheckAlive("EnableBindCard");
    if (!gate.IsSet()) {
        Misuse("EnableBindCard", "there is no listener");
    }
    {
        const std::lock_guard lock(world_.mutex);
        receiver_.binding_ = true;
    }
    Complete(callback);
    receiver_.Announce();
}

void ReceiverObject::Complete(const VoteDeckCallback& callback) {
    if (!callback || deleted_) {
        return;
    }
    world_.RunOnLane(
        [this, callback] {
            gate.Call([&callback](IVoteDeckEventOld&) { callback(CallBackInfo()); });
            return 0;
        },
        false);
}

void ReceiverObject::HandOver(IVoteDeckEventOld& listener, const Signal& signal) {
    Json::Value args;
    args["ushDeviceID"] = signal.keypad;
    args["first_size"] = Json::UInt64(signal.first->size());
    args["second_size"] = Json::UInt64(signal.recording->size());
    args["crc32"] = Crc32(signal.recording->data(), signal.recording->size());
    args["lost_package_rate"] = static_cast<double>(signal.lost);
    Saw("-> OnAudioDataReceived", args);
    const auto first = std::make_shared<Bytes>(*signal.first);
    const auto second = std::make_shared<Bytes>(*signal.recording);
    listener.OnAudioDataReceived(signal.keypad, first->data(), static_cast<std::uint32_t>(first->size()),
                                 second->data(), static_cast<std::uint32_t>(second->size()), signal.lost);
    for (const std::shared_ptr<Bytes>& buffer : {first, second}) {
        Overwrite(*buffer);
        world_.graveyard.Bury(buffer, buffer->data(), buffer->size());
    }
}

}  // namespace vdipc::classroom
