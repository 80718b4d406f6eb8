// Frames that end the process: nothing on the reader thread catches what they raise.
#include "RefusedAllocation.h"
#include "ServerFixture.h"
#include "support/Endings.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

/// Serves a client that writes these bytes. Returns when the server has dealt with a frame behind them.
void ServeClientThatWrites(const std::string& bytes) {
    test::Heard heard;
    PipeServer server([&heard](const std::string& text) { heard.Message(text); }, nullptr, nullptr);
    const auto client = test::ConnectClient(server);
    client->Write(bytes);
    client->Write(test::JsonFrame("behind"));
    heard.WaitForMessages(1);
    server.Disconnect();
    std::_Exit(0);
}

TEST(PipeEndingsDeathTest,
     JsonFrameWithANegativeLength_RaisesALengthErrorThatNobodyCatches_AndTheProcessEnds) {
    EXPECT_ENDS_BY_ABORT(ServeClientThatWrites(test::FrameBytes(2018, -1, 2018)), "length_error");
}

TEST(PipeEndingsDeathTest, AllocationForAHugeLengthThatFails_IsCaughtNowhere_AndEndsTheProcess) {
    if (!test::CanRefuseAllocation()) {
        GTEST_SKIP() << "the allocation functions are the sanitizer's";
    }
    EXPECT_ENDS_BY_ABORT(
        {
            test::RefuseAllocation(0x7FFFFFFF);
            ServeClientThatWrites(test::FrameBytes(2018, 0x7FFFFFFF, 2018));
        },
        "bad_alloc");
}

TEST(PipeEndingsDeathTest, NegativeLengthOfAnotherType_EndsNothing) {
    test::StartDeathTestsAnew();
    EXPECT_EXIT(ServeClientThatWrites(test::FrameBytes(999, -1, 2018)), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vdipc
