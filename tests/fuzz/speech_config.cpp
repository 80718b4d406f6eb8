// "vote_deck.conf": one text under one key chooses one recognition service, everything else the other; an engine runs in any
// case, and it is the only one.
#include "doubles/ClosedDoubles.h"
#include "fuzz/support/Fuzz.h"
#include "support/IpcHandlerAccess.h"

#include <utility>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdipc;
    using namespace vdipc::fuzz;
    IpcHandler& handler = Handler();
    const InHandlersDirectory working_directory;
    const std::string text = Text(data, size);
    WriteFile("vote_deck.conf", text);
    IpcHandlerAccess::UninitSpeechRecognizer(handler);
    test::ResetClosedDoubles();
    IpcHandlerAccess::InitSpeechRecognizer(handler);

    Json::Value parsed;
    bool aliyun = false;
    if (Parses(text, &parsed) && parsed.isObject()) {
        const Json::Value& engine = std::as_const(parsed)["engine"];
        aliyun = engine.isString() && engine.asString() == "ali";
    }
    const std::vector<test::SpeechEngine> engines = test::SpeechEngines();
    FUZZ_REQUIRE(engines.size() == 1);
    FUZZ_REQUIRE(engines[0].is_recognizer && engines[0].started && !engines[0].stopped &&
                 !engines[0].destroyed);
    FUZZ_REQUIRE(engines[0].engine == (aliyun ? 2 : 0) && engines[0].mode == 0 && engines[0].language == 0);
    FUZZ_REQUIRE(engines[0].worker_threads == 8);
    return 0;
}
