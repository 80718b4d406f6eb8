// Doubles of the closed libraries for unit tests: they record what the library hands them, and do what a test says.
// One process-wide instance of each; ResetClosedDoubles() before every test.
#pragma once

#include "common/closed/Trackwire.h"
#include "common/closed/ZVNSpeech.h"
#include "drivers/closed/SocketVoteDeck.h"
#include "drivers/closed/VoteDeck.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace vdipc::test {

/// Forgets everything recorded, and puts all hooks back to their defaults.
void ResetClosedDoubles();

/// One sent telemetry record; numbers are shown in decimal, with 'i' or 'u' as the kind, texts with 's'.
struct TrackwireRecord {
    struct Pair {
        std::string key;
        std::string value;
        char kind = 's';
    };
    std::vector<Pair> pairs;

    /// The value under a key; "<missing>" when there is none.
    std::string Value(const std::string& key) const;
    std::vector<std::string> Keys() const;
};

/// Records sent since the reset, in order. Any thread.
std::vector<TrackwireRecord> TrackwireRecords();
/// Records whose "Action" is this.
std::vector<TrackwireRecord> TrackwireRecords(const std::string& action);
/// How many records were made since the reset, sent or not.
std::size_t TrackwiresMade();
/// Calls of the free setters: name of the function and its text (wide text narrowed).
std::vector<std::pair<std::string, std::string>> TrackwireSetters();

/// The active code page that CStringConvert works with in native builds ("CP1252" at reset, "CP936", "UTF-8" ...). On
/// Windows the conversions are the system's, and this has no effect.
void SetActiveCodePage(const std::string& iconv_name);

/// A speech engine as it was made and started.
struct SpeechEngine {
    const void* object = nullptr;  // the SpeechRecognizer or SpeechEvaluator; stale once destroyed
    bool is_recognizer = false;
    int engine = 0;
    int mode = 0;
    int language = 0;
    std::size_t worker_threads = 0;
    bool started = false;
    bool stopped = false;
    bool destroyed = false;
    std::vector<zvn::speech::RecognizeRequest> recognitions;  // pointers as they came
    std::vector<zvn::speech::EvaluateRequest> evaluations;
    std::vector<std::vector<std::uint8_t>> audio;  // a copy of the bytes of each request
};

/// All engines made since the reset, in the order of construction.
std::vector<SpeechEngine> SpeechEngines();
/// Calls of constructors, start, stop and destructors in order, for instance "evaluator(0,0,1)", "start(4)", "stop",
/// "destroy", each behind the index of its engine: "1:start(4)".
std::vector<std::string> SpeechCalls();
/// Called behind each of these calls, with its text, on its thread; none at reset.
void SetSpeechCallHook(std::function<void(const std::string& call)> hook);
/// What recognize and evaluate return; 0 at reset.
void SetSpeechRequestResult(int result);
/// What start returns; true at reset.
void SetSpeechStartResult(bool result);

/// What the factories hand out; null at reset. Calls are counted.
struct Factories {
    std::function<ISocketVoteDeck*()> create_vote_deck_obj;
    /// Name of the factory ("CreateVDOTQ1" ...), and where the two objects go.
    std::function<void(const std::string& factory, zq::IVoteDeck** deck, IVoteDeckControl** control)>
        create_vdo;
    std::vector<std::string> calls;
};
Factories& ClosedFactories();

/// The handler that was installed into the receivers' library, or null.
VoteDeckLogHandler InstalledVoteDeckLogHandler();
/// Called by each installation, on its thread; none at reset.
void SetLogHandlerInstallHook(std::function<void()> hook);

}  // namespace vdipc::test
