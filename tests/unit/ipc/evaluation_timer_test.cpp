// A single evaluation whose timer the system refuses. Only the doubles do that.
#if !defined(_WIN32)
#include "native/NativeSeam.h"
#include "support/SpeechTest.h"

namespace vdipc::test {
namespace {

class EvaluationTimer : public SpeechTest {};

TEST_F(EvaluationTimer, ThatCantBeMade_LeavesItsRequestOpenWithoutATimeOut) {
    UseEverything();
    FailNextQueueTimerCreation(1450);
    handler().RequestSingleEvaluation("k", Request<EventVoiceEvaluated>("k"));
    EXPECT_EQ(EngineOf(Access::SentEvaluator(handler())).evaluations.size(), 1u);
    EXPECT_EQ(Access::EvaluateRequests(handler()).count("k"), 1u);
    ASSERT_EQ(Access::EvaluatorTimers(handler()).count("k"), 1u);
    Timer::OnTimerFired(Access::EvaluatorTimers(handler()).at("k").get(), true);
    EXPECT_EQ(Access::QueuedTasks(handler()), 0u);

    EvaluationResult result;
    result.request_id = Template<EventVoiceEvaluated>("k");
    handler().OnEvaluateCompleted(Access::SentEvaluator(handler()), result);
    Access::RunTasks(handler());
    ASSERT_EQ(SentEvents().size(), 1u);
    EXPECT_EQ(SentEvents()[0]["event"], "voice-evaluated");
    EXPECT_TRUE(Access::EvaluateRequests(handler()).empty());
    EXPECT_TRUE(Access::EvaluatorTimers(handler()).empty());
}

}  // namespace
}  // namespace vdipc::test
#endif
