// The control face: HTTP on loopback.
#pragma once

#include "classroom/control/Actions.h"
#include "classroom/world/World.h"

#include <memory>

namespace vdipc::classroom {

/// Serves on threads of its own until the process ends. Never destroyed once it listens.
class ControlServer {
public:
    ControlServer(World& world, Actions& actions);
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;
    ~ControlServer();

    /// Returns the port, which is the wanted one or any free one for 0. Raises std::runtime_error where it is taken.
    int Listen(int wanted_port);

private:
    struct Http;
    void AddRoutes();

    World& world_;
    Actions& actions_;
    std::unique_ptr<Http> http_;
};

}  // namespace vdipc::classroom
