// The chosen channel without a registry around it: a variable in the value's place.
#include "common/Log.h"
#include "drivers/VoteDeckObject_TQ.h"
#include "unit/drivers/support/ChosenChannel.h"

#include <optional>

namespace vdipc {
namespace {

std::optional<std::int32_t> g_channel;

}  // namespace

std::int32_t VoteDeckObject_TQ::ReadChannelNumberFromReg() {
    const std::int32_t channel = g_channel.value_or(-1);
    VD_LOG(LogLevel::Info, "{}:{} channel: {}", channel);
    return channel;
}

void VoteDeckObject_TQ::WriteChannelNumberToReg(std::int32_t channel) {
    g_channel = channel;
}

namespace test {

ChosenChannel::ChosenChannel() {
    g_channel.reset();
}

ChosenChannel::~ChosenChannel() {
    g_channel.reset();
}

void ChosenChannel::Set(std::int32_t channel) {
    g_channel = channel;
}

std::optional<std::int32_t> ChosenChannel::Get() const {
    return g_channel;
}

}  // namespace test
}  // namespace vdipc
