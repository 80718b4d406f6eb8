#include "messages/MessageText.h"

#include "common/JsonText.h"
#include "common/TextEncoding.h"

namespace vdipc::message_text {

bool ParseMessage(const std::string& text, const char* type_key, Json::Value* root, std::string* name) {
    if (!ParseJson(text, root) || !root->isObject()) {
        return false;
    }
    const Json::Value& object = *root;
    return object[type_key] != Json::Value::nullSingleton() && ReadText(object, type_key, name);
}

bool ParseMessageNamed(const std::string& text, const char* type_key, const char* name, Json::Value* root) {
    std::string found;
    return ParseMessage(text, type_key, root, &found) && found == name;
}

bool ReadText(const Json::Value& object, const char* key, std::string* field) {
    const Json::Value& value = object[key];
    if (!value.isString()) {
        return false;
    }
    *field = ToActiveCodePage(value.asString());
    return true;
}

Json::Value WireText(const std::string& text) {
    const std::string wire = ToUtf8(text);
    return wire.empty() ? Json::Value(Name("")) : Json::Value(wire);
}

std::string Finish(const Json::Value& root) {
    // The strings inside are UTF-8 already, and the writer escapes what they hold beyond ASCII. Converting the whole
    // once more belongs to the format: it shows in comments that a nested result brings along, which are written raw.
    return ToUtf8(StyledText(root));
}

}  // namespace vdipc::message_text
