// The handler with a real object over a receiver's double.
#include "support/HandlerTest.h"

#include "doubles/ReceiverDoubles.h"

namespace vdipc::test {
namespace {

/// A USB receiver that keeps its listener.
class ListenedVoteDeck : public CountingVoteDeck {
public:
    IVoteDeckEventOld* listener = nullptr;
    void SetListener(IVoteDeckEventOld* given) override { listener = given; }
};

class HandlerWithAReceiver : public HandlerTest {
protected:
    HandlerWithAReceiver() {
        ClosedFactories().create_vdo = [this](const std::string& factory, zq::IVoteDeck** deck,
                                              IVoteDeckControl** control) {
            if (factory == "CreateVDOTQ1") {
                *deck = &receiver_;
                *control = &control_;
            }
        };
        Access::CreateVoteDeckObjects(handler());
        UseServer();
    }
    ~HandlerWithAReceiver() override { Access::DeviceObjects(handler()).clear(); }

    void Init() { Route(R"({"command":"init","preferred-device-type":"non-audio"})"); }

    /// A key of keypad 7, and what comes of it.
    void Press(std::int32_t key) {
        ASSERT_NE(receiver_.listener, nullptr);
        receiver_.listener->OnKeyEvent(7, key, 1, 1, 0, 0, 70);
        Access::RunTasks(handler());
    }

    ListenedVoteDeck receiver_;
    CountingVoteDeckControl control_;
};

TEST_F(HandlerWithAReceiver, QuestionAskedBeforeAnInit_TakesAKeyBehindIt) {
    Init();
    ASSERT_NE(receiver_.listener, nullptr);
    receiver_.listener->OnBindCard(7);
    Access::RunTasks(handler());
    Route(R"({"command":"ask","device":"7","type":"single-choice","custom":"before"})");
    Init();
    log().Clear();
    Press(2);
    ASSERT_EQ(SentEvents().size(), 1u) << log().Text();
    EXPECT_EQ(SentEvents()[0]["event"], "key-pressed");
    EXPECT_EQ(SentEvents()[0]["device"], "7");
    EXPECT_EQ(SentEvents()[0]["custom"], "before");
}

}  // namespace
}  // namespace vdipc::test
