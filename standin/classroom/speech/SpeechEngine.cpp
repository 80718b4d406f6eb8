#include "classroom/speech/SpeechEngine.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace vdipc::classroom {
namespace {

std::int64_t NowMilliseconds() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

/// A member of the id's "data" as text; empty where there is none.
std::string FromRequestId(const std::string& request_id, const char* key) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value id;
    std::string errors;
    if (!reader->parse(request_id.data(), request_id.data() + request_id.size(), &id, &errors) ||
        !id.isObject()) {
        return {};
    }
    // The id is an event that waits for its answer: what it is about stands in its data or beside them.
    const Json::Value& data = id["data"];
    const Json::Value& value = data.isObject() && data.isMember(key) ? data[key] : id[key];
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

bool LooksOverwritten(const SpeechRequest& request) {
    const auto* const bytes = static_cast<const unsigned char*>(request.audio);
    constexpr std::size_t enough = 16;
    return request.audio_size >= enough &&
           std::all_of(bytes, bytes + enough, [](unsigned char byte) { return byte == 0xDD; });
}

/// Never destroyed: workers may wait here when the process ends.
std::mutex& TheMutex() {
    static auto* const mutex = new std::mutex();
    return *mutex;
}

std::condition_variable& TheChange() {
    static auto* const changed = new std::condition_variable();
    return *changed;
}

}  // namespace

SpeechEngine::SpeechEngine(World& world, std::size_t index, const std::string& name,
                           const SpeechEngineTraits& traits, std::function<void(const SpeechAnswer&)> deliver)
    : world_(world), index_(index), name_(name), traits_(traits), deliver_(std::move(deliver)),
      mutex_(TheMutex()), changed_(TheChange()) {
    Json::Value args;
    args["name"] = name;
    args["engine"] = traits.engine;
    args["mode"] = traits.mode;
    args["language"] = traits.language;
    const char* const call = traits.recognizer ? "SpeechRecognizer" : "SpeechEvaluator";
    world.journal.Saw(ThePlace(), call, args);
    if (!traits.has_listener) {
        Misuse(call, "the listener is null");
    }
    const bool known = traits.recognizer ? (traits.engine == 0 || traits.engine == 2) && traits.mode == 0
                                         : traits.engine == 0 && (traits.mode == 0 || traits.mode == 1);
    if (!known || traits.language < 0 || traits.language > 2) {
        Misuse(call, "there is no such engine");
    }
}

SpeechEngine::~SpeechEngine() = default;

void SpeechEngine::Misuse(const char* call, const std::string& text) {
    world_.journal.Misuse(ThePlace(), call, text);
}

bool SpeechEngine::Start(std::size_t workers) {
    Json::Value args;
    args["worker_threads"] = Json::UInt64(workers);
    world_.journal.Saw(ThePlace(), "start", args);
    const std::lock_guard lock(mutex_);
    if (state_ != State::Made) {
        Misuse("start",
               state_ == State::Destroyed ? "the engine was destroyed" : "the engine was started before");
        return false;
    }
    if (workers == 0) {
        Misuse("start", "an engine needs a worker");
        return false;
    }
    state_ = State::Started;
    workers_wanted_ = workers;
    for (std::size_t i = 0; i < workers; ++i) {
        workers_.emplace_back([this] { Work(); });
    }
    return true;
}

int SpeechEngine::Ask(const SpeechRequest& request) {
    const char* const call = traits_.recognizer ? "recognize" : "evaluate";
    Json::Value args;
    args["request_id"] = ShownUtf8(request.request_id);
    args["param"] = ShownUtf8(request.param);
    args["stems"] = Json::Value(Json::arrayValue);
    for (const std::string& stem : request.stems) {
        args["stems"].append(ShownUtf8(stem));
    }
    args["audio_size"] = Json::UInt64(request.audio_size);
    if (request.audio == nullptr && request.audio_size > 0) {
        Misuse(call, "the request has no audio");
    } else if (request.audio != nullptr) {
        if (world_.graveyard.Holds(request.audio) || LooksOverwritten(request)) {
            Misuse(call, "the audio of the request was given back to its receiver before");
        }
        args["crc32"] = Crc32(request.audio, request.audio_size);
    }

    Open open;
    open.request_id = request.request_id;
    open.device = FromRequestId(request.request_id, "device");
    open.extra = FromRequestId(request.request_id, "extra");
    open.param = request.param;
    open.stems = request.stems;
    open.audio_size = request.audio_size;
    open.arrival = NowMilliseconds();
    int returns = 0;
    bool started = false;
    {
        const std::lock_guard lock(mutex_);
        started = state_ == State::Started;
        returns = started ? settings_.returns : -1;
        open.number = ++requests_;
        args["request"] = Json::UInt64(open.number);
        if (returns == 0) {
            const Fault* const delayed = faults_.Find(fault_word::kDelayed);
            const std::uint32_t delay = settings_.delay_ms + (delayed != nullptr ? delayed->ms : 0);
            open.due = Clock::now() + std::chrono::milliseconds(delay);
            open.waits =
                settings_.mode == SpeechSettings::Mode::Auto || settings_.mode == SpeechSettings::Mode::Fail;
        }
    }
    world_.journal.Saw(ThePlace(), call, args, returns);
    if (!started) {
        Misuse(call, "the engine doesn't run");
    }
    if (returns == 0) {
        const std::lock_guard lock(mutex_);
        open_.push_back(std::move(open));
        changed_.notify_all();
    }
    return returns;
}

