#include "common/JsonText.h"

#include <memory>

namespace vdipc {

bool ParseJson(const std::string& text, Json::Value* root) {
    const Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
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
        return Json::parseFromStream(Json::CharReaderBuilder(), stream, root, &errors);
    } catch (const Json::Exception&) {
        return false;
    }
}

}  // namespace vdipc
