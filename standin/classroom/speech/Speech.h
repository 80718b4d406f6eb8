// The simulated speech service: engines with worker threads, and the rules by which they answer.
#pragma once

#include "classroom/world/Faults.h"
#include "classroom/world/World.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

class SpeechEngine;

/// What an engine was constructed with.
struct SpeechEngineTraits {
    bool recognizer = false;
    int engine = 0;
    int mode = 0;
    int language = 0;
    bool has_listener = true;
};

struct SpeechRequest {
    std::string request_id;
    std::string param;
    std::vector<std::string> stems;
    const void* audio = nullptr;  // read during the call and never after it
    std::size_t audio_size = 0;
};

struct SpeechAnswer {
    std::string request_id;
    std::string param;
    std::string raw_result;
    std::string result;
    float score = 0.0F;
    int error_code = 0;
    std::int64_t start_time = 0;
    std::int64_t end_time = 0;
};

/// How an engine answers; what isn't set is as docs/classroom.md has it.
struct SpeechSettings {
    enum class Mode { Auto, Hand, Silent, Fail };
    enum class Rule { Fixed, Stem, Length };
    enum class Order { Fifo, Reverse, Random };
    Mode mode = Mode::Auto;
    std::optional<Rule> rule;
    Order order = Order::Fifo;
    std::uint32_t delay_ms = 0;
    std::uint32_t duplicate = 1;
    std::uint32_t batch = 1;
    int returns = 0;
    std::string result = "simulated answer";
    std::string raw_result = "{\"score\":88,\"simulated\":true}";
    float score = 88.5F;
    int error_code = 0;
    std::optional<std::int64_t> start_time;
    std::optional<std::int64_t> end_time;
};

/// Which open requests an answer by hand is for, and what it says.
struct HandAnswer {
    std::optional<std::uint64_t> request;
    std::optional<std::string> device;
    std::optional<std::string> extra;
    bool every = false;
    bool keep = false;
    bool after_stop = false;
    std::optional<std::string> request_id;
    std::optional<std::string> result;
    std::optional<std::string> raw_result;
    std::optional<float> score;
    std::optional<int> error_code;
    std::optional<std::int64_t> start_time;
    std::optional<std::int64_t> end_time;
};

/// Any thread may call anything; not under the world's lock.
class Speech {
public:
    explicit Speech(World& world);
    ~Speech();

    /// The engine lives for good, so that a call after its destruction is seen.
    SpeechEngine* MakeEngine(const SpeechEngineTraits& traits,
                             std::function<void(const SpeechAnswer&)> deliver);

    /// Names are those of docs/classroom.md; raises std::invalid_argument for another.
    void ChangeSettings(const std::string& name, const std::function<void(SpeechSettings&)>& change);
    void ChangeSettings(std::size_t index, const std::function<void(SpeechSettings&)>& change);
    /// Number of requests that are answered; the callbacks have returned then, if so wished.
    int Answer(const std::string& name, const HandAnswer& answer, bool wait);
    int Answer(std::size_t index, const HandAnswer& answer, bool wait);

    void BeginFault(const std::string& word, const Fault& fault);
    void EndFaults();
    Json::Value FaultsToJson() const;
    Json::Value ToJson() const;

private:
    std::vector<SpeechEngine*> Find(const std::string& name) const;
    int Answer(const std::vector<SpeechEngine*>& engines, const HandAnswer& answer, bool wait);

    World& world_;
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<SpeechEngine>> engines_;
    std::map<std::string, SpeechSettings> settings_;
    Faults faults_;
    std::size_t pairs_made_ = 0;
};

/// True for a name that an engine may have.
bool IsSpeechEngineName(const std::string& name);

}  // namespace vdipc::classroom
