#include "classroom/station/StationObject.h"

#include "classroom/station/KeypadAudio.h"
#include "classroom/station/Station.h"

#include <iterator>
#include <optional>

namespace vdipc::classroom {
namespace {

constexpr std::uint32_t kAddress = 0xC0A8EA0AU;  // 192.168.234.10
constexpr std::uint16_t kPort = 4567;

constexpr std::int32_t kRefused = 1;
constexpr std::int32_t kNobodyThere = 2;
constexpr std::int32_t kTaken = 3;

}  // namespace

StationObject::StationObject(World& world, Station& station, int number)
    : world_(world), station_(station), name_("station " + std::to_string(number)) {}

void StationObject::Saw(const char* call, const Json::Value& args, const Json::Value& result) {
    world_.journal.Saw(ThePlace(), call, args, result);
}

void StationObject::Misuse(const char* call, const std::string& text) {
    world_.journal.Misuse(ThePlace(), call, text);
}

bool StationObject::Reaches() const {
    return open_ && world_.faults[Kind::RV2].Find(fault_word::kOff) == nullptr;
}

void StationObject::Reserved0() {
    Misuse("slot 0", "a reserved slot was called");
}

void StationObject::Reserved5() {
    Misuse("slot 5", "a reserved slot was called");
}

void StationObject::Reserved12() {
    Misuse("slot 12", "a reserved slot was called");
}

void StationObject::Reserved14() {
    Misuse("slot 14", "a reserved slot was called");
}

void StationObject::Reserved15() {
    Misuse("slot 15", "a reserved slot was called");
}

void StationObject::Reserved16() {
    Misuse("slot 16", "a reserved slot was called");
}

void StationObject::SetListener(IVoteDeckEvent* listener) {
    Json::Value args;
    args["listener"] = listener != nullptr;
    Saw("SetListener", args);
    bool again = false;
    bool open = false;
    {
        const std::lock_guard lock(world_.mutex);
        again = listener_ != nullptr && listener != nullptr;
        listener_ = listener;
        open = open_;
    }
    if (again) {
        Misuse("SetListener", "the station has a listener already");
    }
    if (open || listener == nullptr) {
        gate_.Set(listener);
    }
}

std::int32_t StationObject::InitSocket(std::uint32_t address, std::uint16_t port, std::uint16_t timeout) {
    std::string wrong;
    std::int32_t result = 0;
    IVoteDeckEvent* listener = nullptr;
    {
        const std::lock_guard lock(world_.mutex);
        listener = listener_;
        if (opened_) {
            wrong = "the connection that is open was not closed before";
        } else if (listener_ == nullptr) {
            wrong = "there is no listener";
        } else if (address != kAddress || port != kPort) {
            wrong = "the station is at 192.168.234.10, port 4567, and nowhere else";
        }
        if (!station_.IsUp() || address != kAddress || port != kPort) {
            result = kNobodyThere;
        } else if (station_.socket_refuses) {
            result = kRefused;
        } else if (station_.connected_ != nullptr && station_.connected_ != this) {
            result = kTaken;
        } else {
            station_.connected_ = this;
            open_ = true;
            opened_ = true;
            mode_set_ = false;
            session_ = false;
            enabled_ = false;
        }
    }
    if (result == 0) {
        gate_.Set(listener);
    }
    Json::Value args;
    args["address"] = address;
    args["port"] = port;
    args["timeout"] = timeout;
    Saw("InitSocket", args, result);
    if (!wrong.empty()) {
        Misuse("InitSocket", wrong);
    }
    return result;
}

void StationObject::CloseSocket() {
    Saw("CloseSocket", Json::Value());
    {
        const std::lock_guard lock(world_.mutex);
        open_ = false;
        opened_ = false;
        session_ = false;
        enabled_ = false;
        if (station_.connected_ == this) {
            station_.connected_ = nullptr;
            world_.keypads.ForEach(Kind::RV2, 0,
                                   [](std::uint32_t, Keypad& keypad) { keypad.announced = false; });
        }
    }
    gate_.Set(nullptr);
}

void StationObject::SetSessionMode(std::int32_t mode, std::int32_t option) {
    Json::Value args;
    args["mode"] = mode;
    args["option"] = option;
    Saw("SetSessionMode", args);
    std::string wrong;
    {
        const std::lock_guard lock(world_.mutex);
        if (!opened_) {
            wrong = "InitSocket has not succeeded before";
        } else if (session_) {
            wrong = "the session runs already";
        } else if (mode_set_) {
            wrong = "the mode was set before";
        }
        mode_set_ = true;
        mode_[0] = mode;
        mode_[1] = option;
    }
    if (!wrong.empty()) {
        Misuse("SetSessionMode", wrong);
    }
}

void StationObject::StartSession() {
    Saw("StartSession", Json::Value());
    std::string wrong;
    {
        const std::lock_guard lock(world_.mutex);
        if (!opened_) {
            wrong = "InitSocket has not succeeded before";
        } else if (!mode_set_) {
            wrong = "SetSessionMode has not been called before";
        } else if (session_) {
            wrong = "the session runs already";
        }
        session_ = opened_;
    }
    if (!wrong.empty()) {
        Misuse("StartSession", wrong);
    }
}

void StationObject::SetSessionEnabled(bool enabled) {
    Json::Value args;
    args["enabled"] = enabled;
    Saw("SetSessionEnabled", args);
    bool running = false;
    {
        const std::lock_guard lock(world_.mutex);
        running = session_;
        enabled_ = session_ && enabled;
    }
    if (!running) {
        Misuse("SetSessionEnabled", "no session runs");
    } else if (enabled) {
        station_.Announce();
    }
}

void StationObject::StartQuestion(EnumQuestionType type, const char* text1, const char* text2,
                                  const char* text3, std::int32_t number, bool flag, std::uint16_t device) {
    Json::Value args;
    args["type"] = static_cast<std::int32_t>(type);
    args["name"] = QuestionToJson(Kind::RV2, static_cast<std::int32_t>(type))["name"];
    args["text1"] = ShownUtf8(Text(text1));
    args["text2"] = ShownUtf8(Text(text2));
    args["text3"] = ShownUtf8(Text(text3));
    args["number"] = number;
    args["flag"] = flag;
    args["device"] = device;
    Saw("StartQuestion", args);
    if (text1 == nullptr || text2 == nullptr || text3 == nullptr) {
        Misuse("StartQuestion", "a text is null");
    }
    if (type < EnumQuestionType{0} || type > EnumQuestionType{4}) {
        Misuse("StartQuestion",
               "there is no question type " + std::to_string(static_cast<std::int32_t>(type)));
    }
    const std::lock_guard lock(world_.mutex);
    if (Reaches()) {
        if (device == 0) {
            station_.question_ = static_cast<std::int32_t>(type);
        }
        world_.keypads.ForEach(Kind::RV2, device, [type](std::uint32_t, Keypad& keypad) {
            keypad.question = static_cast<std::int32_t>(type);
        });
    }
}

void StationObject::EndQuestion(std::uint32_t device, const char* text) {
    Json::Value args;
    args["device"] = device;
    args["text"] = ShownUtf8(Text(text));
    Saw("EndQuestion", args);
    if (text == nullptr) {
        Misuse("EndQuestion", "the text is null");
    }
    const std::lock_guard lock(world_.mutex);
    if (Reaches()) {
        if (device == 0) {
            station_.question_.reset();
        }
        world_.keypads.ForEach(Kind::RV2, device,
                               [](std::uint32_t, Keypad& keypad) { keypad.question.reset(); });
    }
}

void StationObject::SendContext(const char* row1, const char* row2, const char* row3, std::int32_t number,
                                std::uint16_t device) {
    const std::string rows[] = {Text(row1), Text(row2), Text(row3)};
    Json::Value args;
    args["row1"] = RowToJson(Kind::RV2, rows[0]);
    args["row2"] = RowToJson(Kind::RV2, rows[1]);
    args["row3"] = RowToJson(Kind::RV2, rows[2]);
    args["number"] = number;
    args["device"] = device;
    Saw("SendContext", args);
    if (row1 == nullptr || row2 == nullptr || row3 == nullptr) {
        Misuse("SendContext", "a row is null");
    }
    const std::lock_guard lock(world_.mutex);
    if (Reaches()) {
        world_.keypads.ForEach(Kind::RV2, device, [&rows](std::uint32_t, Keypad& keypad) {
            std::copy(std::begin(rows), std::end(rows), std::begin(keypad.rows));
            ++keypad.texts;
        });
    }
}

void StationObject::Signal3(Signalling Keypad::*part, std::uint32_t device, std::int32_t color,
                            std::uint16_t duration, std::uint16_t interval, std::uint16_t times) {
    const std::lock_guard lock(world_.mutex);
    if (Reaches()) {
        world_.keypads.ForEach(Kind::RV2, device, [&](std::uint32_t, Keypad& keypad) {
            Signalling& signalling = keypad.*part;
            signalling = {
                color, duration, interval, times, signalling.count + 1, world_.journal.Milliseconds()};
        });
    }
}

namespace {

Json::Value SignalArgs(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                       std::uint16_t times) {
    Json::Value args;
    args["device"] = device;
    args["duration"] = duration;
    args["interval"] = interval;
    args["times"] = times;
    return args;
}

}  // namespace

void StationObject::SendAlarm(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                              std::uint16_t times) {
    Saw("SendAlarm", SignalArgs(device, duration, interval, times));
    Signal3(&Keypad::beeper, device, 0, duration, interval, times);
}

void StationObject::SendVibrate(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                                std::uint16_t times) {
    Saw("SendVibrate", SignalArgs(device, duration, interval, times));
    Signal3(&Keypad::motor, device, 0, duration, interval, times);
}

void StationObject::SendFlashing(std::uint32_t device, EnumFlashingColor color, std::uint16_t duration,
                                 std::uint16_t interval, std::uint16_t times) {
    Json::Value args = SignalArgs(device, duration, interval, times);
    args["color"] = static_cast<std::int32_t>(color);
    Saw("SendFlashing", args);
    if (color < EnumFlashingColor{1} || color > EnumFlashingColor{7}) {
        Misuse("SendFlashing", "there is no colour " + std::to_string(static_cast<std::int32_t>(color)));
    }
    Signal3(&Keypad::lamp, device, static_cast<std::int32_t>(color), duration, interval, times);
}

void StationObject::HandOver(IVoteDeckEvent& listener, const std::shared_ptr<const Bytes>& recording,
                             const Signal& signal) {
    Json::Value args;
    args["ushDeviceID"] = signal.keypad;
    args["error"] = signal.error;
    args["valid"] = signal.valid;
    args["size"] = Json::UInt64(recording->size());
    args["crc32"] = Crc32(recording->data(), recording->size());
    Saw("-> OnKeypadAudioEvent", args);
    const auto audio = std::make_shared<KeypadAudio>(world_, ThePlace(), *recording, signal.valid);
    listener.OnKeypadAudioEvent(static_cast<std::uint16_t>(signal.keypad), audio.get(), signal.error);
    audio->End();
    world_.graveyard.Bury(audio, audio->TheBytes().data(), audio->TheBytes().size());
}

}  // namespace vdipc::classroom