void SpeechEngine::Stop() {
    world_.journal.Saw(ThePlace(), "stop", Json::Value());
    std::vector<std::thread> workers;
    {
        const std::lock_guard lock(mutex_);
        if (state_ == State::Destroyed) {
            Misuse("stop", "the engine was destroyed");
            return;
        }
        state_ = State::Stopped;
        workers.swap(workers_);
        changed_.notify_all();
    }
    for (std::thread& worker : workers) {
        if (worker.get_id() == std::this_thread::get_id()) {
            Misuse("stop", "a listener can't stop the engine that is just calling it");
            worker.detach();
        } else {
            worker.join();
        }
    }
}

void SpeechEngine::Destroy() {
    world_.journal.Saw(ThePlace(), traits_.recognizer ? "~SpeechRecognizer" : "~SpeechEvaluator",
                       Json::Value());
    bool running = false;
    {
        const std::lock_guard lock(mutex_);
        if (state_ == State::Destroyed) {
            Misuse("destructor", "the engine was destroyed before");
            return;
        }
        running = state_ == State::Started;
    }
    if (running) {
        Misuse("destructor", "the engine was not stopped before");
        Stop();
    }
    const std::lock_guard lock(mutex_);
    state_ = State::Destroyed;
    open_.clear();
}

void SpeechEngine::ChangeSettings(const std::function<void(SpeechSettings&)>& change) {
    const std::lock_guard lock(mutex_);
    change(settings_);
    changed_.notify_all();
}

void SpeechEngine::SetFaults(const Faults& faults) {
    const std::lock_guard lock(mutex_);
    faults_ = faults;
    stuck_.reset();
    changed_.notify_all();
}

std::list<SpeechEngine::Open>::iterator SpeechEngine::NextDue(std::optional<Clock::time_point>& until) {
    const Fault* const reorder = faults_.Find(fault_word::kReorder);
    const std::size_t batch = reorder != nullptr ? reorder->count : settings_.batch;
    const bool ordered = batch > 1 || settings_.order != SpeechSettings::Order::Fifo;
    if (faults_.Find(fault_word::kOff) != nullptr || (ordered && busy_)) {
        return open_.end();
    }
    const auto now = Clock::now();
    std::vector<std::list<Open>::iterator> due;
    for (auto at = open_.begin(); at != open_.end(); ++at) {
        if (at->waits && at->due <= now) {
            due.push_back(at);
            if (!ordered) {
                break;
            }
        } else if (at->waits && (!until || at->due < *until)) {
            until = at->due;
        }
    }
    if (ordered && releasing_ == 0 && due.size() >= batch) {
        releasing_ = due.size();
    }
    if (due.empty() || (ordered && releasing_ == 0)) {
        releasing_ = 0;
        return open_.end();
    }
    busy_ = ordered;
    releasing_ -= ordered ? 1 : 0;
    if (reorder != nullptr || settings_.order == SpeechSettings::Order::Random) {
        return due[world_.chance.Below(static_cast<std::uint32_t>(due.size()))];
    }
    return settings_.order == SpeechSettings::Order::Reverse ? due.back() : due.front();
}

