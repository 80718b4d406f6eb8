// The actions of the control face: docs/classroom.md describes each.
#pragma once

#include "classroom/world/World.h"

#include <deque>
#include <mutex>
#include <string>

#include <json/json.h>

namespace vdipc::classroom {

/// Any thread may call anything. Never destroyed: scripts run until they end.
class Actions {
public:
    explicit Actions(World& world) : world_(world) {}

    /// One action or an array of them; raises ActionError for the first that can't be done.
    Json::Value Do(const Json::Value& actions);
    /// The whole world; keypads of one kind, of one number, or none where `keypads` is false.
    Json::Value State(bool keypads, const std::optional<Kind>& kind,
                      const std::optional<std::uint32_t>& number);

private:
    struct Script {
        int number = 0;
        std::size_t steps = 0;
        std::size_t done = 0;
        std::vector<std::string> errors;
    };

    Json::Value DoOne(const Json::Value& action);
    Json::Value RunScript(const Json::Value& action);

    World& world_;
    std::mutex mutex_;
    std::deque<Script> scripts_;
};

}  // namespace vdipc::classroom
