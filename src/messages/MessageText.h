// What the decoders and encoders of MessageCodec share. Internal to this folder.
#pragma once

#include <json/json.h>

#include <string>

namespace vdipc::message_text {

/// Parses a text and takes it for a message when it is an object that holds a string under `type_key`
/// ("command" or "event"); that string goes to `name`.
bool ParseMessage(const std::string& text, const char* type_key, Json::Value* root, std::string* name);

/// As ParseMessage, and false for a message of any other name than this.
bool ParseMessageNamed(const std::string& text, const char* type_key, const char* name, Json::Value* root);

/// The string under a key, in the active code page. False, and the field stays, when there is none.
bool ReadText(const Json::Value& object, const char* key, std::string* field);

/// A key or a word of the protocol, which the value names and doesn't copy: for texts that live as long as the process.
inline Json::StaticString Name(const char* text) {
    return Json::StaticString(text);
}

/// A string value for a text in the active code page.
Json::Value WireText(const std::string& text);

/// The text of a finished event.
std::string Finish(const Json::Value& root);

}  // namespace vdipc::message_text
