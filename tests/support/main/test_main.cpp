#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#endif

int main(int argc, char** argv) {
    [[maybe_unused]] const bool told_which = std::any_of(argv, argv + argc, [](const char* argument) {
        return std::string(argument).find("gtest_filter") == 2;
    });
    testing::InitGoogleMock(&argc, argv);
#if defined(_WIN32)
    // Tests of a code page that isn't active here have a process of their own, which is told to run them.
    if (!told_which && GetACP() != 936) {
        const std::string filter = GTEST_FLAG_GET(filter);
        GTEST_FLAG_SET(filter,
                       filter + (filter.find('-') == std::string::npos ? "-" : ":") + "*CodePage936*");
    }
#endif
    return RUN_ALL_TESTS();
}
