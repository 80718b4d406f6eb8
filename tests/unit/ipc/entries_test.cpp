// The line with which an operation begins: its own name, at Trace.
#include "support/SpeechTest.h"

#include <array>
#include <functional>
#include <utility>

namespace vdipc::test {
namespace {

class HandlerEntries : public SpeechTest {
protected:
    using Operations = std::vector<std::pair<std::string, std::function<void(IpcHandler&)>>>;

    /// Lines of the operation at Trace that say nothing but its name.
    std::size_t EntryLines(const std::string& operation) const {
        std::size_t count = 0;
        for (const LogLine& line : log().OfFunction("IpcHandler::" + operation)) {
            count += line.level == LogLevel::Trace && line.rest.empty() ? 1u : 0u;
        }
        return count;
    }

    void ExpectOneEntryOfEach(const Operations& operations) {
        for (const auto& [name, run] : operations) {
            log().Clear();
            run(handler());
            EXPECT_EQ(EntryLines(name), 1u) << name << "\n" << log().Text();
            const auto lines = log().OfFunction("IpcHandler::" + name);
            ASSERT_FALSE(lines.empty()) << name;
            EXPECT_EQ(lines[0].rest, "") << name << ": the entry comes first";
        }
    }
};

TEST_F(HandlerEntries, EachOperation_LogsItsEntryAtTrace) {
    AddAll(kDeviceStatusConnected);
    UseServer();
    ExpectOneEntryOfEach({
        {"CallInit", [](IpcHandler& h) { Access::CallInit(h, {}); }},
        {"CallAsk", [](IpcHandler& h) { Access::CallAsk(h, {}); }},
        {"CallStop", [](IpcHandler& h) { Access::CallStop(h, {}); }},
        {"CallText", [](IpcHandler& h) { Access::CallText(h, {}); }},
        {"CallHi", [](IpcHandler& h) { Access::CallHi(h, {}); }},
        {"CallDrop", [](IpcHandler& h) { Access::CallDrop(h, {}); }},
        {"CallQuit", [](IpcHandler& h) { Access::CallQuit(h); }},
        {"IsAnyDeviceConnected",
         [](IpcHandler& h) {
             std::int32_t info = 0;
             std::vector<DeviceType> kinds;
             Access::IsAnyDeviceConnected(h, info, kinds);
         }},
        {"SendEventDeviceInited", [](IpcHandler& h) { Access::SendEventDeviceInited(h); }},
        {"OnVoteDeckStatusChanged", [](IpcHandler& h) { h.OnVoteDeckStatusChanged(DeviceType::LW, 1); }},
        {"OnRv2BadStatusNotified", [](IpcHandler& h) { h.OnRv2BadStatusNotified(1); }},
        {"NotifyVoteDecksStatusChanged", [](IpcHandler& h) { Access::NotifyVoteDecksStatusChanged(h); }},
        {"SaveActiveDevices", [](IpcHandler& h) { Access::SaveActiveDevices(h); }},
        {"LoadActiveDevices", [](IpcHandler& h) { Access::LoadActiveDevices(h); }},
        {"SendTrackwire",
         [](IpcHandler& h) {
             CTrackwire record;
             h.SendTrackwire(record);
         }},
        {"GetCurrentTimeString", [](IpcHandler& h) { Access::GetCurrentTimeString(h); }},
        {"ReadCommandlineForTrackwire", [](IpcHandler& h) { Access::ReadCommandlineForTrackwire(h); }},
        {"UpdateDeviceInfoForTrackwire", [](IpcHandler& h) { Access::UpdateDeviceInfoForTrackwire(h); }},
        {"ClearTextForAllDevices", [](IpcHandler& h) { Access::ClearTextForAllDevices(h); }},
        {"SendIPCMesage", [](IpcHandler& h) { h.SendIPCMesage("{}"); }},
        {"OnIpcPingreceived", [](IpcHandler& h) { Access::OnIpcPingreceived(h); }},
        {"OnIpcReadError", [](IpcHandler& h) { Access::OnIpcReadError(h); }},
        {"RetrieveAudioStoragePathFromRegistry",
         [](IpcHandler& h) {
             std::array<char, 260> path{};
             Access::RetrieveAudioStoragePathFromRegistry(h, path.data());
         }},
        {"CreateMultiDir", [](IpcHandler& h) { Access::CreateMultiDir(h, "no_backslash"); }},
        {"DeleteVoteDeckObjects", [](IpcHandler& h) { Access::DeleteVoteDeckObjects(h); }},
        {"CreateVoteDeckObjects", [](IpcHandler& h) { Access::CreateVoteDeckObjects(h); }},
    });
}

TEST_F(HandlerEntries, SpeechOperations_LogTheirEntryAtTraceWithEnginesAndWithout) {
    const auto requests = [](const EvaluateRequest& request) {
        return Operations{
            {"RequestRecognize", [](IpcHandler& h) { h.RequestRecognize({}); }},
            {"RequestEvaluation", [request](IpcHandler& h) { h.RequestEvaluation("a", request); }},
            {"RequestSingleEvaluation",
             [request](IpcHandler& h) { h.RequestSingleEvaluation("a", request); }},
            {"RequestMultipleEvaluation",
             [request](IpcHandler& h) { h.RequestMultipleEvaluation("a", request, 1); }},
            {"RequestMultipleEvaluation",
             [request](IpcHandler& h) { h.RequestMultipleEvaluation("a", request, 2); }},
            {"StopEvaluatorTimer", [](IpcHandler& h) { Access::StopEvaluatorTimer(h, "a"); }},
        };
    };
    ExpectOneEntryOfEach(requests({}));
    EXPECT_TRUE(SpeechCalls().empty());
    UseEverything();
    ExpectOneEntryOfEach(requests({}));
    ExpectOneEntryOfEach({{"ChangeSentSpeechEvaluatorToOffline",
                           [](IpcHandler& h) { EXPECT_TRUE(Access::ChangeSentSpeechEvaluatorToOffline(h)); }},
                          {"ChangeSentSpeechEvaluatorToOffline", [](IpcHandler& h) {
                               EXPECT_FALSE(Access::ChangeSentSpeechEvaluatorToOffline(h));
                           }}});
}

TEST_F(HandlerEntries, OperationsWithoutAnEntryOfTheirOwn_AddNoLine) {
    AddAll(kDeviceStatusConnected);
    log().Clear();
    Access::SetVersionForTrackwire(handler());
    EXPECT_TRUE(log().Lines().empty()) << log().Text();
    handler().OnActiveDevicesChanged();
    EXPECT_TRUE(log().OfFunction("IpcHandler::OnActiveDevicesChanged").empty());
    EXPECT_EQ(EntryLines("SaveActiveDevices"), 1u);
}

}  // namespace
}  // namespace vdipc::test
