// One line of the log, cut into its fields.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vdipc::log {

/// A place and a moment in the log: what a finding points at.
struct Mark {
    std::uint32_t file = 0;  // index of the input, in the order of reading
    std::uint64_t line = 0;  // from 1; 0 for a mark that isn't set
    std::int64_t time = 0;  // local time of the machine that wrote it, in milliseconds since 1970-01-01 00:00

    bool IsSet() const { return line != 0; }
};

/// The views live until the reader goes on.
struct LogLine {
    Mark at;
    std::string_view level;     // "Trace", "Debug", ...
    std::uint32_t thread = 0;   // the system's thread number
    std::string_view function;  // without what stands behind "::<lambda"; empty in a line of another form
    bool in_lambda = false;
    std::uint32_t source_line = 0;
    bool joined = false;    // no blank stands before the text: something else ran into the line
    std::string_view text;  // without line ending; may hold several lines and any byte
};

/// "14:03:07.250"; with the date in front where `with_date`.
std::string TimeText(std::int64_t time, bool with_date = false);

/// The same time for machines: "2026-11-22T14:03:07.250".
std::string IsoTimeText(std::int64_t time);

/// Milliseconds since 1970-01-01 00:00 of a date and a time of day; any numbers give some result.
std::int64_t MillisecondsOf(int year, int month, int day, int hour, int minute, int second, int milliseconds);

/// Reads "2026-11-22 14:03:07.250", where seconds and milliseconds may be missing and "T" may stand between. A time of day
/// alone counts from midnight, and `time_of_day` says so. False for anything else.
bool ReadTime(std::string_view text, std::int64_t& time, bool& time_of_day);

}  // namespace vdipc::log
