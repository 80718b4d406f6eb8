// The simulated base station, and the objects that SocketVoteDeck.dll hands out for it.
#pragma once

#include "classroom/world/World.h"

#include "drivers/closed/SocketVoteDeck.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

class StationObject;

class Station {
public:
    explicit Station(World& world);
    ~Station();

    /// Any thread. The object lives for good: nobody frees one.
    ISocketVoteDeck* MakeObject();

    /// "up", "no-power", "no-usb" or "hang"; raises std::invalid_argument for another. Not under the lock.
    void SetState(const std::string& state);
    /// The rest under the lock.
    const std::string& State() const { return state_; }
    bool IsUp() const { return state_ == "up" || state_ == "hang"; }
    bool IsMade() const { return !objects_.empty(); }
    Json::Value ToJson() const;

    /// Makes the callback for a signal where somebody can hear it; returns the number of callbacks. Not under the lock.
    int Deliver(const Signal& signal);
    /// One of the callbacks without meaning; null where the name is none of them. Not under the lock.
    bool HasEvent(const std::string& name) const;
    int DeliverEvent(const std::string& name);

    bool socket_refuses = false;
    bool announces = true;

private:
    friend class StationObject;

    void WriteStateFile(const std::string& state) const;
    /// Keypads that are on tell of themselves to a new session. Not under the lock.
    void Announce();

    World& world_;
    std::string state_ = "up";
    std::vector<std::unique_ptr<StationObject>> objects_;
    StationObject* connected_ = nullptr;
    std::optional<std::int32_t> question_;
};

}  // namespace vdipc::classroom
