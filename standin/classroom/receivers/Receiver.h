// A simulated USB receiver, and the objects that VoteDeck.dll hands out for it.
#pragma once

#include "classroom/world/World.h"

#include "drivers/closed/VoteDeck.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

class ReceiverObject;

class Receiver {
public:
    Receiver(World& world, Kind kind, bool plugged);
    ~Receiver();

    /// Any thread. The object's memory lives for good, so that a call after its deletion is seen.
    ReceiverObject* MakeObject();

    // Not under the lock; they return what was called and who heard.
    Outcome Plug(bool plugged, bool notice, bool wait);
    /// Without a word for a part, that part stays as it is: `up` is what IsConnected says, `told` what is called back.
    Outcome SetLink(const std::optional<bool>& up, const std::optional<bool>& told, bool wait);
    Outcome FailIO(bool other, bool down_after, bool wait);
    Outcome TellDeviceInfo(const std::string& text, std::int32_t number, bool wait);
    static bool HasEvent(const std::string& name);
    Outcome TellEvent(const std::string& name, bool wait);
    int Deliver(const Signal& signal);

    // Under the lock.
    bool IsConnected() const { return plugged_ && link_up_; }
    bool IsPlugged() const { return plugged_; }
    bool HasListener() const;
    Json::Value ToJson() const;
    void SetDeviceInfo(const std::string& text) { device_info_ = text; }
    bool accepts_channel = true;
    bool announces = true;  // keypads that are bound, to a new listener

private:
    friend class ReceiverObject;

    std::vector<ReceiverObject*> Objects();
    int TellConnected(bool connected);
    void SetChannel(std::int32_t channel);
    /// Keypads that are bound tell of themselves to a new listener. Not under the lock.
    void Announce();
    UsbNotice Notice(std::uint32_t what) const;

    World& world_;
    const Kind kind_;
    bool plugged_;
    bool link_up_ = true;
    bool down_after_error_ = false;
    bool binding_ = false;
    std::string device_info_;
    std::optional<std::int32_t> question_;
    std::vector<std::unique_ptr<ReceiverObject>> objects_;
    std::unique_ptr<ReceiverObject>
        foreign_;  // nobody's receiver, for failures that are none of the product's
};

}  // namespace vdipc::classroom
