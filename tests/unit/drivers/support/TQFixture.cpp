#include "unit/drivers/support/TQFixture.h"

namespace vdipc::test {
namespace {

/// Calls a callback that came down, as the library may; what it was goes behind the note of the call.
std::string TryCallback(const VoteDeckCallback& callback) {
    if (!callback) {
        return " without callback";
    }
    callback(CallBackInfo());
    return "";
}

std::string Narrow(const wchar_t* text) {
    std::string narrow;
    for (; *text != L'\0'; ++text) {
        narrow.push_back(static_cast<char>(*text));
    }
    return narrow;
}

}  // namespace

MockVoteDeck::MockVoteDeck(Journal& journal) {
    ON_CALL(*this, DeletingDestructor).WillByDefault([&](unsigned int flags) -> void* {
        journal.push_back(fmt::format("destroy deck {}", flags));
        return this;
    });
    ON_CALL(*this, SetListener).WillByDefault([&](IVoteDeckEventOld* listener) {
        journal.push_back(listener != nullptr ? "deck listens" : "deck is silent");
    });
    ON_CALL(*this, SendQuestion)
        .WillByDefault([&](const VoteDeckCallback& callback, EnumQuestionType type, std::uint32_t device) {
            journal.push_back(fmt::format("question {} to {}{}", static_cast<std::int32_t>(type), device,
                                          TryCallback(callback)));
        });
    ON_CALL(*this, SetContext)
        .WillByDefault([&](std::int32_t zero1, std::uint32_t device, const char* row1, const char* row2,
                           const char* row3, std::int32_t zero2) {
            EXPECT_EQ(zero1, 0);
            EXPECT_EQ(zero2, 0);
            journal.push_back(fmt::format("rows {}|{}|{} to {}", row1, row2, row3, device));
        });
    ON_CALL(*this, IsConnected).WillByDefault([this] { return connected; });
}

MockVoteDeck::~MockVoteDeck() = default;

MockVoteDeckControl::MockVoteDeckControl(Journal& journal) {
    ON_CALL(*this, SetListener).WillByDefault([&](IInternalEventListener* listener) {
        journal.push_back(listener != nullptr ? "control listens" : "control is silent");
    });
    ON_CALL(*this, DeviceArrived).WillByDefault([&](std::int32_t kind, const wchar_t* path) {
        journal.push_back(fmt::format("kind {} arrived at {}", kind, Narrow(path)));
    });
    ON_CALL(*this, DeviceRemoved).WillByDefault([&](std::int32_t kind, const wchar_t* path) {
        journal.push_back(fmt::format("kind {} removed at {}", kind, Narrow(path)));
    });
    ON_CALL(*this, HandleIOError).WillByDefault([&] { journal.push_back("handle error"); });
    ON_CALL(*this, QueryDeviceInfo).WillByDefault([&, this] {
        journal.push_back("query info");
        return info.c_str();
    });
    ON_CALL(*this, SetChannel).WillByDefault([&](const VoteDeckCallback& callback, std::int32_t channel) {
        journal.push_back(fmt::format("channel {}{}", channel, TryCallback(callback)));
    });
    ON_CALL(*this, EnableBindCard).WillByDefault([&](const VoteDeckCallback& callback) {
        journal.push_back("enable bind" + TryCallback(callback));
    });
}

MockVoteDeckControl::~MockVoteDeckControl() = default;

}  // namespace vdipc::test
