// What a receiver tells about itself: a text from the closed library at each time that the receiver comes up, and the channel
// that the user has chosen.
//
// Input, in pieces between bytes of 0: the chosen channel as a number, or anything else for none; then the texts of one
// coming up after the other, at most 8.
#include "doubles/ClosedDoubles.h"
#include "doubles/ReceiverDoubles.h"
#include "drivers/VoteDeckObject_TQ.h"
#include "fuzz/support/Fuzz.h"
#include "unit/drivers/support/ChosenChannel.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

namespace vdipc::fuzz {
namespace {

std::optional<std::int32_t> ChannelOf(const std::string& piece) {
    std::int32_t channel = 0;
    const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), channel);
    return error == std::errc() && end == piece.data() + piece.size() ? std::optional(channel) : std::nullopt;
}

/// The number at the head of a channel's text, as C's own conversion reads it, held within 32 bits.
std::int32_t LeadingNumber(const std::string& text) {
    std::size_t next = 0;
    while (next < text.size() && (text[next] == ' ' || (text[next] >= '\t' && text[next] <= '\r'))) {
        ++next;
    }
    const bool negative = next < text.size() && text[next] == '-';
    if (next < text.size() && (text[next] == '-' || text[next] == '+')) {
        ++next;
    }
    std::int64_t number = 0;
    for (; next < text.size() && text[next] >= '0' && text[next] <= '9'; ++next) {
        number = std::min<std::int64_t>(number * 10 + (text[next] - '0'), std::int64_t{1} << 40);
    }
    number = negative ? -number : number;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, INT32_MIN, INT32_MAX));
}

using Fields = std::map<std::string, std::string>;

Fields Shown(const DeviceInfoRecord& info) {
    return {{"DeviceType", info.device_type}, {"UID", info.uid},         {"SoftWare", info.software},
            {"HardWare", info.hardware},      {"Company", info.company}, {"Channel", info.channel},
            {"TX_POWER", info.tx_power}};
}

/// Strings replace, everything else leaves a field as it was.
void Update(Fields& fields, const std::string& text) {
    Json::Value parsed;
    if (!Parses(text, &parsed) || !parsed.isObject()) {
        return;
    }
    const Json::Value& root = parsed;
    for (auto& [key, value] : fields) {
        if (root[key].isString()) {
            value = root[key].asString();
        }
    }
}

void ComeUp(DeviceType type, const std::vector<std::string>& pieces) {
    test::CountingVoteDeck deck;
    test::CountingVoteDeckControl control;
    test::ResetClosedDoubles();
    test::ClosedFactories().create_vdo = [&](const std::string&, zq::IVoteDeck** made,
                                             IVoteDeckControl** made_control) {
        *made = &deck;
        *made_control = &control;
    };
    test::ChosenChannel registry;
    std::optional<std::int32_t> chosen = ChannelOf(pieces[0]);
    if (chosen) {
        registry.Set(*chosen);
    }
    VoteDeckObject_TQ object(type);
    Fields expected = Shown(DeviceInfoRecord());
    std::uint64_t channels = 0;
    for (std::size_t i = 1; i < std::min<std::size_t>(pieces.size(), 9); ++i) {
        control.info = pieces[i];
        FUZZ_REQUIRE(object.Initialize() == kDeviceStatusConnected);
        Update(expected, pieces[i]);
        if (type == DeviceType::TQ2) {
            const std::int32_t used = LeadingNumber(expected["Channel"]);
            if (chosen && *chosen >= 0) {
                if (std::to_string(*chosen) != expected["Channel"]) {
                    expected["Channel"] = std::to_string(*chosen);
                    ++channels;
                    FUZZ_REQUIRE(control.channel == *chosen);
                }
            } else if (used >= 0) {
                chosen = used;
            }
        }
        FUZZ_REQUIRE(Shown(object.GetDeviceInfo()) == expected);
        FUZZ_REQUIRE(control.channels == channels);
        FUZZ_REQUIRE(registry.Get() == chosen);
    }
}

}  // namespace
}  // namespace vdipc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdipc;
    const std::vector<std::string> pieces = fuzz::Pieces(data, size);
    fuzz::ComeUp(DeviceType::TQ1, pieces);
    fuzz::ComeUp(DeviceType::TQ2, pieces);
    return 0;
}
