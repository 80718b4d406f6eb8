// One speech engine with its worker threads.
#pragma once

#include "classroom/speech/Speech.h"
#include "classroom/world/Faults.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

/// Any thread may call anything; not under the world's lock.
class SpeechEngine {
public:
    SpeechEngine(World& world, std::size_t index, const std::string& name, const SpeechEngineTraits& traits,
                 std::function<void(const SpeechAnswer&)> deliver);
    ~SpeechEngine();

    // The product's side.
    bool Start(std::size_t workers);
    int Ask(const SpeechRequest& request);
    void Stop();
    void Destroy();

    // The classroom's side.
    const std::string& Name() const { return name_; }
    void ChangeSettings(const std::function<void(SpeechSettings&)>& change);
    void SetFaults(const Faults& faults);
    /// Requests that fit now get this answer; raises std::invalid_argument where a stop forbids it.
    int Answer(const HandAnswer& answer, const std::shared_ptr<Ticket>& ticket);
    Json::Value ToJson() const;

private:
    using Clock = std::chrono::steady_clock;
    enum class State { Made, Started, Stopped, Destroyed };

    struct Open {
        std::uint64_t number = 0;
        std::string request_id;
        std::string device;  // as its id's text has them
        std::string extra;
        std::string param;
        std::vector<std::string> stems;
        std::size_t audio_size = 0;
        std::int64_t arrival = 0;
        Clock::time_point due;
        bool waits = false;  // for the workers
    };

    struct ByHand {
        SpeechAnswer answer;
        std::shared_ptr<Ticket> ticket;
    };

    Place ThePlace() const { return {"ZVNSpeech", "engine " + std::to_string(index_)}; }
    void Misuse(const char* call, const std::string& text);
    void Work();
    /// Under the lock: the request to answer next, or the end; `until` is when it is worth another look.
    std::list<Open>::iterator NextDue(std::optional<Clock::time_point>& until);
    SpeechAnswer MakeAnswer(const Open& open);
    void AlterByFaults(SpeechAnswer& answer);
    void Deliver(const SpeechAnswer& answer);
    SpeechSettings::Rule TheRule() const;
    Json::Value SettingsToJson() const;

    World& world_;
    const std::size_t index_;
    const std::string name_;
    const SpeechEngineTraits traits_;
    const std::function<void(const SpeechAnswer&)> deliver_;

    // All engines have these in common: engines are kept when the product has destroyed them, and should hold no handles.
    std::mutex& mutex_;
    std::condition_variable& changed_;
    bool busy_ = false;  // an answer is on its way, and the order of answers counts
    State state_ = State::Made;
    SpeechSettings settings_;
    Faults faults_;
    std::optional<SpeechAnswer> stuck_;
    std::list<Open> open_;
    std::list<ByHand> by_hand_;
    std::size_t releasing_ = 0;  // how many of a batch are still to be answered
    std::uint64_t requests_ = 0;
    std::uint64_t answers_ = 0;
    std::size_t workers_wanted_ = 0;
    std::vector<std::thread> workers_;
};

}  // namespace vdipc::classroom
