// devices.json: whatever lies there, a load raises nothing, replaces the sets that the file holds as arrays under the names of
// kinds, and leaves the others. What is then saved loads as the same again.
#include "common/TextEncoding.h"
#include "fuzz/support/Fuzz.h"
#include "support/IpcHandlerAccess.h"

#include <algorithm>
#include <map>
#include <set>

namespace vdipc::fuzz {
namespace {

using Sets = std::map<DeviceType, std::set<std::string>>;

const std::string& DevicesFile() {
    static const std::string path = IpcHandlerAccess::GetDevicesFilePath(Handler());
    return path;
}

Sets& Active() {
    return IpcHandlerAccess::ActiveDevices(Handler());
}

/// What the file makes of sets that stand already.
Sets Expected(const std::string& text, Sets sets) {
    Json::Value parsed;
    if (!Parses(text, &parsed) || !parsed.isObject()) {
        return sets;
    }
    const Json::Value& root = parsed;
    for (const char* name : {"TQ1", "TQ2", "RV1", "RV2", "LW"}) {
        const Json::Value& value = root[name];
        if (!value.isArray()) {
            continue;
        }
        std::set<std::string> devices;
        for (const Json::Value& element : value) {
            if (!element.isArray() && !element.isObject()) {
                devices.insert(ToUtf8(element.asString()));
            }
        }
        sets[kDeviceTypes.numbers.at(name)] = devices;
    }
    return sets;
}

bool IsAscii(const Sets& sets) {
    return std::all_of(sets.begin(), sets.end(), [](const auto& entry) {
        return std::all_of(entry.second.begin(), entry.second.end(), [](const std::string& id) {
            return std::all_of(id.begin(), id.end(),
                               [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        });
    });
}

/// A kind without keypads is saved as null, which loads as nothing.
Sets WithoutEmpty(Sets sets) {
    std::erase_if(sets, [](const auto& entry) { return entry.second.empty(); });
    return sets;
}

}  // namespace
}  // namespace vdipc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdipc;
    using namespace vdipc::fuzz;
    IpcHandler& handler = Handler();
    ChooseCodePage(size);
    const Sets before = {{DeviceType::TQ1, {"1", "2"}}, {DeviceType::LW, {}}};
    const std::string text = Text(data, size);

    Active() = before;
    WriteFile(DevicesFile(), text);
    IpcHandlerAccess::LoadActiveDevices(handler);
    FUZZ_REQUIRE(Active() == Expected(text, before));

    IpcHandlerAccess::SaveActiveDevices(handler);
    const std::string saved = ReadFile(DevicesFile());
    Json::Value root;
    FUZZ_REQUIRE(ParsesStrictly(saved, &root) && root.isObject());
    // Beyond ASCII each way through the file converts once more.
    if (IsAscii(Active())) {
        const Sets loaded = WithoutEmpty(Active());
        Active().clear();
        IpcHandlerAccess::LoadActiveDevices(handler);
        FUZZ_REQUIRE(Active() == loaded);
        Active() = WithoutEmpty(Expected(text, before));
        IpcHandlerAccess::SaveActiveDevices(handler);
        FUZZ_REQUIRE(Expected(ReadFile(DevicesFile()), Sets()) == loaded);
    }
    return 0;
}
