#include "support/DeviceTest.h"

#include <algorithm>

namespace vdipc::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Keys : public DeviceTest {};

TEST_F(Keys, KeyToString_GivesTheTextOfEachValue) {
    const std::pair<std::int32_t, std::string> table[] = {{1, "A"}, {2, "B"}, {3, "C"}, {4, "D"}, {5, "T"},
                                                          {6, "F"}, {7, "T"}, {8, "F"}, {9, "G"}};
    for (const auto& [value, text] : table) {
        EXPECT_EQ(device_.KeyToString(value), text);
    }
    for (const std::int32_t value : {-1, 0, 10, 12, 1000}) {
        EXPECT_EQ(device_.KeyToString(value), "");
    }
}

TEST_F(Keys, SingleChoice_KeysNineTwoThreeGiveOneEventWithB) {
    device_.HandleAsk(Ask("7", QuestionType::SingleChoice));
    EXPECT_EQ(Press(7, 9), "kept");
    EXPECT_EQ(Press(7, 2), "sent");
    EXPECT_EQ(Press(7, 3), "dropped");
    EXPECT_THAT(DeviceTest::Keys(), ElementsAre("B"));
}

TEST_F(Keys, MultipleChoice_KeysThreeOneThreeFiveGiveOneEventWithCA) {
    device_.HandleAsk(Ask("7", QuestionType::MultipleChoice));
    for (const std::int32_t key : {3, 1, 3}) {
        EXPECT_EQ(Press(7, key), "kept");
    }
    EXPECT_EQ(Press(7, 5), "sent");
    EXPECT_EQ(Press(7, 1), "dropped");
    EXPECT_THAT(DeviceTest::Keys(), ElementsAre("CA"));
}

TEST_F(Keys, MultipleChoice_CommitAtOnceGivesOneEventWithAnEmptyKeyAndFinishes) {
    device_.HandleAsk(Ask("7", QuestionType::MultipleChoice));
    EXPECT_EQ(Press(7, 5), "sent");
    EXPECT_THAT(DeviceTest::Keys(), ElementsAre(""));
    EXPECT_TRUE(device_.IsLastAnswerFinished("7"));
}

TEST_F(Keys, MultipleChoice_KeysOneSixFiveGiveTheSameEmptyEvent) {
    device_.HandleAsk(Ask("7", QuestionType::MultipleChoice));
    EXPECT_EQ(Press(7, 1), "kept");
    EXPECT_EQ(Press(7, 6), "kept");
    EXPECT_EQ(Press(7, 5), "sent");
    EXPECT_THAT(DeviceTest::Keys(), ElementsAre(""));
}

TEST_F(Keys, MultipleChoice_LogsEachStep) {
    device_.HandleAsk(Ask("7", QuestionType::MultipleChoice));
    log_.Clear();
    for (const std::int32_t key : {3, 1, 3, 8, 4, 9, 7}) {
        Press(7, key);
    }
    std::vector<std::string> lines = DebugLines("FilterKeyEvent");
    std::erase_if(lines, [](const std::string& line) { return line.rfind("question_type=1, ", 0) == 0; });
    EXPECT_THAT(lines,
                ElementsAre("key=C", "save keyC, all keys=C", "key=A", "save keyA, all keys=CA", "key=C",
                            "key F, clear", "key=D", "save keyD, all keys=D", "key T, commit"));
    EXPECT_THAT(DeviceTest::Keys(), ElementsAre("D"));
}

TEST_F(Keys, General_KeysWithoutTextGiveEventsWithAnEmptyKey) {
    device_.HandleAsk(Ask("7", QuestionType::General));
    EXPECT_EQ(Press(7, 0), "sent");
    EXPECT_EQ(Press(7, 12), "sent");
    EXPECT_THAT(DeviceTest::Keys(), ElementsAre("", ""));
}

TEST_F(Keys, TrueFalse_SevenAndFiveAreTAndEightAndSixAreF) {
    const std::pair<std::int32_t, std::string> table[] = {{7, "T"}, {5, "T"}, {8, "F"}, {6, "F"}};
    for (const auto& [key, text] : table) {
        device_.HandleAsk(Ask("7", QuestionType::TrueFalse));
        EXPECT_EQ(Press(7, key), "sent");
        EXPECT_EQ(DeviceTest::Keys().back(), text);
    }
}

