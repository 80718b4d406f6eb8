#include "classroom/memory/Journal.h"

#include "classroom/system/Platform.h"

#include <cmath>
#include <memory>

namespace vdipc::classroom {

Journal::Journal() : begin_(std::chrono::steady_clock::now()) {}

void Journal::SetLimit(std::size_t records) {
    const std::lock_guard lock(mutex_);
    limit_ = records;
}

std::uint64_t Journal::Saw(const Place& place, const char* call, const Json::Value& args,
                           const Json::Value& result) {
    Json::Value record;
    record["ms"] = Milliseconds();
    record["library"] = place.library;
    record["object"] = place.object;
    record["call"] = call;
    record["args"] = args.isNull() ? Json::Value(Json::objectValue) : args;
    if (!result.isNull()) {
        record["result"] = result;
    }
    record["thread"] = platform::ThreadNumber();
    const std::string text = CompactJson(record);

    const std::lock_guard lock(mutex_);
    const std::uint64_t number = first_ + records_.size();
    records_.push_back("{\"n\":" + std::to_string(number) + "," + text.substr(1));
    if (record["call"].asString().rfind("->", 0) != 0) {
        last_calls_[place.object] = records_.back();
    }
    while (records_.size() > limit_) {
        records_.pop_front();
        ++first_;
    }
    came_.notify_all();
    return number;
}

void Journal::Misuse(const Place& place, const char* call, const std::string& text) {
    Json::Value misuse;
    misuse["ms"] = Milliseconds();
    misuse["library"] = place.library;
    misuse["object"] = place.object;
    misuse["call"] = call;
    misuse["text"] = text;
    {
        const std::lock_guard lock(mutex_);
        misuse["n"] = Json::UInt64(first_ + records_.size() - 1);
        misuses_.append(misuse);
    }
    platform::WriteError("MISUSE: " + std::string(place.library) + " " + place.object + " " + call + ": " +
                         text + "\n");
}

std::vector<std::string> Journal::Since(std::uint64_t number, std::size_t most,
                                        std::chrono::milliseconds wait, std::uint64_t& next) const {
    std::unique_lock lock(mutex_);
    came_.wait_for(lock, wait, [&] { return first_ + records_.size() > number; });
    std::vector<std::string> found;
    for (next = number < first_ ? first_ : number; next < first_ + records_.size() && found.size() < most;
         ++next) {
        found.push_back(records_[static_cast<std::size_t>(next - first_)]);
    }
    return found;
}

Json::Value Journal::Misuses() const {
    const std::lock_guard lock(mutex_);
    return misuses_;
}

Json::Value Journal::LastCalls() const {
    std::map<std::string, std::string> calls;
    {
        const std::lock_guard lock(mutex_);
        calls = last_calls_;
    }
    Json::Value value(Json::objectValue);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    for (const auto& [object, text] : calls) {
        reader->parse(text.data(), text.data() + text.size(), &value[object], nullptr);
    }
    return value;
}

std::uint64_t Journal::Last() const {
    const std::lock_guard lock(mutex_);
    return first_ + records_.size() - 1;
}

double Journal::Milliseconds() const {
    const std::chrono::duration<double, std::milli> past = std::chrono::steady_clock::now() - begin_;
    return std::round(past.count() * 1000.0) / 1000.0;
}

void Journal::Reset() {
    const std::lock_guard lock(mutex_);
    first_ += records_.size();
    records_.clear();
}

void Journal::ResetMisuse() {
    const std::lock_guard lock(mutex_);
    misuses_ = Json::Value(Json::arrayValue);
}

std::string CompactJson(const Json::Value& value) {
    static const Json::StreamWriterBuilder* const builder = [] {
        auto* const made = new Json::StreamWriterBuilder;
        (*made)["indentation"] = "";
        (*made)["emitUTF8"] = true;
        (*made)["precision"] = 9;
        return made;
    }();
    return Json::writeString(*builder, value);
}

std::uint32_t Crc32(const void* data, std::size_t size) {
    static const auto* const table = [] {
        auto* const made = new std::uint32_t[256];
        for (std::uint32_t i = 0; i < 256; ++i) {
            std::uint32_t value = i;
            for (int bit = 0; bit < 8; ++bit) {
                value = (value & 1U) != 0 ? 0xEDB88320U ^ (value >> 1) : value >> 1;
            }
            made[i] = value;
        }
        return made;
    }();
    std::uint32_t crc = 0xFFFFFFFFU;
    const auto* const bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        crc = table[(crc ^ bytes[i]) & 0xFFU] ^ (crc >> 8);
    }
    return crc ^ 0xFFFFFFFFU;
}

}  // namespace vdipc::classroom
