// How a process ends that ends itself: by abort(), also as the end of an exception that nobody catches.
#pragma once

#include <csignal>

#include <gtest/gtest.h>

namespace vdipc::test {

/// The statement runs in a process of its own, started anew, because threads may exist already.
inline void StartDeathTestsAnew() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
}

}  // namespace vdipc::test

#if defined(_WIN32)
#define VD_ENDED_BY_ABORT ::testing::ExitedWithCode(3)
#else
#define VD_ENDED_BY_ABORT ::testing::KilledBySignal(SIGABRT)
#endif

/// The statement ends its process by abort, with these words (a regular expression) on standard error.
#define EXPECT_ENDS_BY_ABORT(statement, words)                                                               \
    do {                                                                                                     \
        ::vdipc::test::StartDeathTestsAnew();                                                                \
        EXPECT_EXIT(statement, VD_ENDED_BY_ABORT, words);                                                    \
    } while (false)