void SpeechEngine::Work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (!by_hand_.empty()) {
            const ByHand by_hand = std::move(by_hand_.front());
            by_hand_.pop_front();
            lock.unlock();
            Deliver(by_hand.answer);
            by_hand.ticket->Count(1);
            by_hand.ticket->Close();
            lock.lock();
            continue;
        }
        if (state_ != State::Started) {
            return;
        }
        std::optional<Clock::time_point> until;
        const auto next = NextDue(until);
        if (next == open_.end()) {
            if (until) {
                changed_.wait_until(lock, *until);
            } else {
                changed_.wait(lock);
            }
            continue;
        }
        const bool was_ordered = busy_;
        SpeechAnswer answer = MakeAnswer(*next);
        open_.erase(next);
        AlterByFaults(answer);
        const Fault* const duplicate = faults_.Find(fault_word::kDuplicate);
        const Fault* const intermittent = faults_.Find(fault_word::kIntermittent);
        const Fault* const slow = faults_.Find(fault_word::kSlow);
        std::uint32_t copies = settings_.duplicate * (duplicate != nullptr ? duplicate->times : 1);
        if (intermittent != nullptr && world_.chance.Happens(intermittent->chance)) {
            copies = 0;
        }
        if (slow != nullptr) {
            changed_.wait_for(lock, std::chrono::milliseconds(slow->ms),
                              [this] { return state_ != State::Started; });
        }
        lock.unlock();
        for (std::uint32_t copy = 0; copy < copies; ++copy) {
            Deliver(answer);
        }
        lock.lock();
        if (was_ordered) {
            busy_ = false;
            changed_.notify_all();
        }
    }
}

SpeechSettings::Rule SpeechEngine::TheRule() const {
    const bool fixed = traits_.recognizer || name_ == "general";
    return settings_.rule.value_or(fixed ? SpeechSettings::Rule::Fixed : SpeechSettings::Rule::Stem);
}

SpeechAnswer SpeechEngine::MakeAnswer(const Open& open) {
    SpeechAnswer answer;
    answer.request_id = open.request_id;
    answer.param = open.param;
    answer.start_time = settings_.start_time.value_or(open.arrival);
    answer.end_time = settings_.end_time.value_or(NowMilliseconds());
    answer.error_code = settings_.error_code;
    if (settings_.mode == SpeechSettings::Mode::Fail) {
        answer.error_code = settings_.error_code == 0 ? -1 : settings_.error_code;
        return answer;
    }
    answer.result = settings_.result;
    answer.raw_result = settings_.raw_result;
    answer.score = settings_.score;
    if (TheRule() == SpeechSettings::Rule::Stem && !open.stems.empty()) {
        answer.result = open.stems.front();
        answer.score = 100.0F;
    } else if (TheRule() == SpeechSettings::Rule::Length) {
        const std::size_t data = open.audio_size > kWavHeaderSize ? open.audio_size - kWavHeaderSize : 0;
        answer.score = std::min(100.0F, static_cast<float>(data) / (100.0F * kWavBytesPerMillisecond));
    }
    return answer;
}

void SpeechEngine::AlterByFaults(SpeechAnswer& answer) {
    if (faults_.Find(fault_word::kGarbage) != nullptr) {
        answer.result.clear();
        answer.raw_result.clear();
        for (int i = 0; i < 16; ++i) {
            answer.result.push_back(static_cast<char>(1 + world_.chance.Below(255)));
            answer.raw_result.push_back(static_cast<char>(1 + world_.chance.Below(255)));
        }
        answer.score = static_cast<float>(world_.chance.Below(2000)) / 10.0F - 50.0F;
    }
    if (faults_.Find(fault_word::kWrong) != nullptr) {
        answer.result = "nobody said this";
        answer.score = 100.0F - answer.score;
    }
    if (faults_.Find(fault_word::kStuck) != nullptr) {
        if (!stuck_) {
            stuck_ = answer;
        }
        SpeechAnswer same = *stuck_;
        same.request_id = answer.request_id;
        same.param = answer.param;
        answer = same;
    }
}

void SpeechEngine::Deliver(const SpeechAnswer& answer) {
    Json::Value args;
    args["request_id"] = ShownUtf8(answer.request_id);
    args["error_code"] = answer.error_code;
    args["result"] = ShownUtf8(answer.result);
    if (!traits_.recognizer) {
        args["score"] = static_cast<double>(answer.score);
        args["raw_result"] = ShownUtf8(answer.raw_result);
    }
    args["start_time"] = Json::Int64(answer.start_time);
    args["end_time"] = Json::Int64(answer.end_time);
    world_.journal.Saw(ThePlace(), traits_.recognizer ? "-> OnRecognizeCompleted" : "-> OnEvaluateCompleted",
                       args);
    {
        const std::lock_guard lock(mutex_);
        ++answers_;
    }
    deliver_(answer);
}

