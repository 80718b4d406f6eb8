#include "messages/Vocabulary.h"

#include "common/StandardErrors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vdipc {
namespace {

using NumbersAndNames = std::vector<std::pair<std::string, int>>;

/// Every row in both tables, and nothing else in either.
template <typename Number>
void ExpectRows(const Vocabulary<Number>& vocabulary, const NumbersAndNames& rows) {
    EXPECT_EQ(vocabulary.numbers.size(), rows.size());
    EXPECT_EQ(vocabulary.names.size(), rows.size());
    for (const auto& [name, number] : rows) {
        SCOPED_TRACE(name);
        ASSERT_EQ(vocabulary.numbers.count(name), 1U);
        EXPECT_EQ(static_cast<int>(vocabulary.numbers.at(name)), number);
        ASSERT_EQ(vocabulary.names.count(static_cast<Number>(number)), 1U);
        EXPECT_EQ(vocabulary.names.at(static_cast<Number>(number)), name);
    }
}

TEST(Vocabulary, CommandTypes_HaveTheirSevenRows) {
    ExpectRows(kCommandTypes,
               {{"init", 0}, {"ask", 1}, {"stop", 2}, {"text", 3}, {"hi", 4}, {"drop", 5}, {"quit", 6}});
}

TEST(Vocabulary, EventTypes_HaveTheirTenRows) {
    ExpectRows(kEventTypes, {{"device-inited", 0},
                             {"arrived", 1},
                             {"removed", 2},
                             {"activated", 3},
                             {"inactivated", 4},
                             {"key-pressed", 5},
                             {"audio-recognized", 6},
                             {"voice-evaluated", 7},
                             {"evaluated", 8},
                             {"voice-record", 9}});
}

TEST(Vocabulary, PreferredDeviceTypes_HaveTheirThreeRows) {
    ExpectRows(kPreferredDeviceTypes, {{"non-audio", 0}, {"audio", 1}, {"any", 2}});
}

TEST(Vocabulary, DeviceTypes_HaveTheEmptyNameAsARowOfBothTables) {
    ExpectRows(kDeviceTypes, {{"", -1}, {"TQ1", 0}, {"TQ2", 1}, {"RV1", 2}, {"RV2", 3}, {"LW", 4}});
}

TEST(Vocabulary, DeviceStatusInfos_HaveTheirThreeRows) {
    ExpectRows(kDeviceStatusInfos, {{"no-power", 0}, {"not-connected", 1}, {"ip-not-set", 2}});
}

TEST(Vocabulary, EventRemovedInfos_AreTablesOfTheirOwnWithTheSameRows) {
    ExpectRows(kEventRemovedInfos, {{"no-power", 0}, {"not-connected", 1}, {"ip-not-set", 2}});
    EXPECT_NE(&kEventRemovedInfos, &kDeviceStatusInfos);
}

TEST(Vocabulary, QuestionTypes_HaveTheirThirteenRows) {
    ExpectRows(kQuestionTypes, {{"single-choice", 0},
                                {"multiple-choice", 1},
                                {"red-envelope", 2},
                                {"continous-red-envelope", 3},
                                {"true-false", 4},
                                {"audio", 5},
                                {"audio-single", 6},
                                {"audio-multiple", 7},
                                {"audio-multiple-chn", 8},
                                {"evaluation", 9},
                                {"voice-record", 10},
                                {"general", 11},
                                {"multiple-question-single-choice", 12}});
}

TEST(Vocabulary, HiArgumentTypes_HaveTheirThreeRows) {
    ExpectRows(kHiArgumentTypes, {{"led", 0}, {"motor", 1}, {"beep", 2}});
}

TEST(Vocabulary, HiArgumentColors_BeginAtOne) {
    ExpectRows(kHiArgumentColors, {{"blue", 1},
                                   {"green", 2},
                                   {"blue-green", 3},
                                   {"red", 4},
                                   {"magenta", 5},
                                   {"yellow", 6},
                                   {"white", 7}});
    EXPECT_EQ(kHiArgumentColors.names.count(static_cast<HiArgumentColor>(0)), 0U);
}

TEST(Vocabulary, NumberWithoutRow_RaisesInvalidMapKey) {
    try {
        MapAt(kDeviceStatusInfos.names, static_cast<DeviceStatusInfo>(-2));
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid map<K, T> key");
    }
}

}  // namespace
}  // namespace vdipc
