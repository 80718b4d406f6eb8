#include "doubles/ClosedDoubles.h"

#include "doubles/InsideDouble.h"

#include <algorithm>
#include <memory>
#include <mutex>

namespace vdipc::test {
namespace {

struct State {
    std::mutex mutex;
    std::vector<TrackwireRecord> records;
    std::size_t trackwires_made = 0;
    std::vector<std::pair<std::string, std::string>> setters;
    std::vector<SpeechEngine> engines;
    std::vector<std::string> speech_calls;
    std::function<void(const std::string&)> speech_hook;
    int speech_result = 0;
    bool speech_start_result = true;
    Factories factories;
    VoteDeckLogHandler log_handler = nullptr;
    std::function<void()> log_handler_hook;
};

State& TheState() {
    static State state;
    return state;
}

void RecordSetter(const char* name, const std::string& text) {
    std::lock_guard lock(TheState().mutex);
    TheState().setters.emplace_back(name, text);
}

/// Notes a call, and tells a test of it with the lock let go.
void NoteSpeechCall(std::unique_lock<std::mutex> lock, const std::string& call) {
    TheState().speech_calls.push_back(call);
    const auto hook = TheState().speech_hook;
    lock.unlock();
    if (hook) {
        hook(call);
    }
}

std::size_t AddEngine(const void* object, bool is_recognizer, int engine, int mode, int language) {
    std::unique_lock lock(TheState().mutex);
    auto& engines = TheState().engines;
    SpeechEngine made;
    made.object = object;
    made.is_recognizer = is_recognizer;
    made.engine = engine;
    made.mode = mode;
    made.language = language;
    engines.push_back(made);
    const std::size_t index = engines.size() - 1;
    NoteSpeechCall(std::move(lock), std::to_string(index) + ":" +
                                        (is_recognizer ? "recognizer(" : "evaluator(") +
                                        std::to_string(engine) + "," + std::to_string(mode) + "," +
                                        std::to_string(language) + ")");
    return index;
}

/// Runs an action on the engine of an object that lives, and notes the call.
template <typename Action>
void OnEngine(const void* handle, const std::string& call, Action action) {
    std::unique_lock lock(TheState().mutex);
    const std::size_t index = reinterpret_cast<std::uintptr_t>(handle) - 1;
    if (index < TheState().engines.size()) {
        action(TheState().engines[index]);
        NoteSpeechCall(std::move(lock), std::to_string(index) + ":" + call);
    }
}

void* Handle(std::size_t index) {
    return reinterpret_cast<void*>(index + 1);
}

}  // namespace

void SetActiveCodePageDefault();

void ResetClosedDoubles() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.records.clear();
    state.trackwires_made = 0;
    state.setters.clear();
    state.engines.clear();
    state.speech_calls.clear();
    state.speech_hook = nullptr;
    state.speech_result = 0;
    state.speech_start_result = true;
    state.factories = Factories();
    state.log_handler = nullptr;
    state.log_handler_hook = nullptr;
    SetActiveCodePageDefault();
}

std::string TrackwireRecord::Value(const std::string& key) const {
    const auto found =
        std::find_if(pairs.begin(), pairs.end(), [&key](const Pair& pair) { return pair.key == key; });
    return found == pairs.end() ? "<missing>" : found->value;
}

std::vector<std::string> TrackwireRecord::Keys() const {
    std::vector<std::string> keys;
    for (const Pair& pair : pairs) {
        keys.push_back(pair.key);
    }
    return keys;
}

std::vector<TrackwireRecord> TrackwireRecords() {
    std::lock_guard lock(TheState().mutex);
    return TheState().records;
}

std::vector<TrackwireRecord> TrackwireRecords(const std::string& action) {
    std::vector<TrackwireRecord> found = TrackwireRecords();
    std::erase_if(found,
                  [&action](const TrackwireRecord& record) { return record.Value("Action") != action; });
    return found;
}

std::size_t TrackwiresMade() {
    std::lock_guard lock(TheState().mutex);
    return TheState().trackwires_made;
}

