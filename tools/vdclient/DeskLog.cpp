#include "tools/vdclient/DeskLog.h"

#include <algorithm>

namespace vdipc::tools {
namespace {

// A reader that comes late gets what there is in pieces.
constexpr std::size_t kAtOnce = 500;

std::string Compact(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

}  // namespace

void DeskLog::Note(const char* kind, const Json::Value& message) {
    Json::Value record;
    record["kind"] = kind;
    record["time"] = Json::Int64(std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::system_clock::now().time_since_epoch())
                                     .count());
    record["message"] = message;
    const std::string text = Compact(record);
    const std::lock_guard lock(mutex_);
    records_.push_back("{\"n\":" + std::to_string(first_ + records_.size()) + "," + text.substr(1));
    while (records_.size() > most_) {
        records_.pop_front();
        ++first_;
    }
    came_.notify_all();
}

void DeskLog::SetStatus(const Json::Value& status) {
    const std::string text = Compact(status);
    const std::lock_guard lock(mutex_);
    if (text != status_) {
        status_ = text;
        ++status_changes_;
        came_.notify_all();
    }
}

std::string DeskLog::Next(Place& place, std::chrono::milliseconds wait) const {
    std::unique_lock lock(mutex_);
    came_.wait_for(lock, wait,
                   [&] { return first_ + records_.size() > place.next || status_changes_ != place.status; });
    std::string events;
    if (status_changes_ != place.status) {
        place.status = status_changes_;
        events = "event: status\ndata: " + status_ + "\n\n";
    }
    place.next = std::max(place.next, first_);
    std::string array;
    for (std::size_t taken = 0; taken < kAtOnce && place.next < first_ + records_.size(); ++taken) {
        array += (array.empty() ? "[" : ",") + records_[static_cast<std::size_t>(place.next - first_)];
        ++place.next;
    }
    if (!array.empty()) {
        events += "event: records\ndata: " + array + "]\n\n";
    }
    return events;
}

}  // namespace vdipc::tools
