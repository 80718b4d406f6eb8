#include "classroom/Start.h"

#include "classroom/control/Actions.h"
#include "classroom/control/ControlServer.h"
#include "classroom/system/Platform.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace vdipc::classroom {
namespace {

std::uint64_t NumberFrom(const char* variable, std::uint64_t fallback, std::uint64_t most) {
    const std::string text = platform::Environment(variable);
    if (text.empty()) {
        return fallback;
    }
    if (text.size() > 19 || text.find_first_not_of("0123456789") != std::string::npos ||
        std::stoull(text) > most) {
        throw std::invalid_argument(std::string(variable) + " must be a number up to " +
                                    std::to_string(most) + ", not '" + text + "'");
    }
    return std::stoull(text);
}

std::vector<Kind> PluggedFrom(const std::string& text) {
    std::vector<Kind> plugged;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, ',');) {
        const auto* const kind = std::find_if(std::begin(kUsbKinds), std::end(kUsbKinds),
                                              [&name](Kind known) { return name == KindName(known); });
        if (kind == std::end(kUsbKinds)) {
            throw std::invalid_argument("CLASSROOM_PLUGGED lists TQ1, TQ2, RV1 and LW, with commas, not '" +
                                        name + "'");
        }
        plugged.push_back(*kind);
    }
    return plugged;
}

void WritePort(const std::filesystem::path& path, int port) {
    // Whoever waits for the file must never read half a number.
    std::filesystem::path fresh = path;
    fresh += ".new";
    std::ofstream(fresh, std::ios::binary | std::ios::trunc) << port;
    std::filesystem::rename(fresh, path);
}

World* Begin() {
    platform::StayLoaded();
    const auto complain = [](const std::exception& error) {
        platform::WriteError(std::string("SIMULATED classroom: ") + error.what() + "\n");
    };
    World* world = nullptr;
    try {
        world = new World(SettingsFromEnvironment());
    } catch (const std::exception& error) {
        complain(error);
        Settings settings;
        settings.directory = platform::HostDirectory();
        settings.send_notice = &platform::SendUsbNotice;
        world = new World(settings);
    }
    try {
        auto* const server = new ControlServer(*world, *new Actions(*world));
        const std::string chosen = platform::Environment("CLASSROOM_PORT_FILE");
        const std::filesystem::path port_file =
            chosen.empty() ? platform::HostDirectory() / "classroom.port"
                           : std::filesystem::path(std::u8string(chosen.begin(), chosen.end()));
        const int port = server->Listen(static_cast<int>(NumberFrom("CLASSROOM_PORT", 0, 65535)));
        platform::WriteError("SIMULATED classroom on http://127.0.0.1:" + std::to_string(port) + " seed " +
                             std::to_string(world->TheSettings().seed) + "\n");
        WritePort(port_file, port);
    } catch (const std::exception& error) {
        complain(error);
    }
    return world;
}

}  // namespace

Settings SettingsFromEnvironment() {
    Settings settings;
    settings.seed = NumberFrom("CLASSROOM_SEED", 1, 0x7FFFFFFFFFFFFFFFULL);
    settings.saw_limit = static_cast<std::size_t>(NumberFrom("CLASSROOM_SAW_LIMIT", 200000, 100000000));
    const std::string station = platform::Environment("CLASSROOM_STATION");
    settings.station = station.empty() ? "up" : station;
    settings.plugged = PluggedFrom(platform::Environment("CLASSROOM_PLUGGED"));
    settings.directory = platform::HostDirectory();
    settings.send_notice = &platform::SendUsbNotice;
    return settings;
}

World& TheWorld() {
    static World* const world = Begin();
    return *world;
}

}  // namespace vdipc::classroom