int SpeechEngine::Answer(const HandAnswer& by_hand, const std::shared_ptr<Ticket>& ticket) {
    std::vector<SpeechAnswer> answers;
    const std::lock_guard lock(mutex_);
    const bool running = state_ == State::Started;
    for (auto at = open_.begin(); at != open_.end();) {
        const bool fits = (!by_hand.request || *by_hand.request == at->number) &&
                          (!by_hand.device || *by_hand.device == at->device) &&
                          (!by_hand.extra || *by_hand.extra == at->extra);
        if (!fits) {
            ++at;
            continue;
        }
        if (!running && !by_hand.after_stop) {
            throw std::invalid_argument(
                "the engine was stopped: an answer still comes with \"after_stop\": true");
        }
        SpeechAnswer answer = MakeAnswer(*at);
        answer.request_id = by_hand.request_id.value_or(answer.request_id);
        answer.result = by_hand.result.value_or(answer.result);
        answer.raw_result = by_hand.raw_result.value_or(answer.raw_result);
        answer.score = by_hand.score.value_or(answer.score);
        answer.error_code = by_hand.error_code.value_or(answer.error_code);
        answer.start_time = by_hand.start_time.value_or(answer.start_time);
        answer.end_time = by_hand.end_time.value_or(answer.end_time);
        answers.push_back(answer);
        at = by_hand.keep ? std::next(at) : open_.erase(at);
        if (!by_hand.every) {
            break;
        }
    }
    for (const SpeechAnswer& answer : answers) {
        ticket->Open();
        if (running) {
            by_hand_.push_back({answer, ticket});
        } else {
            world_.RunOnLane(
                [this, answer, ticket] {
                    Deliver(answer);
                    ticket->Count(1);
                    ticket->Close();
                    return 1;
                },
                false);
        }
    }
    changed_.notify_all();
    return static_cast<int>(answers.size());
}

Json::Value SpeechEngine::SettingsToJson() const {
    static const char* const modes[] = {"auto", "hand", "silent", "fail"};
    static const char* const rules[] = {"fixed", "stem", "length"};
    static const char* const orders[] = {"fifo", "reverse", "random"};
    Json::Value value;
    value["mode"] = modes[static_cast<int>(settings_.mode)];
    value["rule"] = rules[static_cast<int>(TheRule())];
    value["order"] = orders[static_cast<int>(settings_.order)];
    value["delay_ms"] = settings_.delay_ms;
    value["duplicate"] = settings_.duplicate;
    value["batch"] = settings_.batch;
    value["returns"] = settings_.returns;
    value["result"] = settings_.result;
    value["raw_result"] = settings_.raw_result;
    value["score"] = settings_.score;
    value["error_code"] = settings_.error_code;
    return value;
}

Json::Value SpeechEngine::ToJson() const {
    static const char* const states[] = {"made", "started", "stopped", "destroyed"};
    const std::lock_guard lock(mutex_);
    Json::Value value;
    value["index"] = Json::UInt64(index_);
    value["name"] = name_;
    value["class"] = traits_.recognizer ? "SpeechRecognizer" : "SpeechEvaluator";
    value["engine"] = traits_.engine;
    value["mode"] = traits_.mode;
    value["language"] = traits_.language;
    value["workers"] = Json::UInt64(workers_wanted_);
    value["state"] = states[static_cast<int>(state_)];
    value["requests"] = Json::UInt64(requests_);
    value["answers"] = Json::UInt64(answers_);
    value["settings"] = SettingsToJson();
    value["open"] = Json::Value(Json::arrayValue);
    for (const Open& open : open_) {
        Json::Value one;
        one["request"] = Json::UInt64(open.number);
        one["request_id"] = ShownUtf8(open.request_id);
        one["device"] = ShownUtf8(open.device);
        one["extra"] = ShownUtf8(open.extra);
        one["audio_size"] = Json::UInt64(open.audio_size);
        one["param"] = ShownUtf8(open.param);
        one["stems"] = Json::Value(Json::arrayValue);
        for (const std::string& stem : open.stems) {
            one["stems"].append(ShownUtf8(stem));
        }
        value["open"].append(one);
    }
    return value;
}

}  // namespace vdipc::classroom
