// The file "command_line": three texts go to telemetry in their fixed order, each where the file holds a string, and a file
// that is broken in whatever way costs nothing but that.
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
    WriteFile("command_line", text);
    test::ResetClosedDoubles();
    IpcHandlerAccess::ReadCommandlineForTrackwire(handler);

    std::vector<std::pair<std::string, std::string>> expected;
    Json::Value parsed;
    if (Parses(text, &parsed) && parsed.isObject()) {
        const Json::Value& root = parsed;
        for (const auto& [key, setter] :
             {std::pair("login_lnum", "SetBigClassIdA"), std::pair("login_cnum", "SetLessonNumA"),
              std::pair("login_cid", "SetClassIdA")}) {
            if (root[key].isString()) {
                expected.emplace_back(setter, root[key].asString());
            }
        }
    }
    FUZZ_REQUIRE(test::TrackwireSetters() == expected);
    return 0;
}
