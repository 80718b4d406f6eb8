#include "classroom/receivers/Receiver.h"

#include "classroom/receivers/ReceiverObject.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace vdipc::classroom {
namespace {

struct ReceiverEvent {
    const char* name;
    void (IVoteDeckEventOld::*call)();
};

struct NamedLinkEvent {
    const char* name;
    void (IInternalEventListener::*call)();
};

constexpr ReceiverEvent kReceiverEvents[] = {{"OnSetContextSuccess", &IVoteDeckEventOld::OnSetContextSuccess},
                                             {"OnSendToDevice", &IVoteDeckEventOld::OnSendToDevice},
                                             {"OnDataSentFailed", &IVoteDeckEventOld::OnDataSentFailed}};

constexpr NamedLinkEvent kLinkEvents[] = {{"OnReSendCommend", &IInternalEventListener::OnReSendCommend},
                                          {"OnSendData", &IInternalEventListener::OnSendData},
                                          {"OnReceiveData", &IInternalEventListener::OnReceiveData}};

template <typename Event, std::size_t Count>
const Event* Find(const Event (&events)[Count], const std::string& name) {
    const auto* const found = std::find_if(std::begin(events), std::end(events),
                                           [&name](const Event& event) { return name == event.name; });
    return found == std::end(events) ? nullptr : found;
}

std::string DefaultDeviceInfo(Kind kind) {
    Json::Value info;
    info["DeviceType"] = KindName(kind);
    info["UID"] = std::string("SIMULATED-") + KindName(kind);
    info["SoftWare"] = "1.0";
    info["HardWare"] = "1.0";
    info["Company"] = "SIMULATED";
    info["Channel"] = "7";
    info["TX_POWER"] = "3";
    return CompactJson(info);
}

Json::Value ParseObject(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    return reader->parse(text.data(), text.data() + text.size(), &value, &errors) && value.isObject()
               ? value
               : Json::Value();
}

}  // namespace

Receiver::Receiver(World& world, Kind kind, bool plugged)
    : world_(world), kind_(kind), plugged_(plugged), device_info_(DefaultDeviceInfo(kind)),
      foreign_(
          std::make_unique<ReceiverObject>(world, *this, kind, std::string(KindName(kind)) + " foreign")) {
    foreign_->Delete();
}

Receiver::~Receiver() = default;

ReceiverObject* Receiver::MakeObject() {
    ReceiverObject* object = nullptr;
    {
        const std::lock_guard lock(world_.mutex);
        objects_.push_back(std::make_unique<ReceiverObject>(
            world_, *this, kind_, std::string(KindName(kind_)) + " " + std::to_string(objects_.size() + 1)));
        object = objects_.back().get();
    }
    world_.journal.Saw(object->ThePlace(), (std::string("CreateVDO") + KindName(kind_)).c_str(),
                       Json::Value());
    world_.Log(1, std::string("SIMULATED receiver ") + KindName(kind_), false);
    return object;
}

std::vector<ReceiverObject*> Receiver::Objects() {
    const std::lock_guard lock(world_.mutex);
    std::vector<ReceiverObject*> live;
    for (const auto& object : objects_) {
        if (!object->IsDeleted()) {
            live.push_back(object.get());
        }
    }
    return live;
}

bool Receiver::HasListener() const {
    return std::any_of(objects_.begin(), objects_.end(),
                       [](const auto& object) { return object->gate.IsSet(); });
}

UsbNotice Receiver::Notice(std::uint32_t what) const {
    UsbNotice notice;
    notice.what = what;
    if (kind_ == Kind::RV1) {
        notice.type = UsbNotice::Type::Port;
        notice.name = "COM7";
    } else {
        notice.type = UsbNotice::Type::Interface;
        notice.name = std::string("\\\\?\\HID#SIMULATED_") + KindName(kind_) +
                      "#1#{4d1e55b2-f16f-11cf-88cb-001111000030}";
    }
    return notice;
}

int Receiver::TellConnected(bool connected) {
    int calls = 0;
    for (ReceiverObject* const object : Objects()) {
        calls += object->gate.Call([&](IVoteDeckEventOld& listener) {
            Json::Value args;
            args["connected"] = connected;
            world_.journal.Saw(object->ThePlace(), "-> OnDeviceConnectedChange", args);
            listener.OnDeviceConnectedChange(connected);
        })
                     ? 1
                     : 0;
    }
    if (connected) {
        Announce();
    }
    return calls;
}

Outcome Receiver::Plug(bool plugged, bool notice, bool wait) {
    {
        const std::lock_guard lock(world_.mutex);
        if (plugged_ == plugged) {
            return {};
        }
        plugged_ = plugged;
        link_up_ = true;
        if (!plugged) {
            question_.reset();
        }
    }
    Outcome outcome;
    if (notice) {
        outcome.notices += world_.SendNotice(Notice(plugged ? kNoticeArrival : kNoticeRemoved));
        UsbNotice nodes;
        nodes.what = kNoticeNodes;
        outcome.notices += world_.SendNotice(nodes);
    }
    world_.Log(1,
               std::string("SIMULATED receiver ") + KindName(kind_) + (plugged ? " plugged" : " unplugged"),
               false);
    outcome.callbacks = world_.RunOnLane([this, plugged] { return TellConnected(plugged); }, wait).callbacks;
    return outcome;
}

Outcome Receiver::SetLink(const std::optional<bool>& up, const std::optional<bool>& told, bool wait) {
    if (up) {
        const std::lock_guard lock(world_.mutex);
        link_up_ = *up;
    }
    if (!told) {
        return {};
    }
    const bool connected = *told;
    return world_.RunOnLane([this, connected] { return TellConnected(connected); }, wait);
}

