// Messages made for tests, and values of every JSON type.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace vdipc::test {

/// A JSON text with ' in place of ", which keeps test code readable.
std::string Quoted(std::string text);

Json::Value ParseJson(const std::string& text);

/// The text of a value as another program might write it, on one line.
std::string OneLine(const Json::Value& value);

/// One value of each JSON type but this, null included.
std::vector<Json::Value> ValuesOfOtherTypes(Json::ValueType type);

/// A copy of an object without a key, or with a key set.
Json::Value Without(Json::Value object, const std::string& key);
Json::Value With(Json::Value object, const std::string& key, const Json::Value& value);

}  // namespace vdipc::test
