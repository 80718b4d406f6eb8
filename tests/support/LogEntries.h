// The line with which an operation begins.
#pragma once

#include "support/LogCapture.h"

#include <algorithm>
#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace vdipc::test {

/// The call logs the function's entry: its first line, at Trace, and no further one there. The log is cleared before.
inline void ExpectEntry(LogCapture& log, const std::string& function, const std::string& rest,
                        const std::function<void()>& call) {
    log.Clear();
    call();
    const auto lines = log.OfFunction(function);
    ASSERT_FALSE(lines.empty()) << function;
    EXPECT_EQ(lines[0].level, LogLevel::Trace) << function;
    EXPECT_EQ(lines[0].rest, rest) << function;
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const LogLine& line) { return line.level == LogLevel::Trace; }),
              1)
        << function;
}

}  // namespace vdipc::test
