// JSON text from outside: messages, small files, what a receiver tells about itself.
#pragma once

#include <json/json.h>

#include <istream>
#include <string>

namespace vdipc {

/// Parses with the parser's default settings; what is wrong with a text is not told. The parser raises where a text is
/// nested deeper than it follows; here that is one more way to be wrong, so that no text from outside ends the process.
bool ParseJson(const std::string& text, Json::Value* root);

/// As above, for all that is left of a stream.
bool ParseJson(std::istream& stream, Json::Value* root);

/// The text of Value::toStyledString: several lines, indented, ending in a line break; what is beyond ASCII is escaped.
std::string StyledText(const Json::Value& root);

}  // namespace vdipc
