#include "classroom/station/Station.h"

#include "classroom/station/StationObject.h"

#include <array>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace vdipc::classroom {
namespace {

struct StationEvent {
    const char* name;
    void (IVoteDeckEvent::*call)();
};

constexpr StationEvent kStationEvents[] = {
    {"OnKeypadStateEvent", &IVoteDeckEvent::OnKeypadStateEvent},
    {"OnKeypadLowBatteryEvent", &IVoteDeckEvent::OnKeypadLowBatteryEvent},
    {"OnMCUUpdateProgress", &IVoteDeckEvent::OnMCUUpdateProgress},
    {"OnRepeatedConnectionKeypad", &IVoteDeckEvent::OnRepeatedConnectionKeypad},
    {"OnLogEvent", &IVoteDeckEvent::OnLogEvent}};

const StationEvent* FindEvent(const std::string& name) {
    for (const StationEvent& event : kStationEvents) {
        if (name == event.name) {
            return &event;
        }
    }
    return nullptr;
}

}  // namespace

Station::Station(World& world) : world_(world) {
    SetState(world.TheSettings().station);
}

Station::~Station() = default;

ISocketVoteDeck* Station::MakeObject() {
    StationObject* object = nullptr;
    {
        const std::lock_guard lock(world_.mutex);
        objects_.push_back(
            std::make_unique<StationObject>(world_, *this, static_cast<int>(objects_.size()) + 1));
        object = objects_.back().get();
    }
    world_.journal.Saw(object->ThePlace(), "CreateVoteDeckObj", Json::Value());
    return object;
}

void Station::SetState(const std::string& state) {
    if (state != "up" && state != "no-power" && state != "no-usb" && state != "hang") {
        throw std::invalid_argument("the station's state is up, no-power, no-usb or hang, not '" + state +
                                    "'");
    }
    StationObject* lost = nullptr;
    {
        const std::lock_guard lock(world_.mutex);
        state_ = state;
        if (!IsUp()) {
            lost = std::exchange(connected_, nullptr);
            world_.keypads.ForEach(Kind::RV2, 0, [](std::uint32_t, Keypad& keypad) {
                keypad.connected = false;
                keypad.announced = false;
            });
            question_.reset();
        }
        if (lost != nullptr) {
            lost->open_ = false;
        }
    }
    WriteStateFile(state);
    if (lost != nullptr) {
        lost->gate_.Set(nullptr);
    }
}

void Station::WriteStateFile(const std::string& state) const {
    const std::filesystem::path& directory = world_.TheSettings().directory;
    if (directory.empty()) {
        return;
    }
    const std::filesystem::path fresh = directory / "rv2.state.new";
    std::ofstream(fresh, std::ios::binary | std::ios::trunc) << state;
    // A script may just read the old one, which then can't be replaced for a moment.
    std::error_code failed;
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::filesystem::rename(fresh, directory / "rv2.state", failed);
        if (!failed) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    platform::WriteError("SIMULATED classroom: rv2.state can't be written: " + failed.message() + "\n");
}

Json::Value Station::ToJson() const {
    const StationObject* const last = objects_.empty() ? nullptr : objects_.back().get();
    Json::Value value;
    value["state"] = state_;
    value["socket"] = socket_refuses ? "refuse" : "ok";
    value["announce"] = announces;
    value["made"] = Json::UInt64(objects_.size());
    value["listener"] = last != nullptr && last->listener_ != nullptr;
    value["open"] = connected_ != nullptr;
    value["session"] = connected_ != nullptr && connected_->session_;
    value["enabled"] = connected_ != nullptr && connected_->enabled_;
    value["mode"] = Json::Value(Json::arrayValue);
    if (connected_ != nullptr && connected_->mode_set_) {
        value["mode"].append(connected_->mode_[0]);
        value["mode"].append(connected_->mode_[1]);
    }
    value["question"] = QuestionToJson(Kind::RV2, question_);
    return value;
}

void Station::Announce() {
    std::vector<TimedSignal> signals;
    {
        const std::lock_guard lock(world_.mutex);
        if (!announces || world_.faults[Kind::RV2].Find(fault_word::kOff) != nullptr) {
            return;
        }
        world_.keypads.ForEach(Kind::RV2, 0, [&signals](std::uint32_t number, Keypad& keypad) {
            if (keypad.connected && !keypad.announced) {
                keypad.announced = true;
                TimedSignal timed;
                timed.signal.what = Signal::What::Connect;
                timed.signal.keypad = number;
                signals.push_back(timed);
            }
        });
    }
    SendOptions options;
    options.wait = false;
    world_.Send(Kind::RV2, signals, options);
}

int Station::Deliver(const Signal& signal) {
    StationObject* object = nullptr;
    {
        const std::lock_guard lock(world_.mutex);
        if (connected_ == nullptr || !connected_->enabled_) {
            return 0;
        }
        object = connected_;
    }
    const auto number = static_cast<std::uint16_t>(signal.keypad);
    const bool called = object->gate_.Call([&](IVoteDeckEvent& listener) {
        Json::Value args;
        args["ushDeviceId"] = number;
        switch (signal.what) {
        case Signal::What::Connect:
        case Signal::What::Leave: {
            const bool connected = signal.what == Signal::What::Connect;
            args["bConnect"] = connected;
            object->Saw("-> OnKeypadConnect", args);
            listener.OnKeypadConnect(0xDDDDDDDDU, number, connected);
            break;
        }
        case Signal::What::Key:
            args["enKeyValue"] = signal.key;
            object->Saw("-> OnKeypadEvent", args);
            listener.OnKeypadEvent(number, signal.key);
            break;
        case Signal::What::Audio:
            object->HandOver(listener, signal.recording, signal);
            break;
        }
    });
    return called ? 1 : 0;
}

bool Station::HasEvent(const std::string& name) const {
    return FindEvent(name) != nullptr;
}

int Station::DeliverEvent(const std::string& name) {
    StationObject* object = nullptr;
    {
        const std::lock_guard lock(world_.mutex);
        object = connected_;
    }
    const StationEvent* const event = FindEvent(name);
    if (object == nullptr || event == nullptr) {
        return 0;
    }
    const bool called = object->gate_.Call([&](IVoteDeckEvent& listener) {
        object->Saw(("-> " + name).c_str(), Json::Value());
        (listener.*(event->call))();
    });
    return called ? 1 : 0;
}

}  // namespace vdipc::classroom
