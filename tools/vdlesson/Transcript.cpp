#include "tools/vdlesson/Transcript.h"

#include <algorithm>
#include <cstdio>

namespace vdipc::tools {

std::string Seconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", seconds);
    return text;
}

std::string DescribeEvent(const Json::Value& event) {
    std::string words = event["event"].asString();
    if (event["device"].isString()) {
        words += ", pupil " + event["device"].asString();
    }
    if (event["key"].isString() && !event["key"].asString().empty()) {
        words += ", answer " + event["key"].asString();
    }
    const Json::Value& data = event["data"];
    if (data.isObject()) {
        if (data["result"].isString()) {
            words += ", said \"" + data["result"].asString() + "\"";
        }
        if (data["score"].isInt()) {
            words += ", score " + std::to_string(data["score"].asInt());
        }
        if (data["error"].isInt() && data["error"].asInt() != 0) {
            words += ", error " + std::to_string(data["error"].asInt());
        }
        if (data["raw_result"].isObject()) {
            words += ", with a detailed result";
        }
    }
    if (event["extra"].isString() && !event["extra"].asString().empty()) {
        words += ", file " + event["extra"].asString();
    }
    if (event["ready"].isBool()) {
        words += event["ready"].asBool() ? ", ready with" : ", not ready";
        for (const Json::Value& kind : event["avaliable-device"]) {
            words += " " + kind.asString();
        }
    }
    if (event["info"].isString()) {
        words += " (" + event["info"].asString() + ")";
    }
    return words;
}

std::vector<std::string> DisplayRows(const Json::Value& state, const std::string& receiver, int keypad) {
    std::vector<std::string> rows;
    for (const Json::Value& candidate : state["keypads"]) {
        if (candidate["kind"] == receiver && candidate["keypad"] == keypad) {
            for (const Json::Value& row : candidate["rows"]) {
                rows.push_back(row.isObject() ? row["text"].asString() : row.asString());
            }
        }
    }
    return rows;
}

void AnswerTable::Add(int keypad, double seconds, const std::string& answer) {
    entries_.push_back({keypad, seconds, answer});
}

std::vector<std::string> AnswerTable::Rows() const {
    std::vector<std::string> rows;
    std::map<std::string, int> counts;
    std::string row;
    for (const Entry& entry : entries_) {
        char text[64];
        std::snprintf(text, sizeof text, "  %4d %-5s %6.2f s", entry.keypad, entry.answer.c_str(),
                      entry.seconds);
        row += text;
        if (row.size() > 80) {
            rows.push_back(row);
            row.clear();
        }
        ++counts[entry.answer];
    }
    if (!row.empty()) {
        rows.push_back(row);
    }
    rows.push_back("  question " + question_ + ": " + std::to_string(entries_.size()) + " answers");
    for (const auto& [answer, count] : counts) {
        char text[32];
        std::snprintf(text, sizeof text, "    %-5s %3d ", answer.c_str(), count);
        rows.push_back(text + std::string(static_cast<std::size_t>(count), '#'));
    }
    return rows;
}

}  // namespace vdipc::tools
