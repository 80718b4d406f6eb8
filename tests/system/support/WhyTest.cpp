#include "tests/system/support/WhyTest.h"

#include "tests/system/support/Replay.h"
#include "tools/common/WideText.h"

#include <algorithm>
#include <numeric>
#include <set>

namespace vdipc::test {
namespace {

/// Each reason with its keypad, one a line; without those that come by a race of threads, or by the clock.
std::string ReasonsOf(const std::string& text) {
    std::multiset<std::string> reasons;
    const log::Text shown;
    log::Reasons told(shown, [&reasons](const Finding& finding) {
        if (finding.reason != Reason::EventLate && finding.reason != Reason::EventLost &&
            finding.reason != Reason::EventMaybeLost && finding.reason != Reason::NeverRun &&
            finding.reason != Reason::NoPress && finding.reason != Reason::DeviceInitedAgain) {
            reasons.insert(std::string(log::NameOf(finding.reason)) + " " + finding.device + "\n");
        }
    });
    log::Story story(told);
    told.Follow(story);
    log::LineReader reader(story);
    reader.Feed(text.data(), text.size());
    reader.EndFile();
    story.End();
    return std::accumulate(reasons.begin(), reasons.end(), std::string());
}

}  // namespace

WhySystem::WhySystem() {
    environment_["TMP"] = tools::Utf8FromWide(Directory());
    environment_["TEMP"] = environment_["TMP"];
}

void WhySystem::TearDown() {
    SystemTest::TearDown();
    if (HasFailure()) {
        return;
    }
    const std::string log = Log();
    const Replay replay = PlayAgain(log, Directory(), true);
    EXPECT_TRUE(replay.equal) << replay.output << "\n" << replay.lesson;
    if (log_is_uncut_) {
        EXPECT_EQ(ReasonsOf(replay.log), ReasonsOf(log)) << replay.lesson;
    }
}

void WhySystem::Command(TestClient& client, const std::string& command) {
    client.Send(command);
    client.Settle();
}

void WhySystem::Press(int keypad, const std::string& key, const std::string& kind) {
    Do(R"({"do":"key","kind":")" + kind + R"(","keypad":)" + std::to_string(keypad) + R"(,"key":")" + key +
       "\"}");
}

void WhySystem::Speak(int keypad, const std::string& how) {
    Do(R"({"do":"audio","keypad":)" + std::to_string(keypad) + "," + how + "}");
}

void WhySystem::Explain(const std::string& behind) {
    log_ = Log();
    if (!behind.empty()) {
        const std::size_t found = log_.find(behind);
        ASSERT_NE(found, std::string::npos) << behind;
        log_.erase(0, log_.find('\n', found) + 1);
    }
    findings_.clear();
    const log::Text text;
    log::Reasons reasons(text, [this](const Finding& finding) { findings_.push_back(finding); });
    log::Story story(reasons);
    reasons.Follow(story);
    log::LineReader reader(story);
    reader.Feed(log_.data(), log_.size());
    reader.EndFile();
    story.End();
}

void WhySystem::Expect(Reason reason, const std::string& device, const std::string& words,
                       const std::vector<std::string>& evidence) {
    const auto found = std::find_if(findings_.begin(), findings_.end(), [&](const Finding& finding) {
        return finding.reason == reason && finding.device == device &&
               finding.sentence.find(words) != std::string::npos;
    });
    ASSERT_NE(found, findings_.end())
        << log::NameOf(reason) << " of keypad " << device << " \"" << words << "\"; there are:\n"
        << Told();
    std::string lines;
    for (const log::Mark& mark : found->lines) {
        lines += LineOfLog(mark.line) + "\n";
    }
    for (const std::string& text : evidence) {
        EXPECT_NE(lines.find(text), std::string::npos) << found->sentence << "\n\"" << text << "\" isn't in\n"
                                                       << lines;
    }
    findings_.erase(found);
}

void WhySystem::ExpectNothingElse(std::vector<Reason> besides) {
    besides.push_back(Reason::NoPress);
    std::erase_if(findings_, [&](const Finding& finding) {
        return std::find(besides.begin(), besides.end(), finding.reason) != besides.end();
    });
    EXPECT_EQ(Told(), "");
}

std::string WhySystem::Told() const {
    std::string told;
    for (const Finding& finding : findings_) {
        told += std::string(log::NameOf(finding.reason)) + ": " + finding.sentence + "\n";
    }
    return told;
}

std::string WhySystem::LineOfLog(std::uint64_t number) const {
    std::size_t begin = 0;
    while (--number > 0 && begin != std::string::npos) {
        begin = log_.find('\n', begin);
        begin += begin == std::string::npos ? 0U : 1U;
    }
    return begin == std::string::npos ? "" : log_.substr(begin, log_.find('\n', begin) - begin);
}

}  // namespace vdipc::test
