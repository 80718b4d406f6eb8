#include "classroom/memory/Telemetry.h"

#include "classroom/world/World.h"

namespace vdipc::classroom {

Telemetry::Telemetry(World& world) : world_(world) {
    const std::filesystem::path& directory = world.TheSettings().directory;
    if (!directory.empty()) {
        file_.open(directory / "trackwire.jsonl", std::ios::binary | std::ios::trunc);
    }
}

void Telemetry::Write(const std::string& line) {
    const std::lock_guard lock(mutex_);
    file_ << "{\"n\":" << ++count_ << "," << line.substr(1) << "\n" << std::flush;
}

void Telemetry::Record(const std::vector<TelemetryPair>& pairs) {
    Json::Value record;
    record["ms"] = world_.journal.Milliseconds();
    record["kind"] = "record";
    record["action"] = "";
    record["pairs"] = Json::Value(Json::arrayValue);
    for (const TelemetryPair& pair : pairs) {
        Json::Value one(Json::arrayValue);
        one.append(pair.key);
        switch (pair.type) {
        case TelemetryPair::Type::Text:
            one.append(pair.text);
            one.append("text");
            break;
        case TelemetryPair::Type::Signed:
            one.append(Json::Int64(pair.number));
            one.append("i32");
            break;
        case TelemetryPair::Type::Unsigned:
            one.append(Json::Int64(pair.number));
            one.append("u32");
            break;
        }
        if (pair.key == "Action") {
            record["action"] = one[1];
        }
        record["pairs"].append(one);
    }
    Write(CompactJson(record));
    Json::Value args;
    args["action"] = record["action"];
    args["pairs"] = record["pairs"];
    world_.journal.Saw({"Trackwire", "record"}, "Logger", args);
}

void Telemetry::Set(const char* function, const std::string& value) {
    Json::Value record;
    record["ms"] = world_.journal.Milliseconds();
    record["kind"] = "set";
    record["function"] = function;
    record["value"] = value;
    Write(CompactJson(record));
    Json::Value args;
    args["value"] = value;
    world_.journal.Saw({"Trackwire", "library"}, function, args);
}

}  // namespace vdipc::classroom
