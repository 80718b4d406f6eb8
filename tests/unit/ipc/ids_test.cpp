// The ids of the events that the handler makes itself.
#include "support/SpeechTest.h"

#include <regex>
#include <set>

namespace vdipc::test {
namespace {

class HandlerEventIds : public SpeechTest {
protected:
    /// The ids of what was sent, which all have the form of a GUID whose last two pairs are equal.
    std::vector<std::string> Ids() {
        const std::regex form(
            R"([0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{8}([0-9a-f]{2})\1)");
        std::vector<std::string> ids;
        for (const Json::Value& event : SentEvents()) {
            ids.push_back(event["id"].asString());
            EXPECT_TRUE(std::regex_match(ids.back(), form)) << event["event"] << " " << ids.back();
        }
        return ids;
    }
};

TEST_F(HandlerEventIds, EachEventOfTheHandler_HasAnIdOfItsOwnWhoseLastTwoPairsAreEqual) {
    UseEverything();
    // By chance alone, one id in 256 has equal pairs.
    for (int round = 0; round < 3; ++round) {
        Access::SendEventDeviceInited(handler());
        RecognitionResult recognized;
        recognized.request_id = Template<EventAudioRecognized>("a");
        handler().OnRecognizeCompleted(Access::Recognizer(handler()), recognized);
        handler().RequestSingleEvaluation("v", Request<EventVoiceEvaluated>("v"));
        EvaluationResult evaluated;
        evaluated.request_id = Template<EventVoiceEvaluated>("v");
        handler().OnEvaluateCompleted(Access::SentEvaluator(handler()), evaluated);
        handler().RequestEvaluation("g", Request<EventEvaluated>("g"));
        evaluated.request_id = Template<EventEvaluated>("g");
        handler().OnEvaluateCompleted(Access::GeneralEvaluator(handler()), evaluated);
        Access::RunTasks(handler());
    }
    const std::vector<std::string> ids = Ids();
    EXPECT_EQ(ids.size(), 12u);
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size());
}

}  // namespace
}  // namespace vdipc::test