std::vector<std::pair<std::string, std::string>> TrackwireSetters() {
    std::lock_guard lock(TheState().mutex);
    return TheState().setters;
}

std::vector<SpeechEngine> SpeechEngines() {
    std::lock_guard lock(TheState().mutex);
    return TheState().engines;
}

std::vector<std::string> SpeechCalls() {
    std::lock_guard lock(TheState().mutex);
    return TheState().speech_calls;
}

void SetSpeechCallHook(std::function<void(const std::string& call)> hook) {
    std::lock_guard lock(TheState().mutex);
    TheState().speech_hook = std::move(hook);
}

void SetSpeechRequestResult(int result) {
    std::lock_guard lock(TheState().mutex);
    TheState().speech_result = result;
}

void SetSpeechStartResult(bool result) {
    std::lock_guard lock(TheState().mutex);
    TheState().speech_start_result = result;
}

Factories& ClosedFactories() {
    return TheState().factories;
}

VoteDeckLogHandler InstalledVoteDeckLogHandler() {
    std::lock_guard lock(TheState().mutex);
    return TheState().log_handler;
}

void SetLogHandlerInstallHook(std::function<void()> hook) {
    std::lock_guard lock(TheState().mutex);
    TheState().log_handler_hook = std::move(hook);
}

}  // namespace vdipc::test

using vdipc::test::InsideDouble;
using vdipc::test::TheState;

CTrackwire::CTrackwire() : record_(nullptr) {
    const InsideDouble inside;
    record_ = new vdipc::test::TrackwireRecord();
    std::lock_guard lock(TheState().mutex);
    ++TheState().trackwires_made;
}

CTrackwire::~CTrackwire() {
    delete static_cast<vdipc::test::TrackwireRecord*>(record_);
}

void CTrackwire::Push(std::string key, std::string value) {
    const InsideDouble inside;
    static_cast<vdipc::test::TrackwireRecord*>(record_)->pairs.push_back(
        {std::move(key), std::move(value), 's'});
}

void CTrackwire::Push(std::string key, std::int32_t value) {
    const InsideDouble inside;
    static_cast<vdipc::test::TrackwireRecord*>(record_)->pairs.push_back(
        {std::move(key), std::to_string(value), 'i'});
}

void CTrackwire::Push(std::string key, std::uint32_t value) {
    const InsideDouble inside;
    static_cast<vdipc::test::TrackwireRecord*>(record_)->pairs.push_back(
        {std::move(key), std::to_string(value), 'u'});
}

void CTrackwire::Logger() {
    const InsideDouble inside;
    std::lock_guard lock(TheState().mutex);
    TheState().records.push_back(*static_cast<vdipc::test::TrackwireRecord*>(record_));
}

void SetVDShellVersionW(std::wstring version) {
    std::string narrow;
    for (const wchar_t c : version) {
        narrow.push_back(static_cast<char>(c));
    }
    vdipc::test::RecordSetter("SetVDShellVersionW", narrow);
}

void SetVdkReceiveVersionA(std::string version) {
    vdipc::test::RecordSetter("SetVdkReceiveVersionA", version);
}

void SetVdkManufactorA(std::string company) {
    vdipc::test::RecordSetter("SetVdkManufactorA", company);
}

void SetVdkChannelNumberA(std::string channel) {
    vdipc::test::RecordSetter("SetVdkChannelNumberA", channel);
}

void SetBigClassIdA(std::string id) {
    vdipc::test::RecordSetter("SetBigClassIdA", id);
}

void SetLessonNumA(std::string number) {
    vdipc::test::RecordSetter("SetLessonNumA", number);
}

void SetClassIdA(std::string id) {
    vdipc::test::RecordSetter("SetClassIdA", id);
}