TEST_F(Keys, FilterKeyEvent_LogsTypeAndValueAndTheNewKey) {
    AnswerRecord answer;
    device_.FilterKeyEvent(0, 9, answer);
    device_.FilterKeyEvent(0, 2, answer);
    EXPECT_THAT(DebugLines("FilterKeyEvent"),
                ElementsAre("question_type=0, enKeyValue=9", "question_type=0, enKeyValue=2", "key=B"));
}

// What counts for each type, key by key.

struct FilterRow {
    std::int32_t type;
    std::vector<std::int32_t> counting;  // of the values 0 to 12
    bool finishes;
};

class FilterTable : public Keys, public testing::WithParamInterface<FilterRow> {};

TEST_P(FilterTable, Row_EachKeyValueFromMinusOneToTwelve) {
    const FilterRow& row = GetParam();
    for (std::int32_t value = -1; value <= 12; ++value) {
        AnswerRecord answer;
        answer.key_event.key = "before";
        const bool counts = std::count(row.counting.begin(), row.counting.end(), value) == 1;
        EXPECT_EQ(device_.FilterKeyEvent(row.type, value, answer), counts) << value;
        EXPECT_EQ(answer.key_event.key, counts ? device_.KeyToString(value) : "before") << value;
        EXPECT_EQ(answer.finished, counts && row.finishes) << value;
    }
}

const std::vector<std::int32_t> kAllValues = {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

INSTANTIATE_TEST_SUITE_P(Types, FilterTable,
                         testing::Values(FilterRow{0, {1, 2, 3, 4}, true}, FilterRow{2, {9}, true},
                                         FilterRow{3, {9}, false}, FilterRow{4, {5, 6, 7, 8}, true},
                                         FilterRow{5, {}, false}, FilterRow{6, {}, false},
                                         FilterRow{7, {}, false}, FilterRow{8, {}, false},
                                         FilterRow{9, {}, false}, FilterRow{10, {}, false},
                                         FilterRow{11, kAllValues, false}, FilterRow{12, kAllValues, false},
                                         FilterRow{13, {}, false}, FilterRow{99, {}, false},
                                         FilterRow{-1, {}, false}));

TEST_F(Keys, FilterMultipleChoice_GivesTheFinishedFlagForEveryKey) {
    for (const bool finished : {false, true}) {
        for (std::int32_t value = -1; value <= 12; ++value) {
            AnswerRecord answer;
            answer.finished = finished;
            answer.key_event.key = "B";
            const bool commits = value == 5 || value == 7;
            EXPECT_EQ(device_.FilterKeyEvent(1, value, answer), finished || commits) << value;
            EXPECT_EQ(answer.finished, finished || commits) << value;
            std::string keys = "B";
            if (value == 6 || value == 8) {
                keys = "";
            } else if (value == 1 || value == 3 || value == 4) {
                keys += device_.KeyToString(value);
            }
            EXPECT_EQ(answer.key_event.key, keys) << value;
        }
    }
}

// What the client sees of each type.

struct EventsRow {
    QuestionType type;
    std::vector<std::int32_t> presses;
    std::vector<std::string> keys;
};

class EventsOfType : public Keys, public testing::WithParamInterface<EventsRow> {};

TEST_P(EventsOfType, Presses_GiveTheseEvents) {
    device_.HandleAsk(Ask("7", GetParam().type));
    for (const std::int32_t key : GetParam().presses) {
        Press(7, key);
    }
    EXPECT_EQ(DeviceTest::Keys(), GetParam().keys);
}

INSTANTIATE_TEST_SUITE_P(
    Types, EventsOfType,
    testing::Values(EventsRow{QuestionType::SingleChoice, {6, 1, 2}, {"A"}},
                    EventsRow{QuestionType::RedEnvelope, {1, 9, 9}, {"G"}},
                    EventsRow{QuestionType::TrueFalse, {1, 8, 5}, {"F"}},
                    EventsRow{QuestionType::MultipleChoice, {4, 2, 7, 1, 7}, {"DB"}},
                    EventsRow{QuestionType::ContinousRedEnvelope, {9, 1, 9, 9}, {"G", "G", "G"}},
                    EventsRow{QuestionType::General, {1, 9, 10}, {"A", "G", ""}},
                    EventsRow{QuestionType::MultipleQuestionSingleChoice, {2, 2}, {"B", "B"}},
                    EventsRow{QuestionType::Audio, {1, 5, 9}, {}},
                    EventsRow{QuestionType::VoiceRecord, {1, 5, 9}, {}}));

}  // namespace
}  // namespace vdipc::test
