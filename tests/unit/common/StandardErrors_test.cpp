#include "common/StandardErrors.h"
#include "support/Endings.h"

#include <map>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

template <typename Error, typename Action>
std::string WordsOf(Action action) {
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return "nothing raised";
}

TEST(StandardErrors, MissingMapKey_RaisesOutOfRangeInFixedWords) {
    const std::map<int, std::string> map = {{1, "one"}};
    EXPECT_EQ(MapAt(map, 1), "one");
    EXPECT_EQ(WordsOf<std::out_of_range>([&map] { MapAt(map, 2); }), "invalid map<K, T> key");
}

TEST(StandardErrors, ParseUnsigned32_TakesDecimalText) {
    EXPECT_EQ(ParseUnsigned32("0"), 0u);
    EXPECT_EQ(ParseUnsigned32("4294967295"), 4294967295u);
    EXPECT_EQ(ParseUnsigned32("007"), 7u);
    EXPECT_EQ(ParseUnsigned32(" \t\n\v\f\r+12"), 12u);
    EXPECT_EQ(ParseUnsigned32("12abc"), 12u);
    EXPECT_EQ(ParseUnsigned32("0x10"), 0u);
    EXPECT_EQ(ParseUnsigned32(std::string("1\0002", 3)), 1u);
}

TEST(StandardErrors, ParseUnsigned32_MinusSignNegatesModulo32Bits) {
    EXPECT_EQ(ParseUnsigned32("-1"), 4294967295u);
    EXPECT_EQ(ParseUnsigned32("-4294967295"), 1u);
    EXPECT_EQ(ParseUnsigned32("-0"), 0u);
}

TEST(StandardErrors, ParseUnsigned32_WithoutDigits_RaisesInvalidArgument) {
    for (const char* text : {"", " ", "abc", "-", "+", "+-1", "- 1"}) {
        EXPECT_EQ(WordsOf<std::invalid_argument>([text] { ParseUnsigned32(text); }), "invalid stoul argument")
            << text;
    }
}

TEST(StandardErrors, ParseUnsigned32_BehindAControlCharacterThatIsNoWhiteSpace_RaisesInvalidArgument) {
    for (char c = '\x01'; c < ' '; ++c) {
        const std::string text = std::string(1, c) + "7";
        if (c >= '\t' && c <= '\r') {
            EXPECT_EQ(ParseUnsigned32(text), 7u) << static_cast<int>(c);
        } else {
            EXPECT_EQ(WordsOf<std::invalid_argument>([&text] { ParseUnsigned32(text); }),
                      "invalid stoul argument")
                << static_cast<int>(c);
        }
    }
    for (const char* text : {"\x7f"
                             "7",
                             "\x85"
                             "7",
                             "\xa0"
                             "7"}) {
        EXPECT_EQ(WordsOf<std::invalid_argument>([text] { ParseUnsigned32(text); }),
                  "invalid stoul argument");
    }
}

TEST(StandardErrors, ParseUnsigned32_Beyond32Bits_RaisesOutOfRange) {
    for (const char* text : {"4294967296", "-4294967296", "99999999999999999999999999"}) {
        EXPECT_EQ(WordsOf<std::out_of_range>([text] { ParseUnsigned32(text); }),
                  "stoul argument out of range")
            << text;
    }
}

TEST(StandardErrors, PrintBounded260_KeepsUpTo259Characters) {
    EXPECT_EQ(PrintBounded260("%s%u-%x.%s", "dir\\", 7u, 255u, "wav"), "dir\\7-ff.wav");
    const std::string longest(259, 'x');
    EXPECT_EQ(PrintBounded260("%s", longest.c_str()), longest);
}

TEST(StandardErrors, PrintBounded260_OfNothing_GivesAnEmptyText) {
    EXPECT_EQ(PrintBounded260("%s", ""), "");
}

TEST(StandardErrorsDeathTest, PrintBounded260_OneCharacterMore_EndsTheProcess) {
    const std::string text(260, 'x');
    EXPECT_ENDS_BY_ABORT(PrintBounded260("%s", text.c_str()), "invalid parameter");
}

}  // namespace
}  // namespace vdipc
