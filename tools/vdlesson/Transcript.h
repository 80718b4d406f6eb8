// Words and tables of a lesson's transcript.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::tools {

/// One event in a teacher's words.
std::string DescribeEvent(const Json::Value& event);

/// "1.250 s".
std::string Seconds(double seconds);

/// The three display rows of a keypad in the classroom's state; empty when it has none.
std::vector<std::string> DisplayRows(const Json::Value& state, const std::string& receiver, int keypad);

/// Who answered what, and when, with a bar for each choice.
class AnswerTable {
public:
    explicit AnswerTable(std::string question) : question_(std::move(question)) {}
    void Add(int keypad, double seconds, const std::string& answer);
    std::vector<std::string> Rows() const;

private:
    struct Entry {
        int keypad;
        double seconds;
        std::string answer;
    };
    std::string question_;
    std::vector<Entry> entries_;
};

}  // namespace vdipc::tools
