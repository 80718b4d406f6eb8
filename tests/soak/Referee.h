// Hands the model what really went into the library, in the order that it went in, and holds against it what came out.
#pragma once

#include "soak/Ledger.h"
#include "soak/Model.h"
#include "soak/Rig.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::soak {

/// What was seen is not what had to be.
class Deviated : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A request that an engine of the classroom holds open.
struct OpenRequest {
    std::string engine;
    std::uint64_t number = 0;
    std::string id;
};

class Referee {
public:
    explicit Referee(Rig& rig) : rig_(rig) {}

    Model& TheModel() { return model_; }

    void HostStarted();
    void Command(const std::string& json);
    /// An action of the classroom. Callbacks about different keypads may overtake each other where it is loose.
    Json::Value Act(const Json::Value& action, bool loose = false);
    /// Waits until nothing is under way any more, and compares. Callbacks of a delaying fault come so much later.
    void Settle(std::uint32_t delay_ms = 0);
    /// Waits until the classroom makes no more callbacks; for the time without a client.
    void Quiet(std::uint32_t delay_ms);
    /// The client goes without a word, and with it what it had not read yet.
    void LoseClient();

    /// Says of a recording of this size what it is made of; callbacks tell their size alone.
    void KnowRecording(std::uint32_t size, bool filler) { fillers_[size] = filler; }
    /// Answers may be given now without a doubt on which side of the time limit they fall.
    bool SinglesMayBeAnswered();
    const std::vector<OpenRequest>& OpenRequests() const { return open_; }
    void CloseRequest(std::uint64_t number, const std::string& engine);

    void CheckMisuse();
    void CheckSavedKeypads();

    const std::map<std::string, std::size_t>& Events() const { return events_.Met(); }
    const std::map<std::string, std::size_t>& Requests() const { return requests_.Met(); }

private:
    void Feed(std::uint32_t wait_ms = 0);
    void FeedCallback(const std::string& name, const Json::Value& call);
    void FeedRequest(const Json::Value& call);
    void FeedAnswer(const Json::Value& call);
    void FeedEngine(const Json::Value& call);
    void Book(const std::vector<Due>& due);
    void LookAtHardware();
    void Barrier();
    void FlushLanes(std::uint32_t delay_ms);
    void WaitForFallback();
    void Compare();
    void CompareOne(Json::Value event);
    void GrantNags(double more);
    [[noreturn]] void Fail(const char* what, const Deviation& deviation);

    Rig& rig_;
    Model model_;
    Ledger events_;
    Ledger requests_;
    int group_ = 0;
    int groups_ = 0;
    std::size_t callbacks_ = 0;
    bool commands_under_way_ = false;
    bool station_looked_at_ = false;
    std::uint64_t barriers_ = 0;
    std::string awaited_barrier_;
    std::uint64_t marks_ = 0;
    std::set<std::string> marks_seen_;
    std::map<std::uint32_t, bool> fillers_;
    std::map<std::string, std::string> engine_names_;  // by the classroom's object, "engine 3"
    std::vector<OpenRequest> open_;
    std::map<std::string, double> asked_at_;  // classroom's milliseconds, by request id
    std::vector<std::string> repeatable_;     // single evaluations, of which the offline engine gets one
    std::vector<Json::Value> nags_;           // those that could come since the last comparison
    bool nagging_ = false;
    double nag_credit_ = 0.0;
    std::chrono::steady_clock::time_point granted_;
    std::set<std::string> ids_;
};

}  // namespace vdipc::soak
