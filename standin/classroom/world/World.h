// The one simulated classroom of a process: everything that the stand-in libraries share.
#pragma once

#include "classroom/memory/Graveyard.h"
#include "classroom/memory/Journal.h"
#include "classroom/system/Lanes.h"
#include "classroom/system/Platform.h"
#include "classroom/world/Chance.h"
#include "classroom/world/Faults.h"
#include "classroom/world/Keypads.h"
#include "classroom/world/Signal.h"

#include "drivers/closed/VoteDeck.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

class Receiver;
class Speech;
class Station;
class Telemetry;

struct Settings {
    std::uint64_t seed = 1;
    std::string station = "up";
    std::vector<Kind> plugged;
    std::size_t saw_limit = 200000;
    /// Where `rv2.state` and `trackwire.jsonl` go; nothing is written where it is empty.
    std::filesystem::path directory;
    /// How USB notices are sent.
    std::function<int(const UsbNotice&, std::uint32_t wait_ms)> send_notice;
};

/// What one action came to.
struct Outcome {
    int callbacks = 0;
    int notices = 0;
};

struct SendOptions {
    bool wait = true;
    bool together = false;
};

/// Never destroyed: its threads run until the process ends.
class World {
public:
    /// Raises std::invalid_argument for settings that make no sense.
    explicit World(const Settings& settings);
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World() = delete;

    // Guards everything that isn't said to be callable by any thread; never held during a callback.
    std::mutex mutex;
    Journal journal;
    Chance chance;
    Graveyard graveyard;
    Keypads keypads;
    std::map<Kind, Faults> faults;
    Lanes lanes;

    const Settings& TheSettings() const { return settings_; }
    Station& TheStation() { return *station_; }
    /// Kind is one of the USB kinds.
    Receiver& TheReceiver(Kind kind) { return *receivers_[static_cast<std::size_t>(kind)]; }
    Speech& TheSpeech() { return *speech_; }
    Telemetry& TheTelemetry() { return *telemetry_; }

    /// Sends what keypads of one kind do up to whoever listens. Not under the lock.
    Outcome Send(Kind kind, const std::vector<TimedSignal>& signals, const SendOptions& options);
    /// Sends without another look at faults: what a fault has held back.
    void Release(Kind kind, const std::vector<TimedSignal>& signals);
    /// Runs a job on a thread of the library and waits for it if wanted.
    Outcome RunOnLane(std::function<int()> job, bool wait);

    int SendNotice(const UsbNotice& notice);

    void SetLogHandler(VoteDeckLogHandler handler);
    bool HasLogHandler();
    /// A line of the receivers' library to the host's log, on a thread of the library.
    Outcome Log(std::int32_t level, const std::string& text, bool wait);

private:
    int Deliver(Kind kind, const Signal& signal);
    void SendOn(std::size_t lane, Kind kind, std::vector<TimedSignal> signals,
                const std::shared_ptr<Ticket>& ticket);

    const Settings settings_;
    std::unique_ptr<Station> station_;
    std::array<std::unique_ptr<Receiver>, 5> receivers_;
    std::unique_ptr<Speech> speech_;
    std::unique_ptr<Telemetry> telemetry_;
    VoteDeckLogHandler log_handler_ = nullptr;
};

/// The text as it stands where it is UTF-8, else with what isn't replaced.
std::string ShownUtf8(const std::string& text);

/// A text of a caller; empty for a null pointer.
inline std::string Text(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

bool IsUtf8(const std::string& text);

}  // namespace vdipc::classroom
