// The simulated classroom's control face, over loopback HTTP. docs/classroom.md has the actions.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <json/json.h>

namespace vdipc::tools {

/// Raises std::runtime_error with the classroom's own words when an action is refused, and when nobody answers.
class ClassroomClient {
public:
    explicit ClassroomClient(int port);
    ClassroomClient(const ClassroomClient&) = delete;
    ClassroomClient& operator=(const ClassroomClient&) = delete;
    ~ClassroomClient();

    Json::Value Do(const Json::Value& action);
    Json::Value State();
    /// Every call that a stand-in has seen from this number on, as an array; waits so long for the first.
    Json::Value SawSince(std::uint64_t number, std::uint32_t wait_ms = 0);

private:
    Json::Value Get(const std::string& path);

    struct Connection;
    std::unique_ptr<Connection> connection_;
};

/// JSON in one line, non-ASCII text as UTF-8.
std::string CompactJson(const Json::Value& value);

/// Raises std::runtime_error with the parser's words.
Json::Value ParseJsonText(const std::string& text);

}  // namespace vdipc::tools
