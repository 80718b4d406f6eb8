// The file of telemetry records.
#pragma once

#include <cstdint>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace vdipc::classroom {

class World;

struct TelemetryPair {
    enum class Type { Text, Signed, Unsigned };
    std::string key;  // UTF-8
    Type type = Type::Text;
    std::string text;  // UTF-8
    std::int64_t number = 0;
};

/// Any thread may call anything.
class Telemetry {
public:
    explicit Telemetry(World& world);

    void Record(const std::vector<TelemetryPair>& pairs);
    /// Value in UTF-8.
    void Set(const char* function, const std::string& value);

private:
    void Write(const std::string& line);

    World& world_;
    std::mutex mutex_;
    std::ofstream file_;
    std::uint64_t count_ = 0;
};

}  // namespace vdipc::classroom