Outcome Receiver::FailIO(bool other, bool down_after, bool wait) {
    {
        const std::lock_guard lock(world_.mutex);
        down_after_error_ = down_after;
    }
    return world_.RunOnLane(
        [this, other] {
            int calls = 0;
            for (ReceiverObject* const object : Objects()) {
                calls += object->gate.Call([&](IVoteDeckEventOld& listener) {
                    Json::Value args;
                    args["deck"] = other ? "other" : "own";
                    world_.journal.Saw(object->ThePlace(), "-> OnDeviceIOError", args);
                    listener.OnDeviceIOError(other ? foreign_.get() : object);
                })
                             ? 1
                             : 0;
            }
            return calls;
        },
        wait);
}

Outcome Receiver::TellDeviceInfo(const std::string& text, std::int32_t number, bool wait) {
    return world_.RunOnLane(
        [this, text, number] {
            int calls = 0;
            for (ReceiverObject* const object : Objects()) {
                calls += object->gate.Call([&](IVoteDeckEventOld& listener) {
                    Json::Value args;
                    args["text"] = ShownUtf8(text);
                    args["number"] = number;
                    world_.journal.Saw(object->ThePlace(), "-> OnGetDeviceInfo", args);
                    const auto lent = std::make_shared<std::string>(text);
                    listener.OnGetDeviceInfo(lent->c_str(), number);
                    std::fill(lent->begin(), lent->end(), '\xDD');
                    world_.graveyard.Bury(lent, lent->data(), lent->size());
                })
                             ? 1
                             : 0;
            }
            return calls;
        },
        wait);
}

bool Receiver::HasEvent(const std::string& name) {
    return Find(kReceiverEvents, name) != nullptr || Find(kLinkEvents, name) != nullptr;
}

Outcome Receiver::TellEvent(const std::string& name, bool wait) {
    return world_.RunOnLane(
        [this, name] {
            const ReceiverEvent* const event = Find(kReceiverEvents, name);
            const NamedLinkEvent* const link_event = Find(kLinkEvents, name);
            int calls = 0;
            for (ReceiverObject* const object : Objects()) {
                const auto saw = [&] {
                    world_.journal.Saw(object->ThePlace(), ("-> " + name).c_str(), Json::Value());
                };
                if (event != nullptr) {
                    calls += object->gate.Call([&](IVoteDeckEventOld& listener) {
                        saw();
                        (listener.*(event->call))();
                    })
                                 ? 1
                                 : 0;
                } else if (link_event != nullptr && object->gate.IsSet()) {
                    calls += object->link_gate.Call([&](IInternalEventListener& listener) {
                        saw();
                        (listener.*(link_event->call))();
                    })
                                 ? 1
                                 : 0;
                }
            }
            return calls;
        },
        wait);
}

int Receiver::Deliver(const Signal& signal) {
    {
        const std::lock_guard lock(world_.mutex);
        if (!IsConnected()) {
            return 0;
        }
    }
    int calls = 0;
    for (ReceiverObject* const object : Objects()) {
        calls += object->gate.Call([&](IVoteDeckEventOld& listener) {
            Json::Value args;
            switch (signal.what) {
            case Signal::What::Connect:
                args["newUid"] = signal.keypad;
                world_.journal.Saw(object->ThePlace(), "-> OnBindCard", args);
                listener.OnBindCard(signal.keypad);
                break;
            case Signal::What::Leave:
                args["device_id"] = signal.keypad;
                world_.journal.Saw(object->ThePlace(), "-> OnUnbindCard", args);
                listener.OnUnbindCard(signal.keypad);
                break;
            case Signal::What::Key:
                args["ushDeviceId"] = signal.keypad;
                args["enKeyValue"] = signal.key;
                args["pressTimes"] = signal.times;
                args["recvTimes"] = signal.received;
                args["rssi"] = signal.rssi;
                world_.journal.Saw(object->ThePlace(), "-> OnKeyEvent", args);
                listener.OnKeyEvent(signal.keypad, signal.key, signal.times, signal.received, 0xDDDDDDDDU,
                                    0xDDDDDDDDU, signal.rssi);
                break;
            case Signal::What::Audio:
                object->HandOver(listener, signal);
                break;
            }
        })
                     ? 1
                     : 0;
    }
    return calls;
}

void Receiver::SetChannel(std::int32_t channel) {
    Json::Value info = ParseObject(device_info_);
    if (info.isObject()) {
        info["Channel"] = std::to_string(channel);
        device_info_ = CompactJson(info);
    }
}

void Receiver::Announce() {
    std::vector<TimedSignal> signals;
    {
        const std::lock_guard lock(world_.mutex);
        if (!HasListener() || !announces) {
            return;
        }
        world_.keypads.ForEach(kind_, 0, [&signals](std::uint32_t number, Keypad& keypad) {
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
    world_.Send(kind_, signals, options);
}

Json::Value Receiver::ToJson() const {
    const Json::Value info = ParseObject(device_info_);
    Json::Value value;
    value["plugged"] = plugged_;
    value["link"] = link_up_ ? "up" : "down";
    value["connected"] = IsConnected();
    value["made"] = Json::UInt64(objects_.size());
    value["listener"] = HasListener();
    value["binding"] = binding_;
    value["question"] = QuestionToJson(kind_, question_);
    value["device_info"] = ShownUtf8(device_info_);
    value["channel"] = info.isObject() ? info["Channel"] : Json::Value();
    value["accepts_channel"] = accepts_channel;
    value["announce"] = announces;
    return value;
}

}  // namespace vdipc::classroom
