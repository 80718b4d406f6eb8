// What the classroom has seen: calls of the product into the stand-ins, callbacks into the product, and misuse.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::classroom {

/// Where a call went: library and object as `/saw` shows them.
struct Place {
    const char* library = "";
    std::string object;
};

/// Any thread may call anything.
class Journal {
public:
    Journal();

    void SetLimit(std::size_t records);

    /// Notes a call and returns its number. A null result is left out.
    std::uint64_t Saw(const Place& place, const char* call, const Json::Value& args,
                      const Json::Value& result = Json::Value());
    /// Notes a breach of a closed library's contract, and says so on standard error.
    void Misuse(const Place& place, const char* call, const std::string& text);

    /// Records from this number on, each a JSON object's text, at most so many; waits for the first of them.
    std::vector<std::string> Since(std::uint64_t number, std::size_t most, std::chrono::milliseconds wait,
                                   std::uint64_t& next) const;
    Json::Value Misuses() const;
    /// The product's last call to each object, by the object's name.
    Json::Value LastCalls() const;
    /// Number of the last record; 0 before the first.
    std::uint64_t Last() const;
    double Milliseconds() const;

    void Reset();
    void ResetMisuse();

private:
    std::chrono::steady_clock::time_point begin_;
    mutable std::mutex mutex_;
    mutable std::condition_variable came_;
    std::size_t limit_ = 200000;
    std::uint64_t first_ = 1;  // number of records_.front()
    std::deque<std::string> records_;
    std::map<std::string, std::string> last_calls_;
    Json::Value misuses_{Json::arrayValue};
};

/// JSON in one line, non-ASCII text as UTF-8.
std::string CompactJson(const Json::Value& value);
std::uint32_t Crc32(const void* data, std::size_t size);

}  // namespace vdipc::classroom
