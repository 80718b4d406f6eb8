// What the client of the library must see, from what it asked and what the hardware did: routing, the choice of receivers,
// what they say of themselves, speech results. The rules of one receiver are in Deck.
#pragma once

#include "soak/Deck.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <json/json.h>

namespace vdipc::soak {

/// The hardware as the library finds it when it looks.
struct Hardware {
    struct Receiver {
        bool connected = false;
        std::string about;  // what it says of itself; no JSON where it can't be read
    };
    enum class Station { Up, NoPower, NoUsb };

    std::map<Kind, Receiver> receivers;  // USB only
    Station station = Station::Up;
    bool socket_opens = true;
    std::optional<std::int32_t> channel;  // of a TQ2, in the registry
};

struct SpeechResult {
    std::string text;
    float score = 0.0F;
    std::string raw;
    std::int64_t start = 0;
    std::int64_t end = 0;
};

class Model {
public:
    Model() { Restart(); }

    Hardware hardware;

    /// A host that starts: it knows the keypads that were active when the last one ended, and nothing else.
    void Restart();

    void Command(const std::string& json, std::vector<Due>& due);
    void Bind(Kind kind, std::uint32_t keypad, std::vector<Due>& due) { Of(kind).Bind(keypad, due); }
    void Unbind(Kind kind, std::uint32_t keypad, std::vector<Due>& due) { Of(kind).Unbind(keypad, due); }
    void Key(Kind kind, std::uint32_t keypad, int value, std::vector<Due>& due) {
        Of(kind).Key(keypad, value, due);
    }
    void Record(Kind kind, std::uint32_t keypad, const Recording& recording, std::vector<Due>& due) {
        Of(kind).Record(keypad, recording, due);
    }
    /// A USB receiver's library says that the receiver is there, or gone.
    void Link(Kind kind, bool there, std::vector<Due>& due);
    /// The base station is looked at, and has changed since.
    void LookAtStation(std::vector<Due>& due);

    /// The library has asked an engine, as it had to; the answers go by this id.
    void Asked(const std::string& id, const Json::Value& request);
    void Answered(const std::string& engine, const std::string& id, const SpeechResult& result,
                  std::vector<Due>& due);
    /// The engine that single evaluation uses now: "single", and "offline" since the first answer that came too late.
    const std::string& SingleEngine() const { return single_engine_; }
    void GoOffline() { single_engine_ = "offline"; }
    /// An open single evaluation as it is made again there.
    Json::Value Again(const std::string& id) const;
    /// Ids of single evaluations that nobody has answered yet.
    std::vector<std::string> OpenSingles() const;

    /// The event that each further look at a station that stays down brings; null while there is none.
    Json::Value Nag() const;
    /// Receivers that the client may use now, in the order that it hears of them.
    std::vector<Kind> Usable() const;
    const std::set<std::string>& Active(Kind kind) const { return decks_.at(kind).Active(); }
    std::string OpenType(Kind kind, const std::string& device) const {
        return decks_.at(kind).OpenType(device);
    }

private:
    struct Told {  // a receiver's own words
        std::string uid, software, hardware, company, channel, tx_power;
    };

    Deck& Of(Kind kind) { return decks_.at(kind); }
    Json::Value Inited() const;
    void Init(const std::string& choice, std::vector<Due>& due);
    void StartStation();
    void ReadAbout(Kind kind);

    std::map<Kind, Deck> decks_;
    std::map<Kind, int> status_;  // -1 usable, 0 no power, 1 not connected, 2 the socket didn't open
    std::map<Kind, Told> told_;
    std::string choice_;
    bool watches_station_ = false;
    std::string single_engine_;
    std::vector<std::pair<std::string, Json::Value>>
        requests_;                       // with their ids, in the order that they were made in
    std::set<std::string> evaluations_;  // file names; each is answered once
};

}  // namespace vdipc::soak
