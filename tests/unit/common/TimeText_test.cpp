#include "common/TimeText.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

namespace vdipc {
namespace {

std::string Time(const LocalTime& time, char between_date) {
    char text[kLongestTimeText];
    return {text, PutTime(text, time, between_date)};
}

template <std::uint32_t kBase>
std::string Number(std::uint32_t number, std::ptrdiff_t width) {
    char text[16];
    return {text, PutNumber<kBase>(text, number, width)};
}

TEST(TimeText, EachField_HasItsPlaceAndIsFilledWithZeros) {
    EXPECT_EQ(Time({2026, 1, 2, 3, 4, 5, 6}, '.'), "2026.01.02 03:04:05.006");
    EXPECT_EQ(Time({987, 11, 22, 13, 14, 15, 678}, '-'), "0987-11-22 13:14:15.678");
    EXPECT_EQ(Time({}, '.'), "0000.00.00 00:00:00.000");
}

TEST(TimeText, FieldThatIsWiderThanItsPlace_IsWhole) {
    EXPECT_EQ(Time({30827, 100, 100, 100, 100, 100, 1000}, '-'), "30827-100-100 100:100:100.1000");
    constexpr int kMost = std::numeric_limits<int>::max();
    EXPECT_EQ(Time({kMost, kMost, kMost, kMost, kMost, kMost, kMost}, '-').size(), 7U * 10 + 6);
}

TEST(TimeText, Number_HasAtLeastItsWidthInDecimalAndInSmallHexadecimalDigits) {
    EXPECT_EQ(Number<10>(0, 1), "0");
    EXPECT_EQ(Number<10>(1209, 3), "1209");
    EXPECT_EQ(Number<10>(4294967295U, 1), "4294967295");
    EXPECT_EQ(Number<16>(0x1a4, 5), "001a4");
    EXPECT_EQ(Number<16>(0xfedcba98U, 5), "fedcba98");
}

}  // namespace
}  // namespace vdipc
