#include "unit/messages/support/Decoders.h"

#include "messages/MessageCodec.h"

namespace vdipc::test {

namespace {

template <typename Record>
bool Takes(const std::string& text) {
    Record record;
    return MessageCodec::DecodeCommand(text, &record);
}

bool TakesNumber(CommandType type, const std::string& text) {
    switch (type) {
    case CommandType::Init:
        return Takes<CommandInit>(text);
    case CommandType::Ask:
        return Takes<CommandAsk>(text);
    case CommandType::Stop:
        return Takes<CommandStop>(text);
    case CommandType::Text:
        return Takes<CommandText>(text);
    case CommandType::Hi:
        return Takes<CommandHi>(text);
    case CommandType::Drop:
        return Takes<CommandDrop>(text);
    case CommandType::Quit:
        return Takes<CommandQuit>(text);
    case CommandType::None:
        break;
    }
    return false;
}

}  // namespace

std::string TakenCommand(const std::string& text) {
    const auto type = static_cast<CommandType>(MessageCodec::DecodeCommandType(text));
    return TakesNumber(type, text) ? kCommandTypes.names.at(type) : std::string();
}

}  // namespace vdipc::test
