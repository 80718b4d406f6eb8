// Commands that reach the real device objects, over receivers that are attached.
#include "doubles/ReceiverDoubles.h"
#include "drivers/VoteDeckObject_TQ.h"
#include "support/Endings.h"
#include "support/HandlerTest.h"
#include "support/VoteDeckObjectBaseAccess.h"

#include <filesystem>

namespace vdipc::test {
namespace {

using testing::ElementsAre;

/// All USB kinds are up, each over the same receiver; the base station isn't asked for.
class HandlerObjects : public HandlerTest {
protected:
    HandlerObjects() {
        ClosedFactories().create_vdo = [this](const std::string&, zq::IVoteDeck** deck,
                                              IVoteDeckControl** control) {
            *deck = &deck_;
            *control = &control_;
        };
        Access::CreateVoteDeckObjects(handler());
        Init();
    }
    ~HandlerObjects() override { Access::DeviceObjects(handler()).clear(); }

    void Init() { Route(R"({"command":"init","preferred-device-type":"non-audio"})"); }
    void Drop(const std::string& device) { Route(R"({"command":"drop","device":")" + device + "\"}"); }
    const VoteDeckObjectBase& Object(DeviceType kind) {
        return dynamic_cast<const VoteDeckObjectBase&>(*Access::DeviceObjects(handler()).at(kind));
    }

    CountingVoteDeck deck_;
    CountingVoteDeckControl control_;
};

TEST_F(HandlerObjects, Drop_IsSavedByEachOfTheFiveAndEntersEachOnesDroppedSet) {
    Access::DeviceObjects(handler()).at(DeviceType::LW)->SetActivatedDeviceSet({"7"});
    log().Clear();
    Drop("7");
    EXPECT_EQ(log().Count("decvices: "), 5u);
    for (const DeviceType kind : kAllKinds) {
        EXPECT_THAT(VoteDeckObjectBaseAccess::Dropped(Object(kind)), ElementsAre("7"));
    }
}

TEST_F(HandlerObjects, SecondInit_KeepsQuestionsAnswersAndDroppedKeypads) {
    Drop("9");
    Route(R"({"command":"ask","device":"7","type":"single-choice","custom":"c"})");
    auto& lw = dynamic_cast<VoteDeckObject_TQ&>(*Access::DeviceObjects(handler()).at(DeviceType::LW));
    lw.OnKeyEvent(7, 2, 1, 1, 0, 0, 0);
    Access::RunTasks(handler());
    Init();
    for (const DeviceType kind : kAllKinds) {
        EXPECT_THAT(VoteDeckObjectBaseAccess::Dropped(Object(kind)), ElementsAre("9"));
        EXPECT_TRUE(Access::DeviceObjects(handler()).at(kind)->CheckLastQuestionCustom("7", "c"));
    }
    const auto& answers = VoteDeckObjectBaseAccess::Answers(Object(DeviceType::LW));
    ASSERT_EQ(answers.count("7"), 1u);
    EXPECT_EQ(answers.at("7").key_event.key, "B");
    EXPECT_TRUE(answers.at("7").finished);
}

using HandlerObjectsDeathTest = HandlerObjects;

TEST_F(HandlerObjectsDeathTest, DropOfAnIdThatIsNoNumber_EndsTheProcessAtTheNextStopAheadOfTheSave) {
    Drop("abc");
    for (const DeviceType kind : kAllKinds) {
        EXPECT_THAT(VoteDeckObjectBaseAccess::Dropped(Object(kind)), ElementsAre("abc"));
    }
    std::filesystem::remove(DevicesFile());
    EXPECT_ENDS_BY_ABORT(
        {
            StartTaskThread();
            handler().Uninitialize();
        },
        "invalid stoul argument");
    EXPECT_FALSE(std::filesystem::exists(DevicesFile()));
}

}  // namespace
}  // namespace vdipc::test