namespace zvn::speech {

RecognitionListener::RecognitionListener() = default;
RecognitionListener::~RecognitionListener() = default;
EvaluationListener::EvaluationListener() = default;
EvaluationListener::~EvaluationListener() = default;

SpeechRecognizer::SpeechRecognizer(RecognitionListener*, RecognizeEngine engine, EngineMode mode,
                                   Language language)
    : engine_(vdipc::test::Handle(vdipc::test::AddEngine(
          this, true, static_cast<int>(engine), static_cast<int>(mode), static_cast<int>(language)))) {}

SpeechRecognizer::~SpeechRecognizer() {
    vdipc::test::OnEngine(engine_, "destroy",
                          [](vdipc::test::SpeechEngine& engine) { engine.destroyed = true; });
}

bool SpeechRecognizer::start(std::size_t worker_threads) {
    vdipc::test::OnEngine(engine_, "start(" + std::to_string(worker_threads) + ")",
                          [worker_threads](vdipc::test::SpeechEngine& engine) {
                              engine.started = true;
                              engine.worker_threads = worker_threads;
                          });
    return TheState().speech_start_result;
}

int SpeechRecognizer::recognize(const RecognizeRequest& request) {
    vdipc::test::OnEngine(engine_, "recognize", [&request](vdipc::test::SpeechEngine& engine) {
        engine.recognitions.push_back(request);
        engine.audio.emplace_back(request.audio_data, request.audio_data + request.audio_size);
    });
    return TheState().speech_result;
}

void SpeechRecognizer::stop() {
    vdipc::test::OnEngine(engine_, "stop", [](vdipc::test::SpeechEngine& engine) { engine.stopped = true; });
}

SpeechEvaluator::SpeechEvaluator(EvaluationListener*, EvaluateEngine engine, EngineMode mode,
                                 Language language)
    : engine_(vdipc::test::Handle(vdipc::test::AddEngine(
          this, false, static_cast<int>(engine), static_cast<int>(mode), static_cast<int>(language)))) {}

SpeechEvaluator::~SpeechEvaluator() {
    vdipc::test::OnEngine(engine_, "destroy",
                          [](vdipc::test::SpeechEngine& engine) { engine.destroyed = true; });
}

bool SpeechEvaluator::start(std::size_t worker_threads) {
    vdipc::test::OnEngine(engine_, "start(" + std::to_string(worker_threads) + ")",
                          [worker_threads](vdipc::test::SpeechEngine& engine) {
                              engine.started = true;
                              engine.worker_threads = worker_threads;
                          });
    return TheState().speech_start_result;
}

int SpeechEvaluator::evaluate(const EvaluateRequest& request) {
    vdipc::test::OnEngine(engine_, "evaluate", [&request](vdipc::test::SpeechEngine& engine) {
        engine.evaluations.push_back(request);
        engine.audio.emplace_back(request.audio_data, request.audio_data + request.audio_size);
    });
    return TheState().speech_result;
}

void SpeechEvaluator::stop() {
    vdipc::test::OnEngine(engine_, "stop", [](vdipc::test::SpeechEngine& engine) { engine.stopped = true; });
}

}  // namespace zvn::speech

ISocketVoteDeck* CreateVoteDeckObj() {
    TheState().factories.calls.emplace_back("CreateVoteDeckObj");
    return TheState().factories.create_vote_deck_obj ? TheState().factories.create_vote_deck_obj() : nullptr;
}

namespace {

void CreateVdo(const char* factory, zq::IVoteDeck** deck, IVoteDeckControl** control) {
    TheState().factories.calls.emplace_back(factory);
    if (TheState().factories.create_vdo) {
        TheState().factories.create_vdo(factory, deck, control);
    }
}

}  // namespace

void CreateVDOTQ1(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    CreateVdo("CreateVDOTQ1", deck, control);
}

void CreateVDOTQ2(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    CreateVdo("CreateVDOTQ2", deck, control);
}

void CreateVDORV1(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    CreateVdo("CreateVDORV1", deck, control);
}

void CreateVDOLW(zq::IVoteDeck** deck, IVoteDeckControl** control) {
    CreateVdo("CreateVDOLW", deck, control);
}

void InstallVoteDeckLogHandler(VoteDeckLogHandler handler) {
    std::function<void()> hook;
    {
        std::lock_guard lock(TheState().mutex);
        TheState().log_handler = handler;
        hook = TheState().log_handler_hook;
    }
    if (hook) {
        hook();
    }
}
