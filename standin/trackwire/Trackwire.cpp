#include "common/closed/Trackwire.h"

#include "classroom/Api.h"

#include <utility>
#include <vector>

namespace {

using namespace vdipc;
using classroom::TelemetryPair;

struct Record {
    std::vector<TelemetryPair> pairs;
    bool sent = false;
};

void Add(void* record, const std::string& key, TelemetryPair::Type type, const std::string& text,
         std::int64_t number) {
    auto* const to = static_cast<Record*>(record);
    if (to->sent) {
        classroom::ReportMisuse("Trackwire", "record", "Push", "the record was sent before");
    }
    to->pairs.push_back(
        {classroom::Utf8FromActiveCodePage(key), type, classroom::Utf8FromActiveCodePage(text), number});
}

}  // namespace

CTrackwire::CTrackwire() : record_(new Record) {}

CTrackwire::~CTrackwire() {
    delete static_cast<Record*>(record_);
}

void CTrackwire::Push(std::string key, std::string value) {
    Add(record_, key, TelemetryPair::Type::Text, value, 0);
}

void CTrackwire::Push(std::string key, std::int32_t value) {
    Add(record_, key, TelemetryPair::Type::Signed, {}, value);
}

void CTrackwire::Push(std::string key, std::uint32_t value) {
    Add(record_, key, TelemetryPair::Type::Unsigned, {}, value);
}

void CTrackwire::Logger() {
    auto* const record = static_cast<Record*>(record_);
    if (record->sent) {
        classroom::ReportMisuse("Trackwire", "record", "Logger", "the record was sent before");
    }
    record->sent = true;
    classroom::RecordTelemetry(record->pairs);
}

void SetVDShellVersionW(std::wstring version) {
    classroom::SetTelemetry("SetVDShellVersionW", classroom::Utf8FromWideText(version.c_str()));
}

void SetVdkReceiveVersionA(std::string version) {
    classroom::SetTelemetry("SetVdkReceiveVersionA", classroom::Utf8FromActiveCodePage(version));
}

void SetVdkManufactorA(std::string company) {
    classroom::SetTelemetry("SetVdkManufactorA", classroom::Utf8FromActiveCodePage(company));
}

void SetVdkChannelNumberA(std::string channel) {
    classroom::SetTelemetry("SetVdkChannelNumberA", classroom::Utf8FromActiveCodePage(channel));
}

void SetBigClassIdA(std::string id) {
    classroom::SetTelemetry("SetBigClassIdA", classroom::Utf8FromActiveCodePage(id));
}

void SetLessonNumA(std::string number) {
    classroom::SetTelemetry("SetLessonNumA", classroom::Utf8FromActiveCodePage(number));
}

void SetClassIdA(std::string id) {
    classroom::SetTelemetry("SetClassIdA", classroom::Utf8FromActiveCodePage(id));
}
