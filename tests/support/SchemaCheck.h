// Holds messages against the JSON Schemas in schema/. Any thread; the schemas are read once, at first use, from the
// folder that the environment variable VDIPC_SCHEMA_DIR names, else from the source tree.
#pragma once

#include <string>

namespace vdipc::test {

/// The folder with the schemas, as this process can open it (a Unix path is found under Wine as well). Raises
/// std::runtime_error when there is none.
std::string SchemaFolder();

/// Empty for a text (UTF-8) that is a valid event or command, else one line that says what is wrong and where.
std::string CheckEvent(const std::string& json);
std::string CheckCommand(const std::string& json);

}  // namespace vdipc::test
