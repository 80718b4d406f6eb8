// The rules of questions and answers at one kind of receiver, written plainly and a second time, so that the soak can hold
// the library against them. Nothing here shares code, names or tables with the library.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::soak {

enum class Kind { TQ1, TQ2, RV1, RV2, LW };

inline constexpr Kind kAllKinds[] = {Kind::TQ1, Kind::TQ2, Kind::RV1, Kind::RV2, Kind::LW};

const char* NameOf(Kind kind);
bool IsVoiceType(const std::string& type);

/// What the client wants to know of a keypad. Types go by their words on the wire.
struct Question {
    bool open = false;
    std::string type;
    std::string custom;
    Json::Value param;  // null where none was given
    std::vector<std::string> stems;
    std::string prefix;
};

struct Answer {
    bool final = false;
    std::string keys;
    std::string custom;
};

/// One recording as it came out of a keypad.
struct Recording {
    std::uint32_t size = 0;
    bool valid = true;     // base station only
    bool flagged = false;  // base station only: its library calls it bad
    bool filler = false;   // nothing but the fill pattern
    double lost = 0.0;     // USB only
};

/// What must come of an input: an event for the client (without its id), or a request to a speech engine.
struct Due {
    bool request = false;
    Json::Value value;
};

/// The name of a saved recording: what comes before the clock's digits is known. Stands in place of the text.
Json::Value FileName(const std::string& prefix, std::uint32_t keypad);

class Deck {
public:
    explicit Deck(Kind kind) : kind_(kind) {}

    void Ask(const std::string& device, const Question& question);
    void Stop(const std::string& device);
    void Drop(const std::string& device);

    void Bind(std::uint32_t keypad, std::vector<Due>& due);
    void Unbind(std::uint32_t keypad, std::vector<Due>& due);
    void Key(std::uint32_t keypad, int value, std::vector<Due>& due);
    void Record(std::uint32_t keypad, const Recording& recording, std::vector<Due>& due);

    /// Whether a speech result still has its question.
    bool StillAsks(const std::string& device, const std::string& custom) const;
    /// The type of the open question; empty where none is.
    std::string OpenType(const std::string& device) const;

    const std::set<std::string>& Active() const { return active_; }
    void Remember(const std::set<std::string>& active) { active_ = active; }

private:
    void Activate(const std::string& device, std::vector<Due>& due);
    void TakeOver(const std::string& device);

    Kind kind_;
    std::map<std::string, Question> questions_;
    std::map<std::string, Answer> answers_;
    std::set<std::string> active_;
    std::set<std::string> dropped_;
    bool one_for_all_ = false;  // LW: since the first drop
};

}  // namespace vdipc::soak
