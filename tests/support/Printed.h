// What the code under test writes to its standard output.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace vdipc::test {

/// What is printed while the action runs; ends of lines are \n everywhere.
template <typename Action>
std::string Printed(Action action) {
    std::fflush(stdout);
    testing::internal::CaptureStdout();
    action();
    std::fflush(stdout);
    std::string text = testing::internal::GetCapturedStdout();
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

}  // namespace vdipc::test
