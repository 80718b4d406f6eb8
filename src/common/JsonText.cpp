#include "common/JsonText.h"

#include <memory>
#include <sstream>
#include <utility>

namespace vdipc {
namespace {

// Made once, since its settings are JSON themselves and cost more than a message. Never destroyed: threads of other
// libraries may come here as long as the process lives.
const Json::CharReaderBuilder& ReaderBuilder() {
    static const Json::CharReaderBuilder& builder = *new Json::CharReaderBuilder();
    return builder;
}

const Json::StreamWriterBuilder& WriterBuilder() {
    static const Json::StreamWriterBuilder& builder = *new Json::StreamWriterBuilder();
    return builder;
}

}  // namespace

bool ParseJson(const std::string& text, Json::Value* root) {
    const std::unique_ptr<Json::CharReader> reader(ReaderBuilder().newCharReader());
    std::string errors;
    try {
        return reader->parse(text.data(), text.data() + text.size(), root, &errors);
    } catch (const Json::Exception&) {
        return false;
    }
}

bool ParseJson(std::istream& stream, Json::Value* root) {
    std::string errors;
    try {
        return Json::parseFromStream(ReaderBuilder(), stream, root, &errors);
    } catch (const Json::Exception&) {
        return false;
    }
}

std::string StyledText(const Json::Value& root) {
    std::ostringstream text;
    if (root.hasComment(Json::commentBefore)) {
        text << '\n';
    }
    const std::unique_ptr<Json::StreamWriter> writer(WriterBuilder().newStreamWriter());
    writer->write(root, &text);
    text << '\n';
    return std::move(text).str();
}

}  // namespace vdipc
