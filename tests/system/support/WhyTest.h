// Lessons that plant reasons through the real DLL, and what vdlog says of the log that they leave.
#pragma once

#include "tests/system/support/SystemTest.h"
#include "tools/vdlog/Reasons.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vdipc::test {

using log::Finding;
using log::Reason;

class WhySystem : public SystemTest {
protected:
    WhySystem();
    /// Plays the log again: a reason that was planted must come out of its lesson, too.
    void TearDown() override;

    /// What is sent has its place in the library's queue when this returns.
    static void Command(TestClient& client, const std::string& command);
    void Connect(const std::string& keypads) { Do(R"({"do":"connect",)" + keypads + "}"); }
    void Press(int keypad, const std::string& key, const std::string& kind = "RV2");
    void Speak(int keypad, const std::string& how = R"("make":"tone","bytes":6444)");

    /// Reads the log of the host that has ended: all of it, or what stands behind the line with this text, as if the log
    /// began there.
    void Explain(const std::string& behind = {});

    /// One finding has this reason and is about this keypad; its sentence holds the words, and the lines that it points
    /// at hold each of these texts. It is taken from those that are left.
    void Expect(Reason reason, const std::string& device, const std::string& words,
                const std::vector<std::string>& evidence);
    /// Nothing else is told, but for what the lesson's end brings along.
    void ExpectNothingElse(std::vector<Reason> besides = {});
    std::string Told() const;

    std::vector<Finding> findings_;
    /// Messages that the log has cut are played as far as they are there, and may be told otherwise then.
    bool log_is_uncut_ = true;

private:
    std::string LineOfLog(std::uint64_t number) const;

    std::string log_;
};

}  // namespace vdipc::test
