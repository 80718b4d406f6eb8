#include "unit/messages/support/Messages.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace vdipc::test {

std::string Quoted(std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    return text;
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        throw std::runtime_error("no JSON: " + errors + " in: " + text);
    }
    return root;
}

std::string OneLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

std::vector<Json::Value> ValuesOfOtherTypes(Json::ValueType type) {
    Json::Value array(Json::arrayValue);
    array.append("a");
    Json::Value object(Json::objectValue);
    object["a"] = "b";
    const std::vector<Json::Value> all = {
        Json::Value(), Json::Value(7), Json::Value(1.5), Json::Value("text"), Json::Value(true),
        array,         object};
    std::vector<Json::Value> others;
    std::copy_if(all.begin(), all.end(), std::back_inserter(others),
                 [type](const Json::Value& value) { return value.type() != type; });
    return others;
}

Json::Value Without(Json::Value object, const std::string& key) {
    object.removeMember(key);
    return object;
}

Json::Value With(Json::Value object, const std::string& key, const Json::Value& value) {
    object[key] = value;
    return object;
}

}  // namespace vdipc::test
