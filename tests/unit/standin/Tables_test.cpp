// The stand-ins' objects called through nothing but their tables: each operation stands in the slot of the closed
// library's.
#include "unit/standin/support/Classroom.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vdipc::classroom::test {
namespace {

using Words = std::vector<std::string>;

class TablesTest : public ClassroomTest {
protected:
    template <typename Result, typename... Arguments>
    static Result Slot(void* object, int slot, Arguments... arguments) {
        using Function = Result (*)(void*, Arguments...);
        void** const table = *static_cast<void***>(object);
        return reinterpret_cast<Function>(table[slot])(object, arguments...);
    }
};

TEST_F(TablesTest, Station_HasItsEighteenSlots) {
    StationListener listener;
    void* const station = world.TheStation().MakeObject();
    Slot<void>(station, 1, static_cast<IVoteDeckEvent*>(&listener));
    EXPECT_EQ(0, (Slot<std::int32_t>(station, 2, std::uint32_t{0xC0A8EA0A}, std::uint16_t{4567},
                                     std::uint16_t{10000})));
    Slot<void>(station, 17, std::int32_t{6}, std::int32_t{0});
    Slot<void>(station, 4);
    Slot<void>(station, 13, true);
    Slot<void>(station, 6, std::int32_t{2}, "", "", "", std::int32_t{0}, true, std::uint16_t{7});
    Slot<void>(station, 7, std::uint32_t{7}, "");
    Slot<void>(station, 8, "a", "b", "c", std::int32_t{0}, std::uint16_t{7});
    Slot<void>(station, 9, std::uint32_t{7}, std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3});
    Slot<void>(station, 10, std::uint32_t{7}, std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3});
    Slot<void>(station, 11, std::uint32_t{7}, std::int32_t{1}, std::uint16_t{1}, std::uint16_t{2},
               std::uint16_t{3});
    Slot<void>(station, 3);
    EXPECT_EQ((Words{"CreateVoteDeckObj", "SetListener", "InitSocket", "SetSessionMode", "StartSession",
                     "SetSessionEnabled", "StartQuestion", "EndQuestion", "SendContext", "SendAlarm",
                     "SendVibrate", "SendFlashing", "CloseSocket"}),
              Calls());
    EXPECT_EQ("c", Keypad(Kind::RV2, 7)["rows"][2]["text"].asString());
    EXPECT_TRUE(Misuses().empty());
    for (const int slot : {0, 5, 12, 14, 15, 16}) {
        Slot<void>(station, slot);
        EXPECT_EQ("slot " + std::to_string(slot) + ": a reserved slot was called", Misuses().back());
    }
}

TEST_F(TablesTest, Recording_HasItsSevenSlots) {
    StationListener listener;
    OpenStation(listener);
    listener.on_audio = [this](IKeypadAudio& audio) {
        EXPECT_TRUE(Slot<bool>(&audio, 2));
        EXPECT_EQ('R', *Slot<const std::uint8_t*>(&audio, 4));
        EXPECT_EQ(100, Slot<std::int32_t>(&audio, 5));
        EXPECT_TRUE(Misuses().empty());
        for (const int slot : {0, 1, 3}) {
            Slot<void>(&audio, slot);
        }
        EXPECT_EQ(3U, Misuses().size());
        Slot<void>(&audio, 6);
    };
    EXPECT_EQ(1, Do(R"({"do":"audio","keypad":1,"bytes":100})")["callbacks"].asInt());
    EXPECT_EQ(3U, Misuses().size());
}

TEST_F(TablesTest, Receiver_HasItsSixAndTenSlots) {
    ReceiverListener listener;
    world.TheReceiver(Kind::TQ2).Plug(true, false, true);
    ReceiverObject* const object = world.TheReceiver(Kind::TQ2).MakeObject();
    void* const deck = static_cast<zq::IVoteDeck*>(object);
    void* const control = static_cast<IVoteDeckControl*>(object);
    VoteDeckCallback none;
    Slot<void>(deck, 1, static_cast<IVoteDeckEventOld*>(&listener));
    Slot<void>(control, 1, static_cast<IInternalEventListener*>(&listener));
    EXPECT_TRUE(Slot<bool>(deck, 4));
    Slot<void>(deck, 2, &none, std::int32_t{1}, std::uint32_t{7});
    Slot<void>(deck, 3, std::int32_t{0}, std::uint32_t{7}, "a", "b", "c", std::int32_t{0});
    using Byte = std::uint8_t;
    Slot<void>(deck, 5, std::uint32_t{7}, Byte{1}, Byte{2}, Byte{3}, Byte{4}, Byte{5}, Byte{6}, Byte{7},
               Byte{8}, Byte{9}, Byte{3});
    Slot<void>(control, 2, std::int32_t{0}, L"path");
    Slot<void>(control, 3, std::int32_t{0}, L"path");
    const std::size_t heard = listener.heard.All().size();
    Slot<void>(control, 4);
    // The link goes down and comes back on a thread of the classroom, and a receiver tells nothing meanwhile.
    EXPECT_EQ(heard + 2, listener.heard.Await(heard + 2).size());
    EXPECT_EQ('{', *Slot<const char*>(control, 6));
    Slot<void>(control, 8, &none, std::int32_t{5});
    Slot<void>(control, 9, &none);
    Slot<void>(deck, 1, static_cast<IVoteDeckEventOld*>(nullptr));
    EXPECT_TRUE(Misuses().empty());
    for (const int slot : {0, 5, 7}) {
        Slot<void>(control, slot);
        EXPECT_EQ("control slot " + std::to_string(slot) + ": a reserved slot was called", Misuses().back());
    }
    Slot<void*>(deck, 0, 1U);
    EXPECT_EQ((Words{"CreateVDOTQ2", "IVoteDeck::SetListener", "IVoteDeckControl::SetListener", "IsConnected",
                     "SendQuestion", "SetContext", "Activate", "DeviceArrived", "DeviceRemoved",
                     "HandleIOError", "QueryDeviceInfo", "SetChannel", "EnableBindCard",
                     "IVoteDeck::SetListener", "DeletingDestructor"}),
              Calls());
    EXPECT_EQ(9, Keypad(Kind::TQ2, 7)["lamp"]["interval"].asInt());
}

}  // namespace
}  // namespace vdipc::classroom::test
