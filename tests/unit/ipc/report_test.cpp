#include "support/HandlerTest.h"

#include <stdexcept>

namespace vdipc::test {
namespace {

using testing::ElementsAre;

class HandlerReport : public HandlerTest {
protected:
    HandlerReport() {
        Access::StatusChangedCallbackOf(handler()) = [this](const std::int32_t* numbers,
                                                            const std::wstring& text) {
            numbers_.assign(numbers, numbers + 5);
            text_ = text;
            ++calls_;
        };
    }

    void Report() { Access::NotifyVoteDecksStatusChanged(handler()); }

    std::vector<std::int32_t> numbers_;
    std::wstring text_;
    int calls_ = 0;
};

TEST_F(HandlerReport, OnlyRv2UnderAudio_IsFiveLinesInTheFixedOrder) {
    AddAll(kDeviceStatusUnknown);
    SetStatus(DeviceType::RV2, kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Audio);
    Report();
    EXPECT_EQ(text_, L"RV1:NA\nRV2:OK\nTQ1:NA\nTQ2:NA\nLW:NA\n");
    EXPECT_THAT(numbers_, ElementsAre(-1, 111, -1, -1, -1));
}

TEST_F(HandlerReport, UsbReceiverThatIsNotConnected_IsNgAnd200) {
    AddAll(kDeviceStatusUnknown);
    SetStatus(DeviceType::TQ1, kDeviceStatusNotConnected);
    Report();
    EXPECT_EQ(text_, L"RV1:NA\nRV2:NA\nTQ1:NG\nTQ2:NA\nLW:NA\n");
    EXPECT_THAT(numbers_, ElementsAre(-1, -1, 200, -1, -1));
}

TEST_F(HandlerReport, Rv2BeforeAnyInit_IsNaWhateverItsStatus) {
    AddAll(kDeviceStatusUnknown);
    for (const std::int32_t status : {-2, -1, 0, 1, 2, 4711}) {
        SetStatus(DeviceType::RV2, status);
        Report();
        EXPECT_EQ(text_, L"RV1:NA\nRV2:NA\nTQ1:NA\nTQ2:NA\nLW:NA\n");
        EXPECT_EQ(numbers_[1], -1);
    }
}

TEST_F(HandlerReport, InitWithNonAudio_ReportsRv2AsNaAndTheOthersByTheirStatus) {
    AddAll(kDeviceStatusConnected);
    SetStatus(DeviceType::LW, kDeviceStatusNotConnected);
    Route(R"({"command":"init","preferred-device-type":"non-audio"})");
    EXPECT_EQ(calls_, 1);
    EXPECT_EQ(text_, L"RV1:OK\nRV2:NA\nTQ1:OK\nTQ2:OK\nLW:NG\n");
    EXPECT_THAT(numbers_, ElementsAre(100, -1, 100, 100, 200));
}

TEST_F(HandlerReport, UsableRv2AndUsableUsbKind_ShareTheTextButNotTheNumber) {
    AddAll(kDeviceStatusConnected);
    Prefer(PreferredDeviceType::Any);
    Report();
    EXPECT_EQ(text_, L"RV1:OK\nRV2:OK\nTQ1:OK\nTQ2:OK\nLW:OK\n");
    EXPECT_THAT(numbers_, ElementsAre(100, 111, 100, 100, 100));
}

TEST_F(HandlerReport, StatusOfRv2_MapsRowByRow) {
    AddAll(kDeviceStatusUnknown);
    Prefer(PreferredDeviceType::Audio);
    const struct {
        std::int32_t status;
        std::int32_t number;
        const wchar_t* line;
    } rows[] = {{-2, -1, L"RV2:NA\n"},
                {-1, 111, L"RV2:OK\n"},
                {0, 120, L"RV2:NG(power)\n"},
                {1, 200, L"RV2:NG\n"},
                {2, 112, L"RV2:NG(ip)\n"}};
    for (const auto& row : rows) {
        SetStatus(DeviceType::RV2, row.status);
        Report();
        EXPECT_EQ(numbers_[1], row.number);
        EXPECT_EQ(text_, std::wstring(L"RV1:NA\n") + row.line + L"TQ1:NA\nTQ2:NA\nLW:NA\n");
    }
}

TEST_F(HandlerReport, StatusWithoutARow_RaisesInvalidMapKey) {
    const struct {
        DeviceType kind;
        std::int32_t status;
    } rows[] = {{DeviceType::TQ1, 0}, {DeviceType::LW, 2}, {DeviceType::RV1, 3}, {DeviceType::RV2, 3}};
    Prefer(PreferredDeviceType::Any);
    for (const auto& row : rows) {
        AddAll(kDeviceStatusUnknown);
        SetStatus(row.kind, row.status);
        try {
            Report();
            ADD_FAILURE() << "nothing was raised";
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "invalid map<K, T> key");
        }
    }
    EXPECT_EQ(calls_, 0);
}

TEST_F(HandlerReport, KindWithoutAnObject_SaysNaAndItsNumberStaysZero) {
    AddAll(kDeviceStatusConnected);
    Access::DeviceObjects(handler()).erase(DeviceType::TQ2);
    Access::DeviceObjects(handler())[DeviceType::LW].reset();
    Report();
    EXPECT_EQ(text_, L"RV1:OK\nRV2:NA\nTQ1:OK\nTQ2:NA\nLW:NA\n");
    EXPECT_THAT(numbers_, ElementsAre(100, -1, 100, 0, 0));
    EXPECT_EQ(Access::DeviceObjects(handler()).count(DeviceType::TQ2), 1u)
        << "looking up makes an empty entry";
}

TEST_F(HandlerReport, WithoutACallback_IsBuiltAndDropped_AndALaterCallbackHearsItAtOnce) {
    AddAll(kDeviceStatusUnknown);
    Access::StatusChangedCallbackOf(handler()) = nullptr;
    EXPECT_CALL(Device(DeviceType::TQ1), GetDeviceStatus())
        .WillOnce(testing::Return(-2))
        .WillOnce(testing::Return(1));
    Report();
    EXPECT_EQ(calls_, 0);
    handler().SetVoteDecksStatusChangedCallback([this](const std::int32_t* numbers, const std::wstring&) {
        numbers_.assign(numbers, numbers + 5);
        ++calls_;
    });
    EXPECT_EQ(calls_, 0) << "it is a task";
    Access::RunTasks(handler());
    EXPECT_EQ(calls_, 1);
    EXPECT_THAT(numbers_, ElementsAre(-1, -1, 200, -1, -1));
}

TEST_F(HandlerReport, NewCallback_ReplacesTheFormerOne) {
    AddAll(kDeviceStatusUnknown);
    int later = 0;
    handler().SetVoteDecksStatusChangedCallback(
        [&later](const std::int32_t*, const std::wstring&) { ++later; });
    Access::RunTasks(handler());
    Report();
    EXPECT_EQ(calls_, 0);
    EXPECT_EQ(later, 2);
}

}  // namespace
}  // namespace vdipc::test
